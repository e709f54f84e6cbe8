// A made-up home with a canary in every protected folder, and links into them from everything the cleaner
// is asked to remove: every canary must survive, and nothing but the intended paths may go.

#include "TarnoCore/Cleanup/Cleaner.hpp"

#include "TarnoCore/Platform/Locations.hpp"
#include "TarnoCore/Platform/Trash.hpp"
#include "TarnoCore/Platform/TreeRemoval.hpp"

#include "Support/GitRepository.hpp"
#include "Support/FileChecks.hpp"
#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include <sys/stat.h>

namespace tarno {
namespace {

namespace fs = std::filesystem;
namespace TreeRemoval = Platform::TreeRemoval;
using test::ScopedEnvironment;
using test::TemporaryFolder;
using ::testing::UnorderedElementsAre;
using Failure = CleanReport::Failure;

using test::contentsOf;
using test::exists;

class RemovalSafetyTest : public ::testing::Test {
protected:
    RemovalSafetyTest()
        : dataHome("XDG_DATA_HOME", root / "home/.local/share")
        , guardian(root / "home", root / "Applications", "")
    {
        // A canary in every folder the guard protects or keeps, and outside the home.
        const auto addCanaryIn = [this](std::string_view in) { addCanary("home/" + std::string(in) + "/canary.txt"); };
        std::ranges::for_each(guardian.neverTouchEntries(), addCanaryIn);
        std::ranges::for_each(guardian.personalTreeEntries(), addCanaryIn);
        std::ranges::for_each(guardian.keptFolderEntries(), addCanaryIn);
        for (const char* file : {"outside/canary.txt", "home/notes.txt", "home/sneaky", "home/Documents/sub/deep.txt"})
            addCanary(file);
    }

    // Nothing here may ever reach the real Trash.
    void SetUp() override { ASSERT_EQ(Platform::trashFolder(home()), home() + "/.local/share/Trash"); }

    std::string home() const { return root / "home"; }

    // A file whose content names it; its folder is a target for links too.
    void addCanary(const std::string& file)
    {
        std::ofstream(root.makeFile(file), std::ios::binary) << "canary " + file;
        canaries[root / file] = "canary " + file;
        canaryFolders.insert(fs::path(root / file).parent_path().string());
    }

    // Links to every canary and every protected folder, under `relativeFolder`.
    void linkIntoEverything(const std::string& relativeFolder)
    {
        int number = 0;
        for (const auto& [file, content] : canaries)
            root.makeSymlink(file, relativeFolder + "/file-" + std::to_string(++number));
        for (const std::string& folder : canaryFolders)
            root.makeSymlink(folder, relativeFolder + "/folder-" + std::to_string(++number));
        root.makeSymlink("../../../../Documents", relativeFolder + "/relative-documents");
        root.makeHardLink("home/Documents/canary.txt", relativeFolder + "/hard-link-to-documents");
    }

    void expectCanariesIntact() const
    {
        for (const auto& [file, content] : canaries)
            EXPECT_EQ(contentsOf(file), content) << file;
    }

    // Every path below the root, without following links; git's own records left out.
    std::set<std::string> snapshot() const
    {
        std::set<std::string> paths;
        for (auto it = fs::recursive_directory_iterator(root.path()); it != fs::recursive_directory_iterator(); ++it) {
            const std::string relative = it->path().lexically_relative(root.path()).string();
            if (relative == "home/Projects/repo/.git") {
                it.disable_recursion_pending();
                continue;
            }
            paths.insert(relative);
        }
        return paths;
    }

