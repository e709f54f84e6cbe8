#include "Tarno/CleanupModel.hpp"

#include "Tarno/ModelSupport.hpp"
#include "Tarno/TaskRunner.hpp"

#include "TarnoCore/Cleanup/AdminCleanup.hpp"

#include <algorithm>
#include <chrono>

namespace tarno {

CleanupModel::CleanupModel(CleanupMachine machine, const PathGuard& guardian, QObject* parent)
    : QObject(parent)
    , m_machine(std::move(machine))
    , m_guardian(guardian)
    // Four measurements, Docker's query, the tools' query and the catalog
    // or a clean can be under way together.
    , m_runner(new TaskRunner(measuringWidth + 4, this))
{
}

CleanupModel::~CleanupModel()
{
    // Stops and waits while the model's members still stand.
    delete m_runner;
}

void CleanupModel::cancel()
{
    m_runner->cancel();
}

void CleanupModel::diskChanged()
{
    if (onDiskChanged)
        onDiskChanged();
}

// MARK: Scan

void CleanupModel::scan()
{
    if (m_phase == Phase::scanning || m_phase == Phase::cleaning)
        return;
    setPhase(Phase::scanning);
    setItems({});
    setSizes({});
    setCleanSummary(std::nullopt);
    diskChanged();

    m_toolAnswers = {};
    m_extraItems.clear();
    m_nextExtraItem = 0;

    // Docker and the tools are asked beside the catalog; their items come last.
    const CleanupEnvironment& env = m_machine.environment;
    m_runner->run([docker = env.docker](const TaskRunner::Task& task) { return docker(task.cancellation()); },
                  [this](DockerStatus status) {
                      m_toolAnswers.docker = std::move(status);
                      toolsAnswered();
                  });
    m_runner->run([toolItems = env.toolItems](const TaskRunner::Task& task) { return toolItems(task.cancellation()); },
                  [this](std::vector<CleanupItem> items) {
                      m_toolAnswers.toolItems = std::move(items);
                      toolsAnswered();
                  });
    m_runner->run(
        [catalog = m_machine.catalog, hasFullDiskAccess = m_machine.hasFullDiskAccess, env](const TaskRunner::Task&) {
            return CatalogReading{catalog(env), hasFullDiskAccess(env.home)};
        },
        [this](CatalogReading reading) { catalogArrived(std::move(reading)); });
}

void CleanupModel::catalogArrived(CatalogReading reading)
{
    // Only what is safe and needs no password is picked for the user.
    std::set<std::string> defaultSelection;
    for (const CleanupItem& each : reading.items) {
        if (each.safety == Safety::safe && !each.requiresAdmin)
            defaultSelection.insert(each.id);
    }
    setItems(std::move(reading.items));
    setSelection(std::move(defaultSelection));
    setHasFullDiskAccess(reading.hasFullDiskAccess);

    m_runner->runAtMost(
        measuringWidth, m_items.size(),
        [measure = m_machine.measure, items = m_items](std::size_t index, const TaskRunner::Task& task) {
            return measure(items[index], task.cancellation());
        },
        [this](std::size_t index, SizeResult size) { storeSize(m_items[index].id, size); },
        [this] {
            m_toolAnswers.catalogMeasured = true;
            toolsAnswered();
        });
}

void CleanupModel::toolsAnswered()
{
    // Docker's items come first, then the tools', once the catalog's items are
    // measured and both have answered, whichever answered first.
    if (!m_toolAnswers.catalogMeasured || !m_toolAnswers.docker || !m_toolAnswers.toolItems)
        return;
    m_extraItems = Docker::cleanupItems(*m_toolAnswers.docker);
    setDockerStatus(*m_toolAnswers.docker);
    std::move(m_toolAnswers.toolItems->begin(), m_toolAnswers.toolItems->end(), std::back_inserter(m_extraItems));
    m_toolAnswers = {};
    measureNextExtraItem();
}

void CleanupModel::measureNextExtraItem()
{
    if (m_nextExtraItem == m_extraItems.size()) {
        m_extraItems.clear();
        setPhase(Phase::ready);
        return;
    }
    const CleanupItem& extra = m_extraItems[m_nextExtraItem++];
    m_runner->run([measure = m_machine.measure, extra](const TaskRunner::Task& task) {
        return measure(extra, task.cancellation());
    },
                  [this, extra](SizeResult size) {
                      std::vector<CleanupItem> items = m_items;
                      items.push_back(extra);
                      setItems(std::move(items));
                      storeSize(extra.id, size);
                      if (extra.safety == Safety::safe && !m_selection.contains(extra.id)) {
                          std::set<std::string> selection = m_selection;
                          selection.insert(extra.id);
                          setSelection(std::move(selection));
                      }
                      measureNextExtraItem();
                  });
}

// MARK: Clean

void CleanupModel::clean()
{
    std::vector<CleanupItem> chosen = selectedItems();
    if (m_phase != Phase::ready || chosen.empty())
        return;
    setPhase(Phase::cleaning);
    setCleanSummary(std::nullopt);

    auto work = [this, road = m_machine.road(m_guardian), chosen = std::move(chosen), sizes = m_sizes,
                 keep = keepRecord](const TaskRunner::Task& task) {
        const CleanupRun::Progress progress{
            .started = [this, &task](const CleanupItem& each) {
                task.onOwnerThread([this, title = QString::fromStdString(each.title)] { setCleaningTitle(title); });
            },
            .finished = [this, &task](const CleanupItem& each, const CleanupRun::Step& step) {
                task.onOwnerThread([this, id = each.id, after = step.after] { storeSize(id, after); });
            },
        };
        CleanupRun::Outcome outcome = CleanupRun::clean(chosen, sizes, road, progress, task.cancellation());
        // Cut short because the application is going: nothing will be
        // delivered, so what was done is recorded from here.
        if (outcome.wasCancelled && task.isCancelled() && keep)
            keep(CleanupRun::record(outcome, std::chrono::system_clock::now()));
        return outcome;
    };
    m_runner->run(std::move(work), [this](CleanupRun::Outcome outcome) { cleaned(outcome); });
}

void CleanupModel::cleaned(const CleanupRun::Outcome& outcome)
{
    setCleaningTitle(std::nullopt);
    setCleanSummary(outcome.summary);
    setPhase(Phase::ready);
    diskChanged();
    if (onCleaned)
        onCleaned(CleanupRun::record(outcome, std::chrono::system_clock::now()));
}

void CleanupModel::cleanWithPassword(const CleanupItem& chosen)
{
    if (m_phase != Phase::ready)
        return;
    if (!AdminCleanup::command(chosen.action.paths()))
        return;
    setPhase(Phase::cleaning);
    setCleaningTitle(QString::fromStdString(chosen.title));

    auto work = [remove = m_machine.removeAsAdministrator, road = m_machine.road(m_guardian), chosen,
                 before = measuredBytes(chosen.id)](const TaskRunner::Task&) {
        return CleanupRun::cleanWithPassword(chosen, before, remove, road, std::chrono::system_clock::now());
    };
    m_runner->run(std::move(work), [this, id = chosen.id](CleanupRun::PasswordOutcome outcome) {
        storeSize(id, outcome.after);
        setCleaningTitle(std::nullopt);
        setPhase(Phase::ready);
        // A dismissed prompt leaves no trace.
        if (outcome.summary)
            setCleanSummary(outcome.summary);
        if (outcome.record && onCleaned)
            onCleaned(*outcome.record);
        diskChanged();
    });
}

// MARK: Derived views

std::vector<CleanupItem> CleanupModel::visibleItems() const
{
    std::vector<CleanupItem> visible;
    for (const CleanupItem& each : m_items) {
        const auto size = m_sizes.find(each.id);
        if (size != m_sizes.end() && size->second.bytes >= each.minimumBytesToShow)
            visible.push_back(each);
    }
    return visible;
}

std::vector<CleanupCategory> CleanupModel::categories() const
{
    const std::vector<CleanupItem> visible = visibleItems();
    std::vector<CleanupCategory> present;
    for (CleanupCategory category : allCleanupCategories) {
        if (std::any_of(visible.begin(), visible.end(),
                        [category](const CleanupItem& each) { return each.category == category; }))
            present.push_back(category);
    }
    return present;
}

std::vector<CleanupItem> CleanupModel::items(CleanupCategory category) const
{
    std::vector<CleanupItem> inCategory = visibleItems();
    std::erase_if(inCategory, [category](const CleanupItem& each) { return each.category != category; });
    return inCategory;
}

std::vector<CleanupItem> CleanupModel::selectedItems() const
{
    std::vector<CleanupItem> selected = visibleItems();
    std::erase_if(selected,
                  [this](const CleanupItem& each) { return each.requiresAdmin || !m_selection.contains(each.id); });
    return selected;
}

std::int64_t CleanupModel::safeBytes() const
{
    std::int64_t total = 0;
    for (const CleanupItem& each : visibleItems()) {
        if (each.safety == Safety::safe && !each.requiresAdmin)
            total += measuredBytes(each.id);
    }
    return total;
}

std::int64_t CleanupModel::measuredBytes(const std::string& id) const
{
    const auto size = m_sizes.find(id);
    return size == m_sizes.end() ? 0 : size->second.bytes;
}

const CleanupItem* CleanupModel::item(const std::string& id) const
{
    const auto found =
        std::find_if(m_items.begin(), m_items.end(), [&id](const CleanupItem& each) { return each.id == id; });
    return found == m_items.end() ? nullptr : &*found;
}

// MARK: State

void CleanupModel::storeSize(const std::string& id, const SizeResult& size)
{
    auto [place, inserted] = m_sizes.try_emplace(id, size);
    if (!inserted) {
        if (place->second == size)
            return;
        place->second = size;
    }
    Q_EMIT sizesChanged();
}

void CleanupModel::setPhase(Phase phase)
{
    if (assign(m_phase, phase))
        Q_EMIT phaseChanged();
}

void CleanupModel::setItems(std::vector<CleanupItem> items)
{
    if (assign(m_items, std::move(items)))
        Q_EMIT itemsChanged();
}

void CleanupModel::setSizes(std::map<std::string, SizeResult> sizes)
{
    if (assign(m_sizes, std::move(sizes)))
        Q_EMIT sizesChanged();
}

void CleanupModel::setSelection(std::set<std::string> selection)
{
    if (assign(m_selection, std::move(selection)))
        Q_EMIT selectionChanged();
}

void CleanupModel::setCleanSummary(std::optional<CleanSummary> summary)
{
    if (assign(m_cleanSummary, std::move(summary)))
        Q_EMIT cleanSummaryChanged();
}

void CleanupModel::setCleaningTitle(std::optional<QString> title)
{
    if (assign(m_cleaningTitle, std::move(title)))
        Q_EMIT cleaningTitleChanged();
}

void CleanupModel::setHasFullDiskAccess(bool hasAccess)
{
    if (assign(m_hasFullDiskAccess, hasAccess))
        Q_EMIT hasFullDiskAccessChanged();
}

void CleanupModel::setDockerStatus(DockerStatus status)
{
    if (assign(m_dockerStatus, std::move(status)))
        Q_EMIT dockerStatusChanged();
}

void CleanupModel::setConfirmingClean(bool confirming)
{
    if (assign(m_isConfirmingClean, confirming))
        Q_EMIT isConfirmingCleanChanged();
}

} // namespace tarno
