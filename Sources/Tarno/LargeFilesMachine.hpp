#pragma once

#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Duplicates/LargeFileFinder.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

// What the Large Files section asks of the machine: the live machine, the
// demo machine, or one a test makes up. The search and the move to the Trash
// are called off the main thread, the rest on it.
struct LargeFilesMachine {
    using IsCancelled = std::function<bool()>;

    std::function<std::vector<LargeFile>(const std::string& root, std::int64_t minimumBytes, std::size_t limit,
                                         const std::set<std::string>& excluding,
                                         const std::function<void(std::int64_t)>& progress,
                                         const IsCancelled& isCancelled)>
        find;
    // Whether every folder of the home can be read.
    std::function<bool(const std::string& home)> hasFullDiskAccess;
    // The folders a search leaves out, with or without that access.
    std::function<std::set<std::string>(const std::string& home, bool hasFullDiskAccess)> excludedFolders;
    // The folders whose files belong to an application (see LargeFileFinder).
    std::function<std::vector<std::string>(const std::string& home)> appDataFolders;
    // Carries out a move to the Trash, every path put to the guard first.
    std::function<CleanReport(const PathGuard&, const CleanupAction&)> perform;
    // Shows the paths selected in the desktop's file viewer.
    std::function<void(const std::vector<std::string>& paths)> reveal;

    // This machine.
    static LargeFilesMachine live();
};

} // namespace tarno
