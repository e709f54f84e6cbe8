#pragma once

#include "TarnoCore/Cleanup/CleanupItem.hpp"

#include <cstdint>
#include <vector>

namespace tarno::cli::ItemMeasurer {

// Each item's size, in the items' order, measuring at most four at a time as
// the cleanup scan does.
std::vector<SizeResult> measureAll(const std::vector<CleanupItem>& items);

// How many folders the sizes could not read, together.
std::int64_t unreadableDirectories(const std::vector<SizeResult>& sizes);

} // namespace tarno::cli::ItemMeasurer
