#include "TarnoCore/Projects/Worktrees.hpp"

#include "Support/GitRepository.hpp"
#include "Support/ScopedEnvironment.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <set>

namespace tarno {

void PrintTo(const Worktree& worktree, std::ostream* out)
{
    *out << worktree.path << ": " << worktree.summary();
}

void PrintTo(const Worktree::State& state, std::ostream* out)
{
    *out << Worktree{"", "", std::nullopt, state, std::nullopt, {}, {}}.summary();
}

namespace Worktrees {
void PrintTo(const PullRequest& pull, std::ostream* out)
{
    *out << "#" << pull.number << " " << pull.state << " " << pull.headRefName << " at " << pull.headRefOid;
}
} // namespace Worktrees

namespace {

using test::TemporaryFolder;
using Paths = std::vector<std::string>;
using State = Worktree::State;

TEST(WorktreeTests, EachStateHasItsTextAndSaysWhetherTheFolderMayGo)
{
    struct Case {
        State state;
        std::string summary;
        bool canRemove;
        bool finished;
    };
    const std::vector<Case> cases = {
        {State::Merged{"main"}, "Merged into main", true, true},
        {State::PullRequestMerged{12}, "Pull request #12 merged", true, true},
        {State::PullRequestOpen{3}, "Pull request #3 is open", true, false},
        {State::PullRequestClosed{4}, "Pull request #4 closed without merging", true, false},
        {State::UnpushedCommits{1}, "1 commit not pushed", true, false},
        {State::UnpushedCommits{0}, "0 commits not pushed", true, false},
        {State::UncommittedChanges{1}, "1 uncommitted change", false, false},
        {State::UncommittedChanges{5}, "5 uncommitted changes", false, false},
        {State::UntrackedFiles{{"a", "b", "c"}}, "Untracked: a, b, c", false, false},
        {State::UntrackedFiles{{"a", "b", "c", "d", "e"}}, "Untracked: a, b, c and 2 more", false, false},
        {State::RemoteBranchDeleted{}, "Branch deleted on the remote, usually after merging", true, true},
        {State::Pushed{}, "Pushed, not merged", true, false},
        {State::Locked{}, "Locked with git worktree lock", false, false},
        {State::Missing{}, "Folder is gone", false, false},
    };
    for (const Case& entry : cases) {
        Worktree worktree{"/w", "/r", "b", entry.state, std::nullopt, {}, {}};
        SCOPED_TRACE(entry.summary);
        EXPECT_EQ(worktree.summary(), entry.summary);
        EXPECT_EQ(worktree.canRemove(), entry.canRemove);
        EXPECT_EQ(worktree.isFinished(), entry.finished);
        // An ignored file left inside keeps any worktree from counting as finished.
        worktree.ignoredFiles = {".env"};
        EXPECT_FALSE(worktree.isFinished());
        EXPECT_EQ(worktree.canRemove(), entry.canRemove);
    }
}

TEST(WorktreesTests, ParseReadsEachStanzaOfThePorcelainList)
{
    using Worktrees::Record;
    struct Case {
        std::string text;
        std::vector<Record> expected;
    };
    const std::vector<Case> cases = {
        {"", {}},
        {"HEAD 1234\nbranch refs/heads/stray\n", {}}, // before any "worktree " line
        {"worktree /r\nHEAD 1234\nbranch refs/heads/main\n\n"
         "worktree /r-feature\nHEAD 5678\nbranch refs/heads/team/feature\n\n"
         "worktree /r-detached\nHEAD 9abc\ndetached\n\n",
         {{"/r", "main", false, false}, {"/r-feature", "team/feature", false, false},
          {"/r-detached", std::nullopt, false, false}}},
        {"worktree /r\nbare\n\nworktree /with space\nbranch refs/heads/x\nlocked\n\n"
         "worktree /b\nlocked being moved\nprunable gitdir file points to non-existent location\n"
         "worktree /c\nprunable\nlockedness\nbranch refs/remotes/origin/x", // no empty line between stanzas
         {{"/r", std::nullopt, false, false}, {"/with space", "x", true, false}, {"/b", std::nullopt, true, true},
          {"/c", std::nullopt, false, true}}},
    };
    for (const Case& entry : cases) {
        SCOPED_TRACE(entry.text);
        EXPECT_EQ(Worktrees::parse(entry.text), entry.expected);
    }
}

TEST(WorktreesTests, GitHubSlugTakesOwnerAndRepositoryFromGitHubURLsOnly)
{
    const std::vector<std::pair<std::string, std::optional<std::string>>> cases = {
        {"git@github.com:owner/repo.git", "owner/repo"},
        {"ssh://git@github.com/owner/repo.git", "owner/repo"},
        {"https://github.com/owner/repo", "owner/repo"},
        {"https://github.com/owner/repo/", "owner/repo"},
        {"https://github.com/owner/repo.git/", "owner/repo.git"}, // ".git" is looked for before the "/"
        {"https://github.com/owner/repo/pulls", std::nullopt},
        {"https://github.com/owner", std::nullopt},
        {"https://github.com/", std::nullopt},
        {"http://github.com/owner/repo", std::nullopt},
        {"ssh://github.com/owner/repo", std::nullopt},
        {"git@gitlab.com:owner/repo.git", std::nullopt},
        {"/srv/git/owner/repo.git", std::nullopt},
    };
    for (const auto& [url, slug] : cases)
        EXPECT_EQ(Worktrees::gitHubSlug(url), slug) << url;
}

TEST(WorktreesTests, RegenerableNamesGoByTheLastComponent)
{
    const std::vector<std::pair<std::string, bool>> cases = {
        {"dist", true}, {"web/coverage", true}, {"src/__pycache__", true}, {".eslintcache", true},
        {"ios/Flutter/Generated.xcconfig", true}, {"linux/flutter/ephemeral", true},
        {"ios/Runner/GeneratedPluginRegistrant.m", true}, {"tsconfig.tsbuildinfo", true},
        {"dist/notes.txt", false}, {".env", false}, {"distribution", false}, {"GeneratedPluginRegistrant", false},
    };
    for (const auto& [path, regenerable] : cases)
        EXPECT_EQ(Worktrees::isRegenerable(path), regenerable) << path;
}

TEST(WorktreesTests, HoldsOnlyGeneratedSkipsArtifactsAndGathersDSStore)
{
    TemporaryFolder root;
    root.makeFile("only/build/out.o");
    root.makeFile("only/.DS_Store");
    root.makeFile("only/deep/.DS_Store");
    root.makeFile("mixed/build/out.o");
    root.makeFile("mixed/.DS_Store");
    root.makeFile("mixed/deep/notes.txt");
    const Paths generated = {root / "only/build", root / "mixed/build"};

    Paths clutter = {"/earlier"};
    EXPECT_TRUE(Worktrees::holdsOnlyGenerated(root / "only", generated, clutter));
    std::sort(clutter.begin() + 1, clutter.end());
    EXPECT_EQ(clutter, (Paths{"/earlier", root / "only/.DS_Store", root / "only/deep/.DS_Store"}));

    EXPECT_FALSE(Worktrees::holdsOnlyGenerated(root / "mixed", generated, clutter));
    EXPECT_EQ(clutter.size(), 3u); // the .DS_Store met before the note is dropped

    EXPECT_TRUE(Worktrees::holdsOnlyGenerated(root / "absent", generated, clutter));
    EXPECT_FALSE(Worktrees::holdsOnlyGenerated(root / "only", {}, clutter)); // build is no artifact now
}

TEST(WorktreesTests, DecodePullRequestsKeepsTheNewestPerBranchAndRejectsOtherShapes)
{
    const auto request = [](std::int64_t number, const std::string& state, const std::string& head) {
        return Worktrees::PullRequest{number, state, head, "oid" + std::to_string(number)};
    };
    EXPECT_EQ(Worktrees::decodePullRequests(R"([
        {"number": 9, "state": "MERGED", "headRefName": "fix", "headRefOid": "oid9"},
        {"number": 12, "state": "OPEN", "headRefName": "fix", "headRefOid": "oid12", "title": "again"},
        {"number": 10, "state": "CLOSED", "headRefName": "fix", "headRefOid": "oid10"},
        {"number": 4, "state": "CLOSED", "headRefName": "docs", "headRefOid": "oid4"}
    ])"),
              (std::map<std::string, Worktrees::PullRequest>{{"fix", request(12, "OPEN", "fix")},
                                                             {"docs", request(4, "CLOSED", "docs")}}));
    EXPECT_TRUE(Worktrees::decodePullRequests("[]").empty());