    TemporaryFolder root;
    ScopedEnvironment dataHome;
    PathGuard guardian;
    std::map<std::string, std::string> canaries;
    std::set<std::string> canaryFolders;
};

TEST_F(RemovalSafetyTest, EveryActionLeavesEveryCanaryAndRemovesOnlyWhatItWasGiven)
{
    // Delete: trees full of links, links as items, links in parents, `..` after a link.
    linkIntoEverything("home/Library/Caches/app/links");
    root.makeFile("home/Library/Caches/app/nested/deeper/x", 100);
    root.makeSymlink(home() + "/Documents", "home/Library/Caches/link-item");
    root.makeSymlink(home() + "/.ssh/canary.txt", "home/Library/Logs/file-link");
    root.makeSymlink(home() + "/Documents", "home/Library/Caches/evil");
    root.makeSymlink(home() + "/.ssh", "home/Library/Caches/keys");
    root.makeFile("home/Library/Caches/sneaky", 1);
    // Emptying: folders of links, a link given as the folder, a folder reached through a link.
    linkIntoEverything("home/Library/Application Support/app");
    linkIntoEverything("home/Library/Application Support/app/sub");
    root.makeSymlink(home() + "/Library/Keychains", "home/Library/Containers/com.example/keychains");
    root.makeSymlink(home() + "/Music", "home/Library/Caches/contents-link");
    // The Trash: a file, a link, a folder of links, a path through a link.
    root.makeFile("home/Library/Caches/trash-file.txt", 1);
    root.makeSymlink(home() + "/Pictures", "home/Library/Caches/trash-link");
    linkIntoEverything("home/Library/Caches/trash-dir");
    // A worktree with links in what is cleared first and in what git removes.
    const bool withGit = test::hasGit();
    const std::string wt = home() + "/Projects/wt";
    if (withGit) {
        ASSERT_TRUE(test::makeRepositoryWithWorktree(home() + "/Projects/repo", wt));
        linkIntoEverything("home/Projects/wt/node_modules");
        root.makeSymlink(home() + "/Movies", "home/Projects/wt/cache-link");
    }

    const std::set<std::string> before = snapshot();
    const Cleaner cleaner{guardian};
    const std::string caches = home() + "/Library/Caches";
    const std::string h = home();

    const auto deleted = cleaner.perform(CleanupAction::Delete{
        {caches + "/app", caches + "/link-item", h + "/Library/Logs/file-link", caches + "/evil/canary.txt",
         caches + "/evil/../sneaky", caches + "/app/../../../.ssh", caches + "/keys/canary.txt"}});
    EXPECT_EQ(deleted.removed, 4);
    EXPECT_EQ(deleted.failures,
              (std::vector<Failure>{
                  {caches + "/evil/canary.txt", "protected folder Documents", Failure::Kind::refused},
                  {caches + "/app/../../../.ssh", "top-level folder in the home folder", Failure::Kind::refused},
                  {caches + "/keys/canary.txt", "protected folder .ssh", Failure::Kind::refused}}));

    const auto emptied = cleaner.perform(CleanupAction::DeleteContents{
        {h + "/Library/Application Support/app", caches + "/contents-link", caches + "/evil/sub",
         h + "/Library/Containers/com.example"}});
    EXPECT_THAT(emptied.failures,
                UnorderedElementsAre(Failure{caches + "/contents-link", "is a symbolic link", Failure::Kind::refused},
                                     Failure{caches + "/evil/sub/deep.txt", "protected folder Documents",
                                             Failure::Kind::refused}));

    const auto trashed = cleaner.perform(CleanupAction::Trash{
        {caches + "/trash-file.txt", caches + "/trash-link", caches + "/trash-dir", caches + "/keys/canary.txt"}});
    EXPECT_EQ(trashed, (CleanReport{3, {{caches + "/keys/canary.txt", "protected folder .ssh", Failure::Kind::refused}}}));

    EXPECT_EQ(cleaner.perform(CleanupAction::Run{"/bin/true", {}, {h + "/Documents"}}), (CleanReport{1, {}}));

    if (withGit) {
        EXPECT_EQ(cleaner.perform(CleanupAction::RemoveWorktree{
                      h + "/Projects/repo", wt, {wt + "/node_modules", wt + "/cache-link", wt + "/../../Documents"}}),
                  (CleanReport{3, {}}));
    }

    expectCanariesIntact();

    // What survived is exactly what was there less what was meant to go (emptied folders stay themselves).
    const std::string gone[] = {"Library/Caches/app", "Library/Caches/link-item", "Library/Logs/file-link",
                                "Library/Caches/sneaky", "Library/Caches/trash-file.txt", "Library/Caches/trash-link",
                                "Library/Caches/trash-dir", "Projects/wt", "Library/Application Support/app/",
                                "Library/Containers/com.example/"};
    std::set<std::string> expected, survivors, added;
    for (const std::string& path : before)
        if (std::ranges::none_of(gone, [&](const std::string& g) {
                return path == "home/" + g || path.starts_with("home/" + (g.ends_with('/') ? g : g + "/"));
            }))
            expected.insert(path);
    for (const std::string& path : snapshot())
        (before.contains(path) ? survivors : added).insert(path);
    EXPECT_EQ(survivors, expected);

    // All that is new is in the Trash.
    const std::string trash = "home/.local/share/Trash/";
    for (const std::string& path : added)
        EXPECT_TRUE(path.starts_with(trash + "files") || path.starts_with(trash + "info")) << path;
    for (const std::string name : {"trash-file.txt", "trash-link", "trash-dir"})
        EXPECT_TRUE(added.contains(trash + "files/" + name) && added.contains(trash + "info/" + name + ".trashinfo"))
            << name;
    EXPECT_TRUE(fs::is_symlink(root / trash + "files/trash-link"));
}

TEST_F(RemovalSafetyTest, APathSwappedForALinkAfterTheGuardIsNotFollowed)
{
    const std::string caches = home() + "/Library/Caches";
    root.makeFile("home/Library/Caches/swap/file", 10);
    root.makeFile("home/Library/Caches/p/deep.txt", 1);
    root.makeFile("home/Library/Caches/q/notes.txt", 1);
    ASSERT_TRUE(isAllowed(guardian.checkDelete(caches + "/swap")));
    ASSERT_TRUE(isAllowed(guardian.checkDelete(caches + "/p/deep.txt")));
    ASSERT_TRUE(isAllowed(guardian.checkTrash(caches + "/q/notes.txt")));
    const std::string swap = PathGuard::normalize(caches + "/swap");
    const std::string inP = PathGuard::normalize(caches + "/p/deep.txt");
    const std::string inQ = PathGuard::normalize(caches + "/q/notes.txt");
    for (const auto& [folder, target] : {std::pair<std::string, std::string>{"swap", home() + "/Documents"},
                                         {"p", home() + "/Documents/sub"}, {"q", home()}}) {
        fs::remove_all(caches + "/" + folder);
        root.makeSymlink(target, "home/Library/Caches/" + folder);
    }

    // The item itself became a link: the link goes, not what it leads to.
    EXPECT_EQ(TreeRemoval::remove(swap), TreeRemoval::Outcome{});
    EXPECT_FALSE(exists(caches + "/swap"));
    EXPECT_TRUE(fs::is_directory(home() + "/Documents/sub"));
    // A parent became a link: nothing is removed or moved.
    const auto stopped = [&](const std::string& folder) {
        return TreeRemoval::Outcome{TreeRemoval::Outcome::Status::failed,
                                    "a folder on the way is a symbolic link: " + caches + "/" + folder};
    };
    EXPECT_EQ(TreeRemoval::remove(inP), stopped("p"));
    EXPECT_EQ(Platform::Trash::moveToTrash(inQ, Platform::trashFolder(home()), std::chrono::system_clock::now()),
              stopped("q"));
    EXPECT_EQ(TreeRemoval::listFolder(caches + "/p/x").failure, stopped("p").reason);
    expectCanariesIntact();
    EXPECT_FALSE(exists(home() + "/.local/share/Trash/info/notes.txt.trashinfo"));
}

} // namespace
} // namespace tarno
