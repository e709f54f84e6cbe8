#pragma once

#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Duplicates/DuplicateFinder.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"

#include <QImage>
#include <QSize>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tarno {

// What the Duplicates section asks of the machine: the live machine, the demo
// machine, or one a test makes up. The search, the move to the Trash and the
// thumbnails are called off the main thread, the rest on it.
struct DuplicatesMachine {
    using IsCancelled = std::function<bool()>;

    // The usual folders of the home's own files.
    std::function<std::vector<std::string>(const std::string& home)> defaultRoots;
    std::function<std::vector<DuplicateGroup>(const std::vector<std::string>& roots, std::int64_t minimumBytes,
                                              const std::string& home,
                                              const std::function<void(const DuplicateFinder::Stage&)>& progress,
                                              const IsCancelled& isCancelled)>
        find;
    // Whether a photo library that manages its own duplicates lies in the home.
    std::function<bool(const std::string& home)> hasPhotosLibrary;
    // Carries out a move to the Trash, every path put to the guard first.
    std::function<CleanReport(const PathGuard&, const CleanupAction&)> perform;
    // A small picture of the file; a null image when there is none.
    std::function<QImage(const std::string& path, QSize size)> thumbnail;
    // The icon of the file's type; called on the main thread.
    std::function<QImage(const std::string& path, QSize size)> typeIcon;
    // Shows the path selected in the desktop's file viewer.
    std::function<void(const std::vector<std::string>& paths)> reveal;
    // Opens the library's own application.
    std::function<void()> openPhotos;

    // This machine.
    static DuplicatesMachine live();
};

} // namespace tarno