    const std::vector<std::string> rejected = {
        "", "not json", "{}", R"({"number": 1})", "[1]",
        R"([{"number": 1, "state": "OPEN", "headRefName": "a", "headRefOid": "b"}, {"number": 2}])",
        R"([{"number": "1", "state": "OPEN", "headRefName": "a", "headRefOid": "b"}])",
        R"([{"number": 1.5, "state": "OPEN", "headRefName": "a", "headRefOid": "b"}])",
        R"([{"number": 1, "state": null, "headRefName": "a", "headRefOid": "b"}])",
        R"([{"number": 1, "state": "OPEN", "headRefName": "a", "headRefOid": "b"})",
    };
    for (const std::string& json : rejected)
        EXPECT_TRUE(Worktrees::decodePullRequests(json).empty()) << json;
}

// Repositories made with real git in a temporary folder; git here reads none
// of the machine's or the user's configuration either.
class WorktreesOnDisk : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!test::hasGit())
            GTEST_SKIP() << "no git";
        // git names worktrees by their real path.
        root = std::filesystem::canonical(folder.path()).string();
        repository = root + "/repository";
        ASSERT_TRUE(test::makeRepositoryWithOrigin(repository, root + "/origin.git", ".env\nnode_modules/\ndist/\n"));
    }

    // A linked worktree on a new branch at the repository's HEAD.
    std::string addWorktree(const std::string& branch)
    {
        const std::string path = root + "/worktrees/" + branch;
        EXPECT_TRUE(test::runGit(repository, {"worktree", "add", "-q", "-b", branch, path}));
        return path;
    }

    void write(const std::string& path, const std::string& content = "")
    {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << content;
    }

    TemporaryFolder folder;
    test::ScopedEnvironment noSystemConfig{"GIT_CONFIG_NOSYSTEM", "1"};
    test::ScopedEnvironment noUserConfig{"GIT_CONFIG_GLOBAL", "/dev/null"};
    std::string root;
    std::string repository;
};

