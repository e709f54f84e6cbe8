#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Foundation/PrivacyAccess.hpp"

namespace tarno::RuleFamilies {

void trash(CleanupCatalog::Builder& builder)
{
    const CleanupEnvironment& env = builder.env();
    std::vector<std::string> paths;
    // A Mac closes its Trash to a process without Full Disk Access.
    if (PrivacyAccess::hasFullDiskAccess(env.home))
        paths.push_back(env.home + "/.Trash");
    // The freedesktop Trash: the trashed files and the records of where they
    // came from. Emptying both leaves the folders that every Trash reader
    // expects. Its directorysizes file is left as it is: it only caches the
    // sizes of folders in files/, each line valid while that folder's record
    // in info/ exists, so once info/ is empty no reader consults a line of it.
    // Removing it would need an action on a file, which emptying folders is not.
    paths.push_back(env.folders.trash + "/files");
    paths.push_back(env.folders.trash + "/info");
    builder.add("trash", "Everything in the Trash", CleanupCategory::trash,
                "Erased for good. It can no longer be put back.", Safety::review, CleanupAction::DeleteContents{paths});
}

} // namespace tarno::RuleFamilies
