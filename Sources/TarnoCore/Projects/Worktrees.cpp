#include "TarnoCore/Projects/Worktrees.hpp"

#include "TarnoCore/Foundation/ConcurrentPerform.hpp"
#include "TarnoCore/Foundation/FileWalker.hpp"
#include "TarnoCore/Foundation/Shell.hpp"
#include "TarnoCore/Platform/ToolLocations.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>

#include <sys/stat.h>

namespace tarno::Worktrees {

namespace {

using State = Worktree::State;

constexpr std::chrono::seconds gitTimeout{120};
constexpr std::chrono::seconds ghTimeout{60};

std::optional<Shell::Output> runGit(const std::string& folder, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {"-C", folder});
    return Shell::run(Platform::git(), arguments, quietly(), gitTimeout);
}

bool succeeds(const std::string& folder, std::vector<std::string> arguments)
{
    const std::optional<Shell::Output> output = runGit(folder, std::move(arguments));
    return output && output->succeeded();
}

// Standard output whatever the status; empty when git did not start.
std::string anyOutput(const std::string& folder, std::vector<std::string> arguments)
{
    std::optional<Shell::Output> output = runGit(folder, std::move(arguments));
    return output ? std::move(output->standardOutput) : std::string();
}

std::optional<std::string> successfulOutput(const std::string& folder, std::vector<std::string> arguments)
{
    std::optional<Shell::Output> output = runGit(folder, std::move(arguments));
    if (!output || !output->succeeded())
        return std::nullopt;
    return std::move(output->standardOutput);
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view whitespace = " \t\n\r\f\v";
    const std::size_t first = text.find_first_not_of(whitespace);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(whitespace) - first + 1);
}

