#include "Tarno/DuplicatesModel.hpp"

#include "Tarno/ModelSupport.hpp"
#include "Tarno/TaskRunner.hpp"

#include <algorithm>

namespace tarno {

DuplicatesModel::DuplicatesModel(DuplicatesMachine machine, std::string home, const PathGuard& guardian,
                                 QObject* parent)
    : QObject(parent)
    , m_machine(std::move(machine))
    , m_home(std::move(home))
    , m_guardian(guardian)
    , m_searches(new TaskRunner(1, this))
    , m_moves(new TaskRunner(1, this))
    , m_pictures(new TaskRunner(2, this))
{
}

DuplicatesModel::~DuplicatesModel()
{
    // Stops and waits while the model's members still stand.
    delete m_searches;
    delete m_moves;
    delete m_pictures;
}

void DuplicatesModel::cancel()
{
    m_searches->cancel();
    m_moves->cancel();
    m_pictures->cancel();
}

// MARK: Search

void DuplicatesModel::find()
{
    if (m_phase == Phase::searching)
        return;
    setPhase(Phase::searching);
    setStage(DuplicateFinder::Looking{});
    setFailures({});
    setSelection({});
    setHasPhotosLibrary(m_machine.hasPhotosLibrary && m_machine.hasPhotosLibrary(m_home));

    auto work = [this, machine = m_machine, home = m_home](const TaskRunner::Task& task) {
        const auto progress = [this, &task](const DuplicateFinder::Stage& stage) {
            task.onOwnerThread([this, stage] { setStage(stage); });
        };
        return machine.find(machine.defaultRoots(home), floorBytes, home, progress, task.cancellation());
    };
    // The sets are in place before the phase says so.
    m_searches->run(std::move(work), [this](std::vector<DuplicateGroup> found) {
        setGroups(std::move(found));
        setPhase(Phase::ready);
    });
}

// MARK: Selection

std::vector<DuplicateGroup> DuplicatesModel::visibleGroups() const
{
    std::vector<DuplicateGroup> visible;
    std::copy_if(m_groups.begin(), m_groups.end(), std::back_inserter(visible),
                 [this](const DuplicateGroup& group) { return group.size >= m_threshold; });
    return visible;
}

std::vector<DuplicateFile> DuplicatesModel::selectedFiles() const
{
    std::vector<DuplicateFile> selected;
    for (const DuplicateGroup& group : visibleGroups()) {
        std::copy_if(group.files.begin(), group.files.end(), std::back_inserter(selected),
                     [this](const DuplicateFile& file) { return m_selection.contains(file.path); });
    }
    return selected;
}

std::int64_t DuplicatesModel::selectedBytes() const
{
    std::int64_t total = 0;
    for (const DuplicateGroup& group : visibleGroups())
        total += group.freed(m_selection);
    return total;
}

int DuplicatesModel::setsLosingEveryCopy() const
{
    const std::vector<DuplicateGroup> visible = visibleGroups();
    return static_cast<int>(std::count_if(visible.begin(), visible.end(), [this](const DuplicateGroup& group) {
        return std::all_of(group.files.begin(), group.files.end(),
                           [this](const DuplicateFile& file) { return m_selection.contains(file.path); });
    }));
}

void DuplicatesModel::selectExtraCopies()
{
    std::set<std::string> selection;
    for (const DuplicateGroup& group : visibleGroups()) {
        for (std::size_t index = 1; index < group.files.size(); ++index)
            selection.insert(group.files[index].path);
    }
    setSelection(std::move(selection));
}

// MARK: Moving to the Trash

void DuplicatesModel::moveToTrash()
{
    std::vector<std::string> paths;
    for (const DuplicateFile& file : selectedFiles())
        paths.push_back(file.path);
    if (m_phase != Phase::ready || paths.empty())
        return;
    auto work = [machine = m_machine, guardian = m_guardian, paths](const TaskRunner::Task&) {
        return machine.perform(guardian, CleanupAction::Trash{paths});
    };
    m_moves->run(std::move(work), [this, paths](const CleanReport& report) {
        std::set<std::string> moved(paths.begin(), paths.end());
        for (const std::string& failed : report.failedPaths())
            moved.erase(failed);
        finishTrash(moved, report.failures);
    });
}

void DuplicatesModel::finishTrash(const std::set<std::string>& moved, std::vector<CleanReport::Failure> failures)
{
    const int failureCount = static_cast<int>(failures.size());
    setFailures(std::move(failures));
    // Priced before the sets forget them: a clone frees nothing while one of
    // its set stays, which only the whole set tells.
    CleanupRecord record{
        .date = std::chrono::system_clock::now(), .source = "Duplicates", .freedBytes = 0, .items = {}, .failures = 0};
    for (const DuplicateGroup& group : m_groups) {
        std::set<std::string> leaving;
        for (const DuplicateFile& file : group.files) {
            if (moved.contains(file.path)) {
                leaving.insert(file.path);
                record.items.push_back(file.name());
            }
        }
        if (!leaving.empty())
            record.freedBytes += group.freed(leaving);
    }
    record.failures = failureCount;
    forget(moved);
    if (onGone)
        onGone(moved);
    if (!record.items.empty() && onTrashed)
        onTrashed(record);
}

void DuplicatesModel::forget(const std::set<std::string>& gone)
{
    std::vector<DuplicateGroup> kept;
    for (const DuplicateGroup& group : m_groups) {
        DuplicateGroup left{group.hash, group.size, {}};
        std::copy_if(group.files.begin(), group.files.end(), std::back_inserter(left.files),
                     [&](const DuplicateFile& file) { return !gone.contains(file.path); });
        if (left.files.size() >= 2)
            kept.push_back(std::move(left));
    }
    setGroups(std::move(kept));
    std::set<std::string> selection = m_selection;
    for (const std::string& path : gone)
        selection.erase(path);
    setSelection(std::move(selection));
}

// MARK: Thumbnails

void DuplicatesModel::loadThumbnail(const std::string& path)
{
    if (!m_thumbnails.try_emplace(path).second)
        return;
    const QSize size(thumbnailExtent, thumbnailExtent);
    auto work = [thumbnail = m_machine.thumbnail, path, size](const TaskRunner::Task&) {
        return thumbnail ? thumbnail(path, size) : QImage();
    };
    m_pictures->run(std::move(work), [this, path, size](QImage image) {
        // No picture of it, or no file any more: the icon of its type.
        if (image.isNull() && m_machine.typeIcon)
            image = m_machine.typeIcon(path, size);
        m_thumbnails[path] = std::move(image);
        Q_EMIT thumbnailLoaded(QString::fromStdString(path));
    });
}

QImage DuplicatesModel::thumbnail(const std::string& path) const
{
    const auto found = m_thumbnails.find(path);
    return found == m_thumbnails.end() ? QImage() : found->second;
}

// MARK: State

void DuplicatesModel::setPhase(Phase phase)
{
    if (assign(m_phase, phase))
        Q_EMIT phaseChanged();
}

void DuplicatesModel::setStage(DuplicateFinder::Stage stage)
{
    if (assign(m_stage, std::move(stage)))
        Q_EMIT stageChanged();
}

void DuplicatesModel::setGroups(std::vector<DuplicateGroup> groups)
{
    if (assign(m_groups, std::move(groups)))
        Q_EMIT groupsChanged();
}

void DuplicatesModel::setThreshold(std::int64_t bytes)
{
    if (assign(m_threshold, bytes))
        Q_EMIT thresholdChanged();
}

void DuplicatesModel::setSelection(std::set<std::string> paths)
{
    if (assign(m_selection, std::move(paths)))
        Q_EMIT selectionChanged();
}

void DuplicatesModel::setConfirming(bool confirming)
{
    if (assign(m_isConfirming, confirming))
        Q_EMIT isConfirmingChanged();
}

void DuplicatesModel::setFailures(std::vector<CleanReport::Failure> failures)
{
    if (assign(m_failures, std::move(failures)))
        Q_EMIT failuresChanged();
}

void DuplicatesModel::setHasPhotosLibrary(bool hasLibrary)
{
    if (assign(m_hasPhotosLibrary, hasLibrary))
        Q_EMIT hasPhotosLibraryChanged();
}

} // namespace tarno