TEST_F(WorktreesOnDisk, ListGivesEveryLinkedWorktreeTheStateGitCanTell)
{
    using test::commitFile;
    using test::runGit;

    // Landed on main, with an ignored .env left behind.
    const std::string merged = addWorktree("merged");
    ASSERT_TRUE(commitFile(merged, "feature.txt", "done", {{"GIT_COMMITTER_DATE", "1700000000 +0000"}}));
    ASSERT_TRUE(runGit(repository, {"merge", "-q", "--ff-only", "merged"}));
    ASSERT_TRUE(runGit(repository, {"push", "-q", "origin", "main"}));
    write(merged + "/.env", "SECRET=1");
    write(merged + "/dist/app.js");
    write(merged + "/node_modules/left-pad/index.js");
    write(merged + "/.DS_Store");

    // Landed, and holding only artifacts and .DS_Store files.
    const std::string clean = addWorktree("clean");
    write(clean + "/node_modules/left-pad/index.js");
    write(clean + "/app/build/out.o");
    write(clean + "/app/.DS_Store");

    const std::string changed = addWorktree("changed");
    write(changed + "/README", "edited");
    write(changed + "/staged.txt");
    ASSERT_TRUE(runGit(changed, {"add", "staged.txt"}));

    const std::string renamed = addWorktree("renamed");
    ASSERT_TRUE(commitFile(renamed, "original-name.txt", "text"));
    ASSERT_TRUE(runGit(renamed, {"mv", "original-name.txt", "new-name.txt"}));

    const std::string threeNew = addWorktree("three-new");
    for (const char* name : {"c.txt", "a.txt", "b.txt", ".DS_Store"})
        write(threeNew + "/" + name);
    const std::string fiveNew = addWorktree("five-new");
    for (const char* name : {"e.txt", "d.txt", "c.txt", "b.txt", "a/one.txt"})
        write(fiveNew + "/" + name);

    const std::string unpushed = addWorktree("unpushed");
    ASSERT_TRUE(commitFile(unpushed, "one.txt", "1") && commitFile(unpushed, "two.txt", "2"));

    const std::string detached = root + "/worktrees/detached";
    ASSERT_TRUE(runGit(repository, {"worktree", "add", "-q", "--detach", detached}));
    ASSERT_TRUE(commitFile(detached, "alone.txt", "1"));

    const std::string gone = addWorktree("gone");
    ASSERT_TRUE(commitFile(gone, "gone.txt", "1"));
    ASSERT_TRUE(runGit(gone, {"push", "-q", "-u", "origin", "gone"}));
    ASSERT_TRUE(runGit(repository, {"push", "-q", "origin", "--delete", "gone"}));

    const std::string pushed = addWorktree("pushed");
    ASSERT_TRUE(commitFile(pushed, "pushed.txt", "1"));
    ASSERT_TRUE(runGit(pushed, {"push", "-q", "-u", "origin", "pushed"}));

    const std::string locked = addWorktree("locked");
    ASSERT_TRUE(runGit(repository, {"worktree", "lock", locked}));

    const std::string missing = addWorktree("missing");
    std::filesystem::remove_all(missing); // by hand, as a user would

    std::set<std::string> asked;
    std::mutex askedLock; // asked from several threads at once
    const auto generated = [&](const std::string& path) -> Paths {
        const std::lock_guard lock(askedLock);
        asked.insert(path);
        return {path + "/node_modules", path + "/app/build"};
    };
    const std::vector<Worktree> worktrees = Worktrees::list(repository, generated);

    const std::map<std::string, State> expected = {
        {merged, State::Merged{"main"}},
        {clean, State::Merged{"main"}},
        {changed, State::UncommittedChanges{2}},
        {renamed, State::UncommittedChanges{1}},
        {threeNew, State::UntrackedFiles{{"a.txt", "b.txt", "c.txt"}}},
        {fiveNew, State::UntrackedFiles{{"a", "b.txt", "c.txt", "d.txt", "e.txt"}}},
        {unpushed, State::UnpushedCommits{2}},
        {detached, State::UnpushedCommits{1}},
        {gone, State::RemoteBranchDeleted{}},
        {pushed, State::Pushed{}},
        {locked, State::Locked{}},
        {missing, State::Missing{}},
    };
    ASSERT_EQ(worktrees.size(), expected.size());
    EXPECT_TRUE(std::is_sorted(worktrees.begin(), worktrees.end(),
                               [](const Worktree& a, const Worktree& b) { return a.path < b.path; }));
    const Paths linked = Worktrees::paths(repository);
    EXPECT_EQ(std::set<std::string>(linked.begin(), linked.end()), asked);
    for (const Worktree& worktree : worktrees) {
        SCOPED_TRACE(worktree.path);
        ASSERT_TRUE(expected.contains(worktree.path));
        EXPECT_EQ(worktree.state, expected.at(worktree.path)) << worktree.summary();
        EXPECT_EQ(worktree.repository, repository);
        EXPECT_EQ(worktree.lastCommit.has_value(), worktree.path != locked && worktree.path != missing);
        EXPECT_EQ(worktree.branch, worktree.path == detached ? std::nullopt
                                                             : std::optional(worktree.path.substr(worktree.path.rfind('/') + 1)));
    }

    const auto at = [&](const std::string& path) {
        return *std::find_if(worktrees.begin(), worktrees.end(), [&](const Worktree& w) { return w.path == path; });
    };
    EXPECT_EQ(at(merged).lastCommit, std::chrono::system_clock::time_point(std::chrono::seconds(1700000000)));
    EXPECT_EQ(at(merged).ignoredFiles, Paths{".env"});
    EXPECT_EQ(at(merged).clutter, Paths{merged + "/.DS_Store"});
    EXPECT_TRUE(at(merged).canRemove());
    EXPECT_FALSE(at(merged).isFinished());
    EXPECT_TRUE(at(clean).ignoredFiles.empty());
    EXPECT_EQ(at(clean).clutter, Paths{clean + "/app/.DS_Store"});
    EXPECT_TRUE(at(clean).isFinished());
    EXPECT_EQ(at(fiveNew).summary(), "Untracked: a, b.txt, c.txt and 2 more");
    EXPECT_EQ(at(detached).summary(), "1 commit not pushed");
    // Past the working tree checks only: what stops earlier carries no lists.
    EXPECT_TRUE(at(threeNew).clutter.empty());
}