std::optional<std::int64_t> integer(std::string_view text)
{
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::string_view lastComponent(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

bool isFolder(const std::string& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isInsideAny(const std::string& path, const std::vector<std::string>& folders)
{
    return std::any_of(folders.begin(), folders.end(), [&](const std::string& folder) {
        return path == folder
            || (path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/');
    });
}

struct WorkingTree {
    std::int64_t changes = 0;
    std::vector<std::string> untracked;
    std::vector<std::string> ignored;
    std::vector<std::string> clutter;
};

// `git status --porcelain=v1 -z --ignored=matching`: "XY path" entries split
// at NUL, a rename or copy followed by its old name.
WorkingTree readStatus(std::string_view output, const std::string& worktree, const std::vector<std::string>& generated)
{
    std::vector<std::string_view> entries;
    for (std::size_t start = 0; start < output.size();) {
        const std::size_t end = std::min(output.find('\0', start), output.size());
        if (end > start)
            entries.push_back(output.substr(start, end - start));
        start = end + 1;
    }

    WorkingTree tree;
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const std::string_view entry = entries[index];
        if (entry.size() < 4)
            continue;
        const std::string_view code = entry.substr(0, 2);
        if (code.find_first_of("RC") != std::string_view::npos)
            ++index; // the old name, not an entry of its own
        const bool untracked = code == "??";
        if (!untracked && code != "!!") {
            ++tree.changes;
            continue;
        }
        std::string_view name = entry.substr(3);
        const bool isFolderEntry = name.ends_with('/');
        if (isFolderEntry)
            name.remove_suffix(1);
        const std::string full = worktree + "/" + std::string(name);
        if (lastComponent(full) == ".DS_Store") {
            tree.clutter.push_back(full);
            continue;
        }
        // A known artifact is not something to lose.
        if (isInsideAny(full, generated))
            continue;
        if (isFolderEntry && holdsOnlyGenerated(full, generated, tree.clutter))
            continue;
        if (untracked)
            tree.untracked.emplace_back(name);
        else if (!isRegenerable(name))
            tree.ignored.emplace_back(name);
    }
    return tree;
}

// Steps past the working tree: the branch's own history decides.
State landedState(const Worktree& worktree, const std::optional<std::string>& main,
                  const std::map<std::string, PullRequest>& pulls)
{
    const std::string& folder = worktree.path;
    if (main && succeeds(folder, {"merge-base", "--is-ancestor", "HEAD", *main}))
        return State::Merged{std::string(lastComponent(*main))};

    if (worktree.branch) {
        if (const auto pull = pulls.find(*worktree.branch); pull != pulls.end()) {
            const PullRequest& request = pull->second;
            if (request.state == "MERGED") {
                // Commits made after the merge keep the worktree from counting as merged.
                if (succeeds(folder, {"merge-base", "--is-ancestor", "HEAD", request.headRefOid}))
                    return State::PullRequestMerged{request.number};
            } else if (request.state == "OPEN") {
                return State::PullRequestOpen{request.number};
            } else if (request.state == "CLOSED") {
                return State::PullRequestClosed{request.number};
            }
        }
        const std::string track =
            anyOutput(folder, {"for-each-ref", "--format=%(upstream:track)", "refs/heads/" + *worktree.branch});
        if (track.find("[gone]") != std::string::npos)
            return State::RemoteBranchDeleted{};
    }

    const std::optional<std::int64_t> unpushed =
        integer(trimmed(anyOutput(folder, {"rev-list", "--count", "HEAD", "--not", "--remotes"})));
    if (unpushed && *unpushed == 0)
        return State::Pushed{};
    // An unreadable count reads as unpushed, so the worktree is not called done.
    return State::UnpushedCommits{unpushed && *unpushed > 0 ? *unpushed : 0};
}

} // namespace

const std::map<std::string, std::string>& quietly()
{
    static const std::map<std::string, std::string> environment = {
        {"GIT_OPTIONAL_LOCKS", "0"},
        {"GIT_TERMINAL_PROMPT", "0"},
    };
    return environment;
}

std::vector<std::string> paths(const std::string& repository)
{
    const std::optional<std::string> porcelain = successfulOutput(repository, {"worktree", "list", "--porcelain"});
    if (!porcelain)
        return {};
    const std::vector<Record> records = parse(*porcelain);
    std::vector<std::string> linked;
    // The first record is always the main worktree.
    for (std::size_t index = 1; index < records.size(); ++index)
        linked.push_back(records[index].path);
    return linked;
}

std::vector<Worktree> list(const std::string& repository,
                           const std::function<std::vector<std::string>(const std::string&)>& generated)
{
    const std::optional<std::string> porcelain = successfulOutput(repository, {"worktree", "list", "--porcelain"});
    if (!porcelain)
        return {};
    std::vector<Record> records = parse(*porcelain);
    if (records.size() < 2)
        return {};
    records.erase(records.begin());

    const std::optional<std::string> main = defaultBranch(repository);
    const std::map<std::string, PullRequest> pulls = pullRequests(repository);

    Locked<std::vector<Worktree>> inspected;
    concurrentPerform(records.size(), [&](std::size_t index) {
        Worktree worktree = inspect(records[index], repository, main, pulls, generated(records[index].path));
        inspected.change([&](std::vector<Worktree>& all) { all.push_back(std::move(worktree)); });
    });
    std::vector<Worktree> worktrees = inspected.take();
    std::sort(worktrees.begin(), worktrees.end(),
              [](const Worktree& left, const Worktree& right) { return left.path < right.path; });
    return worktrees;
}

std::vector<Record> parse(std::string_view porcelain)
{
    std::vector<Record> records;
    std::optional<Record> current;
    const auto flagged = [](std::string_view line, std::string_view word) {
        return line == word || (line.starts_with(word) && line.size() > word.size() && line[word.size()] == ' ');
    };
    for (std::size_t start = 0; start <= porcelain.size();) {
        const std::size_t end = std::min(porcelain.find('\n', start), porcelain.size());
        const std::string_view line = porcelain.substr(start, end - start);
        start = end + 1;
        if (line.starts_with("worktree ")) {
            if (current)
                records.push_back(std::move(*current));
            current = Record{std::string(line.substr(9)), std::nullopt, false, false};
        } else if (!current) {
            continue;
        } else if (constexpr std::string_view prefix = "branch refs/heads/"; line.starts_with(prefix)) {
            current->branch = std::string(line.substr(prefix.size()));
        } else if (flagged(line, "locked")) {
            current->locked = true;
        } else if (flagged(line, "prunable")) {
            current->prunable = true;
        }
    }
    if (current)
        records.push_back(std::move(*current));
    return records;
}

Worktree inspect(const Record& record, const std::string& repository, const std::optional<std::string>& main,
                 const std::map<std::string, PullRequest>& pulls, const std::vector<std::string>& generated)
{
    Worktree worktree{record.path, repository, record.branch, State::Missing{}, std::nullopt, {}, {}};
    if (record.prunable || !isFolder(record.path))
        return worktree;
    if (record.locked) {
        worktree.state = State::Locked{};
        return worktree;
    }

    if (const std::optional<std::int64_t> seconds = integer(trimmed(anyOutput(record.path, {"log", "-1", "--format=%ct"}))))
        worktree.lastCommit = std::chrono::system_clock::time_point(std::chrono::seconds(*seconds));

    const std::optional<std::string> status =
        successfulOutput(record.path, {"status", "--porcelain=v1", "-z", "--ignored=matching"});
    if (!status) {
        // Reads as not removable: what git cannot see may be anything.
        worktree.state = State::UntrackedFiles{{"git status failed"}};
        return worktree;
    }
    WorkingTree tree = readStatus(*status, record.path, generated);
    if (tree.changes > 0) {
        worktree.state = State::UncommittedChanges{tree.changes};
        return worktree;
    }
    if (!tree.untracked.empty()) {
        worktree.state = State::UntrackedFiles{std::move(tree.untracked)};
        return worktree;
    }

    worktree.ignoredFiles = std::move(tree.ignored);
    worktree.clutter = std::move(tree.clutter);
    worktree.state = landedState(worktree, main, pulls);
    return worktree;
}

std::optional<std::string> defaultBranch(const std::string& repository)
{
    if (const std::optional<std::string> head =
            successfulOutput(repository, {"symbolic-ref", "--quiet", "--short", "refs/remotes/origin/HEAD"})) {
        if (const std::string_view name = trimmed(*head); !name.empty())
            return std::string(name);
    }
    for (const char* name : {"origin/main", "origin/master", "origin/develop", "main", "master"}) {
        if (succeeds(repository, {"rev-parse", "--verify", "--quiet", std::string(name) + "^{commit}"}))
            return name;
    }
    return std::nullopt;
}

std::map<std::string, PullRequest> pullRequests(const std::string& repository)
{
    const std::optional<std::string> gh = Platform::firstExecutable(Platform::ghCandidates());
    return gh ? pullRequests(repository, *gh, ghTimeout) : std::map<std::string, PullRequest>{};
}

std::map<std::string, PullRequest> pullRequests(const std::string& repository, const std::string& gh,
                                                std::chrono::seconds timeout)
{
    const std::optional<std::string> url = successfulOutput(repository, {"remote", "get-url", "origin"});
    if (!url)
        return {};
    const std::optional<std::string> slug = gitHubSlug(trimmed(*url));
    if (!slug)
        return {};
    const std::optional<Shell::Output> output =
        Shell::run(gh,
                   {"pr", "list", "--repo", *slug, "--state", "all", "--limit", "1000", "--json",
                    "number,state,headRefName,headRefOid"},
                   {{"GH_PROMPT_DISABLED", "1"}}, timeout);
    // A time-out ends in a signal's status, so it fails here too.
    if (!output || !output->succeeded())
        return {};
    return decodePullRequests(output->standardOutput);
}

std::map<std::string, PullRequest> decodePullRequests(std::string_view json)
{
    const nlohmann::json document = nlohmann::json::parse(json, nullptr, /*allow_exceptions=*/false);
    if (!document.is_array())
        return {};
    std::map<std::string, PullRequest> pulls;
    for (const nlohmann::json& element : document) {
        if (!element.is_object())
            return {};
        const auto number = element.find("number");
        const auto state = element.find("state");
        const auto headRefName = element.find("headRefName");
        const auto headRefOid = element.find("headRefOid");
        if (number == element.end() || !number->is_number_integer() || state == element.end() || !state->is_string()
            || headRefName == element.end() || !headRefName->is_string() || headRefOid == element.end()
            || !headRefOid->is_string())
            return {};
        PullRequest request{number->get<std::int64_t>(), state->get<std::string>(), headRefName->get<std::string>(),
                            headRefOid->get<std::string>()};
        // A branch that had several pull requests goes by the newest.
        const auto existing = pulls.find(request.headRefName);
        if (existing == pulls.end())
            pulls.emplace(request.headRefName, std::move(request));
        else if (existing->second.number < request.number)
            existing->second = std::move(request);
    }
    return pulls;
}

std::optional<std::string> gitHubSlug(std::string_view url)
{
    constexpr std::array<std::string_view, 3> prefixes = {
        "git@github.com:", "ssh://git@github.com/", "https://github.com/"};
    const auto prefix = std::find_if(prefixes.begin(), prefixes.end(),
                                     [&](std::string_view candidate) { return url.starts_with(candidate); });
    if (prefix == prefixes.end())
        return std::nullopt;
    std::string_view rest = url.substr(prefix->size());
    // ".git" goes first, so "repo.git/" keeps its ".git".
    if (rest.ends_with(".git"))
        rest.remove_suffix(4);
    if (rest.ends_with('/'))
        rest.remove_suffix(1);
    std::size_t parts = 0;
    for (std::size_t start = 0; start < rest.size();) {
        const std::size_t end = std::min(rest.find('/', start), rest.size());
        if (end > start)
            ++parts;
        start = end + 1;
    }
    if (parts != 2)
        return std::nullopt;
    return std::string(rest);
}

bool isRegenerable(std::string_view path)
{
    static const std::array<std::string_view, 12> names = {
        "dist", "coverage", "__pycache__", ".pytest_cache", ".mypy_cache", ".ruff_cache", ".eslintcache",
        ".flutter-plugins", ".flutter-plugins-dependencies", "Generated.xcconfig", "ephemeral",
        "flutter_export_environment.sh",
    };
    const std::string_view name = lastComponent(path);
    return std::find(names.begin(), names.end(), name) != names.end()
        || name.starts_with("GeneratedPluginRegistrant.") || name.ends_with(".tsbuildinfo");
}

bool holdsOnlyGenerated(const std::string& folder, const std::vector<std::string>& generated,
                        std::vector<std::string>& clutter)
{
    std::vector<std::string> found;
    bool onlyGenerated = true;
    FileWalker::walk(folder, [&](const WalkEntry& entry) {
        // Checked before the root is passed over: a folder that cannot be read may hold anything.
        if (entry.kind == WalkEntry::Kind::unreadableDirectory) {
            onlyGenerated = false;
            return WalkDecision::stop;
        }
        if (entry.depth() == 0)
            return WalkDecision::proceed;
        if (entry.kind == WalkEntry::Kind::directory) {
            const std::string path = entry.path();
            return std::find(generated.begin(), generated.end(), path) != generated.end() ? WalkDecision::skipDirectory
                                                                                          : WalkDecision::proceed;
        }
        if (entry.isNamed(".DS_Store")) {
            found.push_back(entry.path());
            return WalkDecision::proceed;
        }
        onlyGenerated = false;
        return WalkDecision::stop;
    });
    if (onlyGenerated)
        clutter.insert(clutter.end(), found.begin(), found.end());
    return onlyGenerated;
}

} // namespace tarno::Worktrees
