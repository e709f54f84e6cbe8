#include "Tarno/ProjectsModel.hpp"

#include "Tarno/ModelSupport.hpp"
#include "Tarno/TaskRunner.hpp"

#include <algorithm>
#include <map>
#include <numeric>

namespace tarno {

namespace {

using Clock = std::chrono::system_clock;

// An absent date counts as long ago.
bool isOlderThan(const std::optional<Clock::time_point>& date, std::chrono::seconds span, Clock::time_point now)
{
    return !date || now - *date > span;
}

} // namespace

void ProjectsModel::StopFlag::set(bool stopped)
{
    const std::lock_guard lock(m_lock);
    m_stopped = stopped;
}

bool ProjectsModel::StopFlag::isSet() const
{
    const std::lock_guard lock(m_lock);
    return m_stopped;
}

ProjectsModel::ProjectsModel(ProjectsMachine machine, std::string home, const PathGuard& guardian, QObject* parent)
    : QObject(parent)
    , m_machine(std::move(machine))
    , m_home(std::move(home))
    , m_guardian(guardian)
    // A scan, or a removal: one at a time.
    , m_runner(new TaskRunner(1, this))
{
    std::optional<std::vector<std::string>> remembered;
    if (m_machine.rememberedRoots)
        remembered = m_machine.rememberedRoots->load();
    m_roots = remembered ? std::move(*remembered) : m_machine.defaultRoots(m_home);
}

ProjectsModel::~ProjectsModel()
{
    // Stops and waits while the model's members still stand.
    m_stopFlag->set(true);
    delete m_runner;
}

void ProjectsModel::cancel()
{
    m_stopFlag->set(true);
    m_runner->cancel();
}

// MARK: Roots

void ProjectsModel::chooseRoots()
{
    if (isScanning() || !m_machine.chooseFolders)
        return;
    if (std::optional<std::vector<std::string>> chosen = m_machine.chooseFolders(m_home); chosen && !chosen->empty())
        setRoots(std::move(*chosen));
}

void ProjectsModel::setRoots(std::vector<std::string> roots)
{
    // A scan of the old roots has nothing left to say, even once it ends.
    if (isScanning()) {
        m_stopFlag->set(true);
        m_stopFlag = std::make_shared<StopFlag>();
    }
    if (m_machine.rememberedRoots)
        m_machine.rememberedRoots->store(roots);
    if (assign(m_roots, std::move(roots)))
        Q_EMIT rootsChanged();
    setScan(std::nullopt);
    setSummary(std::nullopt);
    setPhase(Idle{});
}

// MARK: Scan

void ProjectsModel::scanProjects()
{
    if (!std::holds_alternative<Idle>(m_phase) && !isReady())
        return;
    setPhase(Scanning{ProjectScanner::FindingProjects{}});
    setSummary(std::nullopt);
    m_stopFlag = std::make_shared<StopFlag>();

    auto work = [this, machine = m_machine, roots = m_roots, home = m_home, guardian = m_guardian,
                 flag = m_stopFlag](const TaskRunner::Task& task) {
        const auto isCancelled = [flag, cancelled = task.cancellation()] { return flag->isSet() || cancelled(); };
        const auto stage = [this, &task, flag](const ProjectScanner::Stage& next) {
            task.onOwnerThread([this, next, flag] {
                // Reports may arrive after the scan is over, or replaced.
                if (flag == m_stopFlag && isScanning())
                    setPhase(Scanning{next});
            });
        };
        return machine.scan(roots, home, guardian, machine.workingDirectories(), stage, isCancelled);
    };
    m_runner->run(std::move(work), [this, flag = m_stopFlag](ProjectScan result) { scanned(std::move(result), flag); });
}

void ProjectsModel::scanned(ProjectScan result, const std::shared_ptr<StopFlag>& flag)
{
    if (flag != m_stopFlag)
        return;
    if (flag->isSet()) {
        setPhase(m_scan ? Phase{Ready{}} : Phase{Idle{}});
        return;
    }
    setScan(std::move(result));
    selectDefaults(Clock::now());
    setPhase(Ready{});
}

void ProjectsModel::stopScan()
{
    m_stopFlag->set(true);
}

void ProjectsModel::selectDefaults(Clock::time_point now)
{
    std::set<std::string> worktrees, artifacts;
    if (m_scan) {
        for (const ProjectScan::WorktreeRow& row : m_scan->worktrees) {
            if (row.worktree.isFinished() && !row.isInUse && isOlderThan(row.lastChange, worktreeGrace, now))
                worktrees.insert(row.worktree.path);
        }
        for (const ProjectScan::ArtifactRow& row : m_scan->artifacts) {
            if (row.kind.safety == Safety::safe && isOlderThan(row.projectLastChange, projectGrace, now))
                artifacts.insert(row.path);
        }
    }
    setSelectedWorktrees(std::move(worktrees));
    setSelectedArtifacts(std::move(artifacts));
}

// MARK: Clean

void ProjectsModel::clean()
{
    if (!m_scan || !isReady())
        return;
    std::vector<ProjectScan::WorktreeRow> worktrees = selectedWorktreeRows();
    std::vector<ProjectScan::ArtifactRow> artifacts = selectedArtifactRows();
    if (worktrees.empty() && artifacts.empty())
        return;
    setSummary(std::nullopt);
    setPhase(Cleaning{worktrees.empty() ? ProjectRemoval::name(artifacts.front())
                                        : ProjectRemoval::name(worktrees.front())});

    auto work = [this, scan = *m_scan, removal = m_machine.removal(m_guardian), worktrees = std::move(worktrees),
                 artifacts = std::move(artifacts), keep = keepRecord](const TaskRunner::Task& task) {
        const auto started = [this, &task](const std::string& name) {
            task.onOwnerThread([this, name] { setPhase(Cleaning{name}); });
        };
        ProjectRemoval::Outcome outcome =
            ProjectRemoval::remove(scan, worktrees, artifacts, removal, started, task.cancellation());
        // Cut short because the application is going: nothing will be
        // delivered, so what was done is recorded from here.
        if (task.isCancelled() && keep && !outcome.removedNames.empty())
            keep(ProjectRemoval::record(outcome, Clock::now()));
        return outcome;
    };
    m_runner->run(std::move(work), [this](ProjectRemoval::Outcome outcome) { cleaned(outcome); });
}

void ProjectsModel::cleaned(const ProjectRemoval::Outcome& outcome)
{
    setSummary(outcome.summary);
    if (onCleaned)
        onCleaned(ProjectRemoval::record(outcome, Clock::now()));
    if (m_scan)
        setScan(m_scan->removing(outcome.removedArtifacts, outcome.removedWorktrees));
    std::set<std::string> worktrees = m_selectedWorktrees, artifacts = m_selectedArtifacts;
    for (const std::string& path : outcome.removedWorktrees)
        worktrees.erase(path);
    for (const std::string& path : outcome.removedArtifacts)
        artifacts.erase(path);
    setSelectedWorktrees(std::move(worktrees));
    setSelectedArtifacts(std::move(artifacts));
    setPhase(Ready{});
    if (onDiskChanged)
        onDiskChanged();
}

// MARK: Derived views

std::vector<ProjectScan::WorktreeRow> ProjectsModel::removableWorktrees() const
{
    std::vector<ProjectScan::WorktreeRow> rows;
    if (m_scan)
        std::copy_if(m_scan->worktrees.begin(), m_scan->worktrees.end(), std::back_inserter(rows),
                     [](const auto& row) { return row.worktree.canRemove(); });
    const auto isDone = [](const ProjectScan::WorktreeRow& row) { return row.worktree.isFinished() && !row.isInUse; };
    std::stable_sort(rows.begin(), rows.end(), [&](const auto& left, const auto& right) {
        if (isDone(left) != isDone(right))
            return isDone(left);
        return left.realBytes > right.realBytes;
    });
    return rows;
}

std::vector<ProjectScan::WorktreeRow> ProjectsModel::keptWorktrees() const
{
    std::vector<ProjectScan::WorktreeRow> rows;
    if (m_scan)
        std::copy_if(m_scan->worktrees.begin(), m_scan->worktrees.end(), std::back_inserter(rows),
                     [](const auto& row) { return !row.worktree.canRemove(); });
    return rows;
}

std::vector<ProjectsModel::ProjectGroup> ProjectsModel::projectGroups() const
{
    std::vector<ProjectGroup> groups;
    if (!m_scan)
        return groups;
    std::map<std::string, std::size_t> indexOf;
    for (const ProjectScan::ArtifactRow& row : m_scan->artifacts) {
        const auto [place, isNew] = indexOf.try_emplace(row.projectPath, groups.size());
        if (isNew)
            groups.push_back(ProjectGroup{row.projectPath, row.projectLastChange, {}});
        groups[place->second].rows.push_back(row);
    }
    const auto total = [](const ProjectGroup& group) {
        return std::accumulate(group.rows.begin(), group.rows.end(), std::int64_t{0},
                               [](std::int64_t sum, const auto& row) { return sum + row.realBytes; });
    };
    for (ProjectGroup& group : groups)
        std::stable_sort(group.rows.begin(), group.rows.end(),
                         [](const auto& left, const auto& right) { return left.realBytes > right.realBytes; });
    std::stable_sort(groups.begin(), groups.end(),
                     [&](const ProjectGroup& left, const ProjectGroup& right) { return total(left) > total(right); });
    return groups;
}

std::int64_t ProjectsModel::selectedBytes() const
{
    return m_scan ? m_scan->freed(m_selectedArtifacts, m_selectedWorktrees) : 0;
}

std::vector<ProjectScan::WorktreeRow> ProjectsModel::selectedWorktreeRows() const
{
    std::vector<ProjectScan::WorktreeRow> rows;
    if (m_scan)
        std::copy_if(m_scan->worktrees.begin(), m_scan->worktrees.end(), std::back_inserter(rows), [this](const auto& row) {
            return row.worktree.canRemove() && m_selectedWorktrees.contains(row.worktree.path);
        });
    return rows;
}

std::vector<ProjectScan::ArtifactRow> ProjectsModel::selectedArtifactRows() const
{
    std::vector<ProjectScan::ArtifactRow> rows;
    if (m_scan)
        std::copy_if(m_scan->artifacts.begin(), m_scan->artifacts.end(), std::back_inserter(rows),
                     [this](const auto& row) { return m_selectedArtifacts.contains(row.path); });
    return rows;
}

bool ProjectsModel::sizesDifferFromFinder() const
{
    if (!m_scan)
        return false;
    std::int64_t apparent = 0, real = 0;
    for (const auto& row : m_scan->worktrees) {
        apparent += row.apparentBytes;
        real += row.realBytes;
    }
    for (const auto& row : m_scan->artifacts) {
        apparent += row.apparentBytes;
        real += row.realBytes;
    }
    return real + real / 2 < apparent;
}

// MARK: State

void ProjectsModel::setPhase(Phase phase)
{
    if (assign(m_phase, std::move(phase)))
        Q_EMIT phaseChanged();
}

void ProjectsModel::setScan(std::optional<ProjectScan> scan)
{
    if (assign(m_scan, std::move(scan)))
        Q_EMIT scanChanged();
}

void ProjectsModel::setSelectedWorktrees(std::set<std::string> paths)
{
    if (assign(m_selectedWorktrees, std::move(paths)))
        Q_EMIT selectionChanged();
}

void ProjectsModel::setSelectedArtifacts(std::set<std::string> paths)
{
    if (assign(m_selectedArtifacts, std::move(paths)))
        Q_EMIT selectionChanged();
}

void ProjectsModel::setSummary(std::optional<CleanSummary> summary)
{
    if (assign(m_summary, std::move(summary)))
        Q_EMIT summaryChanged();
}

void ProjectsModel::setConfirming(bool confirming)
{
    if (assign(m_isConfirming, confirming))
        Q_EMIT isConfirmingChanged();
}

} // namespace tarno