TEST_F(WorktreesOnDisk, ListAndPathsAreEmptyWithoutLinkedWorktreesOrARepository)
{
    const std::string plain = folder.makeFolder("plain");
    for (const std::string& folderPath : {repository, plain, root + "/absent"}) {
        EXPECT_TRUE(Worktrees::paths(folderPath).empty()) << folderPath;
        EXPECT_TRUE(Worktrees::list(folderPath, [](const std::string&) {
                        ADD_FAILURE() << "nothing to inspect";
                        return Paths{};
                    }).empty())
            << folderPath;
    }
}

TEST_F(WorktreesOnDisk, PullRequestsDecideAfterTheMergeTestAndBeforeTheRemote)
{
    const std::string feature = addWorktree("feature");
    ASSERT_TRUE(test::commitFile(feature, "one.txt", "1") && test::commitFile(feature, "two.txt", "2"));
    const std::string head = test::gitOutput(feature, {"rev-parse", "HEAD"});
    const std::string parent = test::gitOutput(feature, {"rev-parse", "HEAD~1"});
    const std::string done = addWorktree("done");
    const std::optional<std::string> main = "origin/main";

    struct Case {
        std::string path; // its last component is its branch
        Worktrees::PullRequest pull;
        State expected;
    };
    const std::vector<Case> cases = {
        {feature, {7, "MERGED", "feature", head}, State::PullRequestMerged{7}},
        // Commits made after the merge: the pull request did not carry them.
        {feature, {7, "MERGED", "feature", parent}, State::UnpushedCommits{2}},
        {feature, {8, "OPEN", "feature", head}, State::PullRequestOpen{8}},
        {feature, {9, "CLOSED", "feature", head}, State::PullRequestClosed{9}},
        {feature, {9, "DRAFT", "feature", head}, State::UnpushedCommits{2}},
        {feature, {7, "MERGED", "other", head}, State::UnpushedCommits{2}},
        {done, {3, "OPEN", "done", head}, State::Merged{"main"}},
    };
    for (const Case& entry : cases) {
        SCOPED_TRACE(entry.pull.state + " " + entry.pull.headRefName + " at " + entry.path);
        const Worktrees::Record record{entry.path, entry.path.substr(entry.path.rfind('/') + 1), false, false};
        const std::map<std::string, Worktrees::PullRequest> pulls = {{entry.pull.headRefName, entry.pull}};
        EXPECT_EQ(Worktrees::inspect(record, repository, main, pulls, {}).state, entry.expected);
    }
    // Without a branch the pull requests are not consulted.
    EXPECT_EQ(Worktrees::inspect({feature, std::nullopt, false, false}, repository, main,
                                 {{"feature", {7, "MERGED", "feature", head}}}, {})
                  .state,
              State::UnpushedCommits{2});
    // Without a default branch the merge test is passed over.
    EXPECT_EQ(Worktrees::inspect({done, "done", false, false}, repository, std::nullopt, {}, {}).state, State::Pushed{});
}

