#include "Tarno/DuplicatesMachine.hpp"

#include "Tarno/FileIcons.hpp"
#include "Tarno/FileViewer.hpp"
#include "Tarno/Thumbnails.hpp"

#include "TarnoCore/Platform/Locations.hpp"

#include <QProcess>
#include <QString>

#include <dirent.h>

namespace tarno {
namespace {

// A Photos library kept in the Pictures folder, as a Mac keeps it; a folder
// that cannot be listed has none.
bool holdsPhotosLibrary(const std::string& home)
{
    DIR* pictures = ::opendir((home + "/Pictures").c_str());
    if (pictures == nullptr)
        return false;
    bool found = false;
    constexpr std::string_view suffix = ".photoslibrary";
    while (const dirent* entry = ::readdir(pictures)) {
        const std::string_view name = entry->d_name;
        if (name.size() > suffix.size() && name.ends_with(suffix))
            found = true;
    }
    ::closedir(pictures);
    return found;
}

} // namespace

DuplicatesMachine DuplicatesMachine::live()
{
    return DuplicatesMachine{
        .defaultRoots = DuplicateFinder::defaultRoots,
        .find = DuplicateFinder::find,
        .hasPhotosLibrary = holdsPhotosLibrary,
        .perform = [](const PathGuard& guardian, const CleanupAction& action) {
            return Cleaner{guardian}.perform(action);
        },
        .thumbnail = [](const std::string& path, QSize size) {
            return Thumbnails::load(path, size, Platform::userFolders(Platform::homeFolder()).cache);
        },
        .typeIcon = [](const std::string& path, QSize size) {
            return FileIcons::typeIcon(QString::fromStdString(path), size);
        },
        .reveal = [](const std::vector<std::string>& paths) { FileViewer::reveal(paths); },
        // No Photos application on this system: the library is only reported.
        .openPhotos = nullptr,
    };
}

} // namespace tarno
