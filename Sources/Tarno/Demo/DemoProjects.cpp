#include "Tarno/Demo/DemoProjects.hpp"

#include "Tarno/Demo/DemoMachine.hpp"

#include <algorithm>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

namespace tarno::Demo {

namespace {

using Clock = std::chrono::system_clock;
using std::chrono::hours;
constexpr std::int64_t megabytes = 1'000'000;

std::string inHome(const std::string& relative)
{
    return std::string(home) + "/" + relative;
}

const ArtifactKind& kind(const std::string& folder, const std::string& marker)
{
    for (const ArtifactKind* each : ArtifactKind::byFolder().at(folder)) {
        if (std::find(each->markers.begin(), each->markers.end(), marker) != each->markers.end())
            return *each;
    }
    return *ArtifactKind::byFolder().at(folder).front();
}

// Builds the scan's rows and its account side by side, so every row's
// figures are what the account says.
struct ScanBuilder {
    ProjectScan scan;

    // A new owner: bytes it holds alone, and bytes it links from a store outside.
    std::int32_t owner(std::int64_t alone, std::int64_t fromStore = 0)
    {
        const auto index = static_cast<std::int32_t>(scan.account.apparent.size());
        scan.account.apparent.push_back(alone + fromStore);
        scan.account.sharedOutside.push_back(fromStore);
        if (alone > 0)
            scan.account.combinations[{index}] = alone;
        return index;
    }

    // Bytes that two owners hold together, hard-linked between them.
    void share(std::int32_t first, std::int32_t second, std::int64_t bytes)
    {
        scan.account.combinations[{std::min(first, second), std::max(first, second)}] += bytes;
        scan.account.apparent[static_cast<std::size_t>(first)] += bytes;
        scan.account.apparent[static_cast<std::size_t>(second)] += bytes;
    }

    void artifact(const std::string& project, const ArtifactKind& artifactKind, std::int32_t index,
                  std::optional<Clock::time_point> lastChange, const std::string& below = {})
    {
        const std::string path = inHome(project) + "/" + (below.empty() ? "" : below + "/") + artifactKind.folder;
        scan.artifacts.push_back(ProjectScan::ArtifactRow{path, artifactKind, inHome(project), lastChange, 0, 0, index});
    }

    void worktree(Worktree worktree, std::optional<Clock::time_point> lastChange, bool isInUse,
                  std::vector<std::int32_t> owners, std::vector<std::string> generated)
    {
        scan.worktrees.push_back(ProjectScan::WorktreeRow{std::move(worktree), lastChange, isInUse, 0, 0,
                                                          std::move(generated), std::move(owners)});
    }

