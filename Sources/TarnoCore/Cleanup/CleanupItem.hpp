#pragma once

#include "TarnoCore/Cleanup/CleanupAction.hpp"
#include "TarnoCore/Cleanup/CleanupCategory.hpp"
#include "TarnoCore/Foundation/SizeScanner.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tarno {

// One thing the system offers to remove, from any source.
struct CleanupItem {
    std::string id;          // stable key such as "xcode.derivedData"
    std::string title;
    CleanupCategory category = CleanupCategory::apps;
    std::string consequence; // one sentence: what removing it costs
    Safety safety = Safety::safe;
    CleanupAction action;
    bool requiresAdmin = false;
    std::int64_t minimumBytesToShow = 1;
    std::optional<std::int64_t> knownBytes; // a size a tool reported; no measuring then

    // The size of the action's paths, or knownBytes without touching the disk.
    // Blocks: call it off the main thread.
    SizeResult measure(const std::function<bool()>& isCancelled = [] { return false; }) const;

    bool operator==(const CleanupItem&) const = default;
};

} // namespace tarno
