#pragma once

#include "TarnoCore/Cleanup/CleanupItem.hpp"

#include <vector>

namespace tarno::cli::ItemMeasurer {

// Each item's size, in the items' order, measuring at most four at a time as
// the cleanup scan does.
std::vector<SizeResult> measureAll(const std::vector<CleanupItem>& items);

} // namespace tarno::cli::ItemMeasurer