TEST_F(WorktreesOnDisk, TheGitHubToolAnswersOrIsPassedOverWithinItsTime)
{
    ASSERT_TRUE(test::runGit(repository, {"remote", "set-url", "origin", "git@github.com:acme/shop.git"}));
    // Stand-ins for the GitHub CLI; the first answers only the question it expects.
    const std::string answer = R"([{"number":7,"state":"MERGED","headRefName":"feature","headRefOid":"abc"}])";
    const struct {
        const char* name;
        std::string script;
        std::size_t pulls;
    } cases[] = {
        {"answers", "[ \"$*\" = 'pr list --repo acme/shop --state all --limit 1000 --json "
                    "number,state,headRefName,headRefOid' ] || exit 2\necho '" + answer + "'", 1},
        {"fails", "echo 'HTTP 401: Bad credentials' >&2; exit 1", 0},
        {"prints garbage", "echo 'Welcome to GitHub CLI!'", 0},
        {"hangs", "sleep 30; echo '" + answer + "'", 0},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        const std::string gh = folder.makeFile(std::string("gh-") + each.name);
        std::ofstream(gh) << "#!/bin/sh\n" << each.script << "\n";
        std::filesystem::permissions(gh, std::filesystem::perms::owner_all);
        const auto started = std::chrono::steady_clock::now();
        const auto pulls = Worktrees::pullRequests(repository, gh, std::chrono::seconds(1));
        EXPECT_EQ(pulls.size(), each.pulls);
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
        if (each.pulls == 1) {
            EXPECT_EQ(pulls.at("feature"), (Worktrees::PullRequest{7, "MERGED", "feature", "abc"}));
        }
    }
    // Off GitHub, the tool is not asked at all.
    ASSERT_TRUE(test::runGit(repository, {"remote", "set-url", "origin", "https://gitlab.com/acme/shop.git"}));
    EXPECT_TRUE(Worktrees::pullRequests(repository, folder / "gh-answers", std::chrono::seconds(1)).empty());
}