    // The rows' sizes, once every owner and share is in.
    ProjectScan finish()
    {
        for (auto& row : scan.artifacts) {
            row.apparentBytes = scan.account.apparent[static_cast<std::size_t>(row.owner)];
            row.realBytes = scan.account.freed({row.owner});
        }
        for (auto& row : scan.worktrees) {
            row.apparentBytes = 0;
            for (std::int32_t index : row.owners)
                row.apparentBytes += scan.account.apparent[static_cast<std::size_t>(index)];
            row.realBytes = scan.account.freed({row.owners.begin(), row.owners.end()});
        }
        return scan;
    }
};

Worktree worktreeAt(const std::string& folder, std::string branch, Worktree::State state,
                    std::vector<std::string> ignoredFiles = {})
{
    Worktree worktree;
    worktree.path = inHome(folder);
    worktree.repository = inHome("code/shop");
    worktree.branch = std::move(branch);
    worktree.state = std::move(state);
    worktree.ignoredFiles = std::move(ignoredFiles);
    return worktree;
}

} // namespace

ProjectScan projectScan(Clock::time_point now)
{
    const auto daysAgo = [now](int days) { return std::optional<Clock::time_point>(now - hours(24 * days)); };
    const ArtifactKind& nodeModules = kind("node_modules", "package.json");
    ScanBuilder builder;
    builder.scan.roots = {inHome("code"), inHome("work")};

    // The shop and its worktrees link their packages from pnpm's store.
    const std::int32_t shopModules = builder.owner(310 * megabytes, 2'140 * megabytes);
    const std::int32_t shopNext = builder.owner(428 * megabytes);
    builder.artifact("code/shop", nodeModules, shopModules, daysAgo(75));
    builder.artifact("code/shop", kind(".next", "package.json"), shopNext, daysAgo(75));

    const std::int32_t checkoutOwn = builder.owner(64 * megabytes);
    const std::int32_t checkoutModules = builder.owner(184 * megabytes, 2'050 * megabytes);
    builder.share(shopModules, checkoutModules, 220 * megabytes);
    builder.worktree(worktreeAt("code/shop-checkout-redesign", "checkout-redesign", Worktree::State::Merged{"main"}),
                     daysAgo(9), false, {checkoutOwn, checkoutModules},
                     {inHome("code/shop-checkout-redesign/node_modules")});

    const std::int32_t cartOwn = builder.owner(41 * megabytes);
    const std::int32_t cartModules = builder.owner(96 * megabytes, 2'010 * megabytes);
    builder.worktree(worktreeAt("code/shop-fix-cart", "fix-cart-rounding", Worktree::State::PullRequestMerged{482}),
                     Clock::time_point(now - hours(2)), false, {cartOwn, cartModules},
                     {inHome("code/shop-fix-cart/node_modules")});

    const std::int32_t searchOwn = builder.owner(58 * megabytes);
    builder.worktree(worktreeAt("code/shop-search", "search-experiment", Worktree::State::Pushed{},
                                {".env.local", "notes.md", "fixtures/big.json", "coverage/lcov.info", ".vscode/launch.json"}),
                     daysAgo(21), false, {searchOwn}, {});

    const std::int32_t paymentsOwn = builder.owner(212 * megabytes);
    builder.worktree(worktreeAt("code/shop-payments", "stripe-webhooks", Worktree::State::UncommittedChanges{3}),
                     daysAgo(0), true, {paymentsOwn}, {});

    // A dashboard touched this week, on the same store.
    builder.artifact("code/dashboard", nodeModules, builder.owner(205 * megabytes, 1'880 * megabytes), daysAgo(3));
    builder.artifact("code/dashboard", kind(".turbo", "turbo.json"), builder.owner(96 * megabytes), daysAgo(3));

    builder.artifact("code/ledger-service", kind("target", "Cargo.toml"), builder.owner(3'842 * megabytes), daysAgo(48));

    builder.artifact("work/field-app", kind("build", "pubspec.yaml"), builder.owner(1'126 * megabytes), daysAgo(160));
    builder.artifact("work/field-app", kind(".dart_tool", "pubspec.yaml"), builder.owner(243 * megabytes), daysAgo(160));
    builder.artifact("work/field-app", kind(".gradle", "gradlew"), builder.owner(318 * megabytes), daysAgo(160),
                     "android");

    builder.artifact("work/charts-android", kind("build", "build.gradle"), builder.owner(512 * megabytes), std::nullopt);
    builder.artifact("work/notebook-tools", kind(".venv", "pyproject.toml"), builder.owner(689 * megabytes), daysAgo(40));
    return builder.finish();
}

ProjectsMachine projectsMachine()
{
    // What the demo user removed, so a rescan does not bring it back.
    struct Removed {
        std::mutex mutex;
        std::set<std::string> paths;
    };
    auto removed = std::make_shared<Removed>();
    return ProjectsMachine{
        .defaultRoots = [](const std::string&) { return std::vector<std::string>{inHome("code"), inHome("work")}; },
        .workingDirectories = [] { return std::vector<std::string>{}; },
        .scan = [removed](const ProjectsMachine::Roots&, const std::string&, const PathGuard&,
                          const std::vector<std::string>&, const std::function<void(const ProjectScanner::Stage&)>& stage,
                          const ProjectsMachine::IsCancelled& isCancelled) {
            // A moment on each stage, so the progress can be seen.
            const std::vector<ProjectScanner::Stage> stages = {
                ProjectScanner::FindingProjects{}, ProjectScanner::CheckingWorktrees{1},
                ProjectScanner::Measuring{48'210}, ProjectScanner::Measuring{131'877}};
            for (const ProjectScanner::Stage& each : stages) {
                if (isCancelled())
                    break;
                stage(each);
                std::this_thread::sleep_for(std::chrono::milliseconds(150));
            }
            const std::lock_guard lock(removed->mutex);
            std::set<std::string> artifacts, worktrees;
            ProjectScan scan = projectScan(Clock::now());
            for (const auto& row : scan.artifacts) {
                if (removed->paths.contains(row.path))
                    artifacts.insert(row.path);
            }
            for (const auto& row : scan.worktrees) {
                if (removed->paths.contains(row.worktree.path))
                    worktrees.insert(row.worktree.path);
            }
            return scan.removing(artifacts, worktrees);
        },
        // Everything goes as asked; nothing real is touched.
        .perform = [removed](const PathGuard&, const CleanupAction& action, const ProjectsMachine::IsCancelled&) {
            const std::lock_guard lock(removed->mutex);
            std::vector<std::string> paths = action.paths();
            if (const auto* worktree = action.as<CleanupAction::RemoveWorktree>())
                paths = {worktree->path};
            removed->paths.insert(paths.begin(), paths.end());
            return CleanReport{.removed = static_cast<int>(paths.size()), .failures = {}, .wasCancelled = false};
        },
        .exists = [removed](const std::string& path) {
            const std::lock_guard lock(removed->mutex);
            return !removed->paths.contains(path);
        },
        .chooseFolders = [](const std::string&) { return std::optional<ProjectsMachine::Roots>(); },
        .reveal = [](const std::string&) {},
        .rememberedRoots = std::nullopt,
    };
}

} // namespace tarno::Demo
