#pragma once

#include "TarnoCore/Cleanup/CleanupCategory.hpp"

#include <map>
#include <string>
#include <vector>

namespace tarno {

// A folder of regenerable build output, known by its exact name and by a
// marker file beside it that proves which tool made it. A folder named
// `build` with no marker is the user's own and is no artifact.
struct ArtifactKind {
    std::string folder;
    std::vector<std::string> markers; // any one must stand in the same parent folder
    std::string label;
    std::string restore;
    Safety safety = Safety::safe;

    bool operator==(const ArtifactKind&) const = default;

    // The table, in the order that decides between rows of one folder name.
    static const std::vector<ArtifactKind>& all();

    // The rows of each folder name, in table order.
    static const std::map<std::string, std::vector<const ArtifactKind*>, std::less<>>& byFolder();
};

} // namespace tarno
