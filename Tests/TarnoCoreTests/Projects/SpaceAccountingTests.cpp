#include "TarnoCore/Projects/SpaceAccounting.hpp"

#include "TarnoCore/Foundation/BulkWalker.hpp"

#include "Support/ReflinkVolume.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include <sys/stat.h>
#include <sys/statvfs.h>

namespace tarno {
namespace {

using test::TemporaryFolder;
using Combinations = std::map<std::vector<std::int32_t>, std::int64_t>;

const auto never = [] { return false; };

std::int64_t allocated(const std::string& path)
{
    struct stat status {};
    ::lstat(path.c_str(), &status);
    return static_cast<std::int64_t>(status.st_blocks) * 512;
}

SpaceAccount measure(const std::vector<SpaceOwner>& owners, const std::vector<std::string>& caches = {})
{
    return SpaceAccounting::measure(owners, caches, {}, never);
}

TEST(SpaceAccountingTests, SharedDataCountsOnceAndOnlyWhenEveryHolderGoes)
{
    TemporaryFolder root;
    const std::int64_t big = allocated(root.makeFile("a/own/big", 100'000));
    const std::int64_t small = allocated(root.makeFile("a/small", 4'000));
    const std::int64_t pair = allocated(root.makeFile("a/lib/pair", 80'000));
    root.makeHardLink("a/lib/pair", "b/pair");
    const std::int64_t triple = allocated(root.makeFile("a/lib/triple", 80'000));
    root.makeHardLink("a/lib/triple", "b/triple");
    root.makeHardLink("a/lib/triple", "not-an-owner/triple"); // keeps the data alive whatever goes
    const std::int64_t twice = allocated(root.makeFile("b/deep/twice", 40'000));
    root.makeHardLink("b/deep/twice", "b/deep/again"); // two links in one owner, one unit
    const std::int64_t stored = allocated(root.makeFile("store/package", 50'000));
    root.makeHardLink("store/package", "c/node_modules/package"); // linked from a package store
    root.makeFile("c/vendor/excluded", 90'000);                    // someone else's
    root.makeFile("c/empty");

    const SpaceAccount account = measure(
        {{root / "a", {}}, {root / "b", {}}, {root / "c", {root / "c/vendor"}}, {root / "missing", {}}},
        {root / "store"});
    EXPECT_EQ(account.apparent, (std::vector<std::int64_t>{big + small + pair + triple, pair + triple + twice,
                                                            stored, 0}));
    EXPECT_EQ(account.sharedOutside, (std::vector<std::int64_t>{triple, triple, stored, 0}));
    EXPECT_EQ(account.combinations, (Combinations{{{0}, big + small}, {{0, 1}, pair}, {{1}, twice}}));

    EXPECT_EQ(account.freed({}), 0);
    EXPECT_EQ(account.freed({0}), big + small);
    EXPECT_EQ(account.freed({1}), twice);
    EXPECT_EQ(account.freed({0, 1}), big + small + pair + twice);
    EXPECT_EQ(account.freed({0, 1, 2, 3}), big + small + pair + twice); // the cache and the outside link stay

    // Without the store given as a cache, the link not met among the owners keeps the package alive.
    const SpaceAccount withoutCache = measure({{root / "c", {root / "c/vendor"}}});
    EXPECT_EQ(withoutCache.sharedOutside, (std::vector<std::int64_t>{stored}));
    EXPECT_TRUE(withoutCache.combinations.empty());
    EXPECT_EQ(measure({}), SpaceAccount{});

    // Progress is the running count of entries seen, from several threads.
    std::atomic<std::int64_t> mostSeen = 0;
    (void)SpaceAccounting::measure({{root / "a", {}}, {root / "b", {}}}, {},
                                   [&](std::int64_t seen) {
                                       for (std::int64_t was = mostSeen; seen > was && !mostSeen.compare_exchange_weak(was, seen);) {
                                       }
                                   },
                                   never);
    EXPECT_EQ(mostSeen.load(), 11); // a: own small lib, big, pair triple; b: pair triple deep, twice again
}

// btrfs's own figures for a folder: total and exclusive bytes.
std::optional<std::pair<std::int64_t, std::int64_t>> btrfsUsage(const std::string& folder)
{
    std::FILE* pipe = ::popen(("btrfs filesystem du -s --raw '" + folder + "' 2>/dev/null").c_str(), "r");
    if (!pipe)
        return std::nullopt;
    char line[512];
    std::optional<std::pair<std::int64_t, std::int64_t>> usage;
    while (std::fgets(line, sizeof line, pipe)) {
        long long total = 0, exclusive = 0;
        if (std::sscanf(line, "%lld %lld", &total, &exclusive) == 2)
            usage = std::pair<std::int64_t, std::int64_t>(total, exclusive);
    }
    ::pclose(pipe);
    return usage;
}

// Copies made with a reflink share their data blocks; only btrfs and XFS make
// them, so the test makes a small volume of each in a mount namespace of its own.
TEST(SpaceAccountingTests, ReflinkedCopiesArePricedLikeHardLinks)
{
    test::expectNoFindingsOnReflinkVolumes([&](const TemporaryFolder& root, const std::string& fileSystem) -> std::string {
        root.makeFile("a/node_modules/pkg/index.js", 100'000, 'a');
        root.makeFile("store/pkg/lib.js", 60'000, 's');
        root.makeFile("c/plain", 70'000, 'c');
        if (!test::reflinkCopy(root / "a/node_modules/pkg/index.js", root / "b/node_modules/pkg/index.js")
            || !test::reflinkCopy(root / "store/pkg/lib.js", root / "c/node_modules/lib.js"))
            return "skip: this volume makes no reflinks";
        ::sync(); // written data gets its extents, as it has on any file that is not brand new
        const std::int64_t shared = allocated(root / "a/node_modules/pkg/index.js");
        const std::int64_t fromStore = allocated(root / "store/pkg/lib.js");
        const std::int64_t plain = allocated(root / "c/plain");

        std::vector<std::uint64_t> identities;
        for (const char* copy : {"a/node_modules/pkg", "b/node_modules/pkg"}) {
            BulkWalker::walk(root / copy, [&](BulkFolder& folder) {
                for (const BulkEntry& entry : folder.entries)
                    identities.push_back(entry.cloneID);
                return true;
            }, {});
        }
        const SpaceAccount account = SpaceAccounting::measure(
            {{root / "a", {}}, {root / "b", {}}, {root / "c", {}}}, {root / "store"}, {}, never);
        std::string findings;
        if (identities.size() != 2 || identities[0] == 0 || identities[0] != identities[1])
            findings += "the two copies do not carry one clone identity; ";
        if (account.combinations != Combinations{{{0, 1}, shared}, {{2}, plain}})
            findings += "combinations are not the shared copy and c's own file; ";
        if (account.sharedOutside != std::vector<std::int64_t>{0, 0, fromStore})
            findings += "the store's clone is not shared outside; ";
        if (account.freed({0}) != 0 || account.freed({0, 1}) != shared)
            findings += "freed does not wait for both copies; ";
        if (fileSystem == "btrfs") {
            // btrfs counts the same way: its exclusive bytes are what deleting frees.
            const auto ownerA = btrfsUsage(root / "a");
            const auto ownerC = btrfsUsage(root / "c");
            if (!ownerA || !ownerC)
                findings += "btrfs filesystem du gave no figures; ";
            else if (*ownerA != std::pair{account.apparent[0], account.freed({0})}
                     || *ownerC != std::pair{account.apparent[2], account.freed({2})})
                findings += "btrfs's total and exclusive bytes differ from apparent and freed; ";
        }
        // What deleting really gives back, as the volume counts it. Only
        // btrfs counts data apart: XFS frees inode chunks with the files
        // and does it in the background.
        if (fileSystem == "btrfs") {
            const auto freeBytes = [&] {
                ::sync();
                struct statvfs capacity {};
                ::statvfs(root.path().c_str(), &capacity);
                return static_cast<std::int64_t>(capacity.f_bfree) * static_cast<std::int64_t>(capacity.f_frsize);
            };
            const std::int64_t before = freeBytes();
            std::filesystem::remove_all(root / "b");
            const std::int64_t withoutB = freeBytes();
            std::filesystem::remove_all(root / "a");
            const std::int64_t withoutBoth = freeBytes();
            if (withoutB - before != account.freed({1})
                || withoutBoth - withoutB != account.freed({0, 1}) - account.freed({1}))
                findings += "the volume did not gain what freed said; ";
        }
        return findings;
    });
}

} // namespace
} // namespace tarno
