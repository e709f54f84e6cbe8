#pragma once

#include "TarnoCore/Cleanup/CleanupItem.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Asks Homebrew how much its cleanup would free.
namespace tarno::Homebrew {

// The environment every brew call gets, so that it neither updates itself nor
// prints hints: HOMEBREW_NO_AUTO_UPDATE and HOMEBREW_NO_ENV_HINTS.
const std::map<std::string, std::string>& quietly();

// The old-versions item, sized by a dry run of "brew cleanup" with the first
// executable of the platform's brew candidates. Absent when brew is missing,
// fails, or would free nothing, and when `isCancelled` stopped the dry run.
// Blocks for up to 180 seconds.
std::optional<CleanupItem> cleanupItem(const std::function<bool()>& isCancelled = {});

// The same with the given candidates, in order.
std::optional<CleanupItem> cleanupItem(const std::vector<std::string>& brewCandidates,
                                       const std::function<bool()>& isCancelled = {});

// "… would free approximately 1.5GB of disk space." → 1,610,612,736: Homebrew
// counts in binary units. Absent without the phrase or with a number that does
// not read.
std::optional<std::int64_t> parseEstimate(std::string_view text);

} // namespace tarno::Homebrew