TEST_F(WorktreesOnDisk, InspectTellsMissingBeforeLockedAndFailedStatusAsUntracked)
{
    const std::string file = folder.makeFile("a-file");
    EXPECT_EQ(Worktrees::inspect({root + "/nowhere", "x", false, false}, repository, std::nullopt, {}, {}).state,
              State::Missing{});
    EXPECT_EQ(Worktrees::inspect({file, "x", true, false}, repository, std::nullopt, {}, {}).state, State::Missing{});
    EXPECT_EQ(Worktrees::inspect({repository, "main", true, true}, repository, std::nullopt, {}, {}).state,
              State::Missing{});
    EXPECT_EQ(Worktrees::inspect({repository, "main", true, false}, repository, std::nullopt, {}, {}).state,
              State::Locked{});
    const Worktree outside = Worktrees::inspect({folder.makeFolder("not-a-repository"), "x", false, false}, repository,
                                                "origin/main", {}, {});
    EXPECT_EQ(outside.state, (State::UntrackedFiles{{"git status failed"}}));
    EXPECT_FALSE(outside.canRemove());
}

TEST_F(WorktreesOnDisk, DefaultBranchPrefersOriginHeadThenTheUsualNames)
{
    EXPECT_EQ(Worktrees::defaultBranch(repository), "origin/main");
    ASSERT_TRUE(test::runGit(repository, {"push", "-q", "origin", "main:develop"}));
    ASSERT_TRUE(test::runGit(repository, {"symbolic-ref", "refs/remotes/origin/HEAD", "refs/remotes/origin/develop"}));
    EXPECT_EQ(Worktrees::defaultBranch(repository), "origin/develop");

    const std::string local = folder.makeFolder("local");
    ASSERT_TRUE(test::runGit(local, {"init", "-q", "-b", "master"}) && test::commitFile(local, "a.txt", "a"));
    EXPECT_EQ(Worktrees::defaultBranch(local), "master");
    EXPECT_EQ(Worktrees::defaultBranch(folder.makeFolder("nothing")), std::nullopt);
}

} // namespace
} // namespace tarno
