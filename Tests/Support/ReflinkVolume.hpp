#pragma once

#include "Support/MountNamespace.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <filesystem>
#include <functional>
#include <string>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tarno::test {

// A copy that shares its data blocks with the original; false where the
// volume makes no reflinks.
inline bool reflinkCopy(const std::string& from, const std::string& to)
{
    std::filesystem::create_directories(std::filesystem::path(to).parent_path());
    const int source = ::open(from.c_str(), O_RDONLY);
    const int target = ::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const bool done = ::ioctl(target, FICLONE, source) == 0;
    ::close(source);
    ::close(target);
    return done;
}

// Runs `body` on a fresh 320 MB volume of `fileSystem` ("xfs", "btrfs")
// mounted from an image in `scratch`, in a mount namespace of its own. The
// body gets a temporary folder on the volume and returns its findings; a
// run that could not make or mount the volume returns "skip: " and why.
inline IsolatedRun onReflinkVolume(const std::string& fileSystem, const TemporaryFolder& scratch,
                                   const std::function<std::string(const TemporaryFolder& root)>& body)
{
    const std::string image = scratch / (fileSystem + ".img");
    const std::string volume = scratch.makeFolder(fileSystem + "-volume");
    return runInOwnMountNamespace([&]() -> std::string {
        const std::string make =
            "truncate -s 320M '" + image + "' && mkfs." + fileSystem + " -q -f '" + image + "' >/dev/null 2>&1";
        if (std::system(make.c_str()) != 0)
            return "skip: mkfs." + fileSystem + " is not available";
        if (std::system(("mount -o loop '" + image + "' '" + volume + "' 2>/dev/null").c_str()) != 0)
            return "skip: no loop mount here";
        const TemporaryFolder root(volume);
        return body(root);
    });
}

// Runs `body` on an XFS and then a btrfs volume and expects no findings from
// either. A volume this machine cannot make, or one that makes no reflinks,
// is reported as skipped; without mount namespaces the whole test is skipped.
inline void expectNoFindingsOnReflinkVolumes(
    const std::function<std::string(const TemporaryFolder& root, const std::string& fileSystem)>& body)
{
    for (const std::string fileSystem : {"xfs", "btrfs"}) {
        SCOPED_TRACE(fileSystem);
        const TemporaryFolder scratch;
        const IsolatedRun run =
            onReflinkVolume(fileSystem, scratch, [&](const TemporaryFolder& root) { return body(root, fileSystem); });
        if (!run.ran)
            GTEST_SKIP() << run.reason;
        if (run.output.starts_with("skip: ")) {
            std::cout << "[ SKIPPED  ] " << fileSystem << ": " << run.output.substr(6) << "\n";
            continue;
        }
        EXPECT_EQ(run.output, "");
    }
}

} // namespace tarno::test
