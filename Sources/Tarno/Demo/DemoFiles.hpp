#pragma once

#include "Tarno/DuplicatesMachine.hpp"
#include "Tarno/LargeFilesMachine.hpp"

#include "TarnoCore/Duplicates/DuplicateFinder.hpp"
#include "TarnoCore/Duplicates/LargeFileFinder.hpp"

#include <vector>

// The demo developer's own files: an emulator's disk, a virtual machine,
// installers and videos among the large files (a few of them in application
// folders), and copies of photos, videos, documents and downloads.
namespace tarno::Demo {

// Every large file of the demo home, largest first.
std::vector<LargeFile> largeFiles();
// The sets of copies in the demo home, the one to keep first.
std::vector<DuplicateGroup> duplicateGroups();

// The two sections' parts: the files above, moves to the Trash in memory.
LargeFilesMachine largeFilesMachine();
DuplicatesMachine duplicatesMachine();

} // namespace tarno::Demo
