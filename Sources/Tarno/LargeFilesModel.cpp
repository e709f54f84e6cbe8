#include "Tarno/LargeFilesModel.hpp"

#include "Tarno/ModelSupport.hpp"
#include "Tarno/TaskRunner.hpp"

#include <algorithm>
#include <set>

namespace tarno {

LargeFilesModel::LargeFilesModel(LargeFilesMachine machine, std::string home, const PathGuard& guardian,
                                 QObject* parent)
    : QObject(parent)
    , m_machine(std::move(machine))
    , m_home(std::move(home))
    , m_guardian(guardian)
    , m_searches(new TaskRunner(1, this))
    , m_moves(new TaskRunner(1, this))
{
}

LargeFilesModel::~LargeFilesModel()
{
    // Stops and waits while the model's members still stand.
    delete m_searches;
    delete m_moves;
}

void LargeFilesModel::cancel()
{
    m_searches->cancel();
    m_moves->cancel();
}

void LargeFilesModel::findLargeFiles()
{
    if (m_phase == Phase::searching)
        return;
    setPhase(Phase::searching);
    setFilesExamined(0);
    setFailures({});
    setHasFullDiskAccess(m_machine.hasFullDiskAccess(m_home));

    auto work = [this, machine = m_machine, home = m_home,
                 excluded = m_machine.excludedFolders(m_home, m_hasFullDiskAccess)](const TaskRunner::Task& task) {
        const auto progress = [this, &task](std::int64_t count) {
            task.onOwnerThread([this, count] { setFilesExamined(count); });
        };
        return machine.find(home, floorBytes, limit, excluded, progress, task.cancellation());
    };
    m_searches->run(std::move(work), [this](std::vector<LargeFile> found) {
        // The list is in place before the phase says so.
        setFiles(std::move(found));
        setPhase(Phase::ready);
    });
}

void LargeFilesModel::moveToTrash(const std::vector<LargeFile>& files)
{
    std::vector<std::string> paths;
    for (const LargeFile& file : files)
        paths.push_back(file.path);
    auto work = [machine = m_machine, guardian = m_guardian, paths](const TaskRunner::Task&) {
        return machine.perform(guardian, CleanupAction::Trash{paths});
    };
    m_moves->run(std::move(work), [this, files](const CleanReport& report) { trashed(files, report); });
}

void LargeFilesModel::trashed(const std::vector<LargeFile>& files, const CleanReport& report)
{
    setFailures(report.failures);
    const std::set<std::string> failed = report.failedPaths();
    std::set<std::string> moved;
    for (const LargeFile& file : files) {
        if (!failed.contains(file.path))
            moved.insert(file.path);
    }
    std::vector<LargeFile> remaining;
    std::copy_if(m_files.begin(), m_files.end(), std::back_inserter(remaining),
                 [&](const LargeFile& file) { return !moved.contains(file.path); });
    setFiles(std::move(remaining));
    if (onDiskChanged)
        onDiskChanged();

    // A file that had vanished before the move counts as moved, with its size.
    CleanupRecord record{
        .date = std::chrono::system_clock::now(), .source = "Large Files", .freedBytes = 0, .items = {}, .failures = 0};
    for (const LargeFile& file : files) {
        if (failed.contains(file.path))
            continue;
        record.freedBytes += file.bytes;
        record.items.push_back(file.name());
    }
    record.failures = static_cast<int>(report.failures.size());
    if (onTrashed)
        onTrashed(record);
}

std::vector<LargeFile> LargeFilesModel::visibleFiles() const
{
    std::vector<LargeFile> visible;
    std::copy_if(m_files.begin(), m_files.end(), std::back_inserter(visible),
                 [this](const LargeFile& file) { return file.bytes >= m_threshold; });
    return visible;
}

// MARK: State

void LargeFilesModel::setPhase(Phase phase)
{
    if (assign(m_phase, phase))
        Q_EMIT phaseChanged();
}

void LargeFilesModel::setFiles(std::vector<LargeFile> files)
{
    if (assign(m_files, std::move(files)))
        Q_EMIT filesChanged();
}

void LargeFilesModel::setFilesExamined(std::int64_t count)
{
    if (assign(m_filesExamined, count))
        Q_EMIT filesExaminedChanged();
}

void LargeFilesModel::setThreshold(std::int64_t bytes)
{
    if (assign(m_threshold, bytes))
        Q_EMIT thresholdChanged();
}

void LargeFilesModel::setFailures(std::vector<CleanReport::Failure> failures)
{
    if (assign(m_failures, std::move(failures)))
        Q_EMIT failuresChanged();
}

void LargeFilesModel::setHasFullDiskAccess(bool hasAccess)
{
    if (assign(m_hasFullDiskAccess, hasAccess))
        Q_EMIT hasFullDiskAccessChanged();
}

} // namespace tarno
