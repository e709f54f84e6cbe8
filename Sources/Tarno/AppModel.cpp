#include "Tarno/AppModel.hpp"

#include "TarnoCore/Cleanup/AdminCleanup.hpp"

#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cctype>
#include <utility>

namespace tarno {
namespace {

// Hands the result of background work to the context's thread through its
// event loop, even when the work has already finished: no handler then runs
// inside the call that started the work.
template <typename T, typename Handler>
void deliver(QObject* context, QFuture<T> future, Handler handler)
{
    future.then(context, [context, handler = std::move(handler)](T value) mutable {
        QMetaObject::invokeMethod(
            context, [handler = std::move(handler), value = std::move(value)]() mutable { handler(std::move(value)); },
            Qt::QueuedConnection);
    });
}

// Assigns and reports whether anything changed, so that a setter can emit
// its signal only on a real change.
template <typename T>
bool assign(T& field, T value)
{
    if (field == value)
        return false;
    field = std::move(value);
    return true;
}

} // namespace

AppModel::AppModel(AppMachine machine, QObject* parent)
    : QObject(parent)
    , m_machine(std::move(machine))
    , m_guardian(m_machine.environment.home, "/Applications")
    , m_history(CleanupHistory::inFile(m_machine.historyFile))
{
    // Four measurements, Docker's query, the tools' query and a catalog or a
    // clean can be under way together.
    m_workers.setMaxThreadCount(measuringWidth + 4);
    m_historyQueue.setMaxThreadCount(1);
    loadRecords();
}

AppModel::~AppModel()
{
    m_workers.clear();
    m_workers.waitForDone();
    m_historyQueue.waitForDone();
}

// MARK: History and disk

void AppModel::loadRecords()
{
    deliver(this, QtConcurrent::run(&m_historyQueue, [history = m_history] { return history.load(); }),
            [this](std::vector<CleanupRecord> records) { setRecords(std::move(records)); });
}

void AppModel::record(const CleanupRecord& record)
{
    auto appendAndLoad = [history = m_history, record] {
        history.append(record);
        return history.load();
    };
    deliver(this, QtConcurrent::run(&m_historyQueue, appendAndLoad),
            [this](std::vector<CleanupRecord> records) { setRecords(std::move(records)); });
}

void AppModel::setRecords(std::vector<CleanupRecord> records)
{
    if (assign(m_records, std::move(records)))
        Q_EMIT recordsChanged();
}

void AppModel::setDisk(std::optional<DiskUsage> disk)
{
    if (assign(m_disk, disk))
        Q_EMIT diskChanged();
}

void AppModel::refreshDisk()
{
    const int generation = ++m_diskGeneration;
    auto read = [disk = m_machine.disk, home = m_machine.environment.home] { return disk(home); };
    deliver(this, QtConcurrent::run(&m_workers, read), [this, generation](std::optional<DiskUsage> reading) {
        if (generation == m_diskGeneration)
            setDisk(reading);
    });
}

// MARK: Scan

void AppModel::scan()
{
    if (m_cleanupPhase == CleanupPhase::scanning || m_cleanupPhase == CleanupPhase::cleaning)
        return;
    setCleanupPhase(CleanupPhase::scanning);
    setItems({});
    setSizes({});
    setCleanSummary(std::nullopt);
    refreshDisk();

    m_catalogCount = 0;
    m_nextToMeasure = 0;
    m_measuringInFlight = 0;
    m_extraItems.clear();
    m_nextExtraItem = 0;

    const CleanupEnvironment& env = m_machine.environment;
    m_dockerQuery = QtConcurrent::run(&m_workers, [docker = env.docker] { return docker(); });
    m_toolQuery = QtConcurrent::run(&m_workers, [toolItems = env.toolItems] { return toolItems(); });
    auto readCatalog = [catalog = m_machine.catalog, hasFullDiskAccess = m_machine.hasFullDiskAccess, env] {
        return CatalogReading{catalog(env), hasFullDiskAccess(env.home)};
    };
    deliver(this, QtConcurrent::run(&m_workers, readCatalog),
            [this](CatalogReading reading) { catalogArrived(std::move(reading)); });
}

void AppModel::catalogArrived(CatalogReading reading)
{
    // Only what is safe and needs no password is picked for the user.
    std::set<std::string> defaultSelection;
    for (const CleanupItem& item : reading.items) {
        if (item.safety == Safety::safe && !item.requiresAdmin)
            defaultSelection.insert(item.id);
    }
    m_catalogCount = reading.items.size();
    setItems(std::move(reading.items));
    setSelection(std::move(defaultSelection));
    setHasFullDiskAccess(reading.hasFullDiskAccess);
    measureNextCatalogItems();
}

void AppModel::measureNextCatalogItems()
{
    while (m_measuringInFlight < measuringWidth && m_nextToMeasure < m_catalogCount) {
        const CleanupItem& item = m_items[m_nextToMeasure++];
        ++m_measuringInFlight;
        deliver(this, QtConcurrent::run(&m_workers, [measure = m_machine.measure, item] { return measure(item); }),
                [this, id = item.id](SizeResult size) { catalogItemMeasured(id, size); });
    }
    if (m_measuringInFlight == 0 && m_nextToMeasure == m_catalogCount)
        collectExtraItems();
}

void AppModel::catalogItemMeasured(const std::string& id, const SizeResult& size)
{
    --m_measuringInFlight;
    storeSize(id, size);
    measureNextCatalogItems();
}

void AppModel::collectExtraItems()
{
    // Docker's items come first, then the tools', whichever answered first.
    deliver(this, m_dockerQuery, [this](DockerStatus status) {
        m_extraItems = Docker::cleanupItems(status);
        setDockerStatus(std::move(status));
        deliver(this, m_toolQuery, [this](std::vector<CleanupItem> toolItems) {
            std::move(toolItems.begin(), toolItems.end(), std::back_inserter(m_extraItems));
            measureNextExtraItem();
        });
    });
}

void AppModel::measureNextExtraItem()
{
    if (m_nextExtraItem == m_extraItems.size()) {
        m_extraItems.clear();
        setCleanupPhase(CleanupPhase::ready);
        return;
    }
    const CleanupItem& item = m_extraItems[m_nextExtraItem++];
    deliver(this, QtConcurrent::run(&m_workers, [measure = m_machine.measure, item] { return measure(item); }),
            [this, item](SizeResult size) {
                std::vector<CleanupItem> items = m_items;
                items.push_back(item);
                setItems(std::move(items));
                storeSize(item.id, size);
                if (item.safety == Safety::safe && !m_selection.contains(item.id)) {
                    std::set<std::string> selection = m_selection;
                    selection.insert(item.id);
                    setSelection(std::move(selection));
                }
                measureNextExtraItem();
            });
}

void AppModel::storeSize(const std::string& id, const SizeResult& size)
{
    auto [place, inserted] = m_sizes.try_emplace(id, size);
    if (!inserted) {
        if (place->second == size)
            return;
        place->second = size;
    }
    Q_EMIT sizesChanged();
}

// MARK: Clean

void AppModel::clean()
{
    std::vector<CleanupItem> chosen = selectedItems();
    if (m_cleanupPhase != CleanupPhase::ready || chosen.empty())
        return;
    setCleanupPhase(CleanupPhase::cleaning);
    setCleanSummary(std::nullopt);
    m_cleaningRun = CleaningRun{std::move(chosen), 0, {}};
    cleanNextItem();
}

void AppModel::cleanNextItem()
{
    if (m_cleaningRun->next == m_cleaningRun->items.size()) {
        finishClean();
        return;
    }
    const CleanupItem item = m_cleaningRun->items[m_cleaningRun->next++];
    setCleaningTitle(QString::fromStdString(item.title));
    const std::int64_t before = measuredBytes(item.id);

    auto cleanAndMeasure = [perform = m_machine.perform, measure = m_machine.measure, guardian = m_guardian, item,
                            before] {
        ItemCleaned outcome{perform(guardian, item.action), {}};
        // A size a tool reported cannot be measured again: all of it went,
        // or, after a failure, all of it is taken to be still there.
        if (item.knownBytes)
            outcome.after.bytes = outcome.report.failures.empty() ? 0 : before;
        else
            outcome.after = measure(item);
        return outcome;
    };
    deliver(this, QtConcurrent::run(&m_workers, cleanAndMeasure),
            [this, item, before](ItemCleaned outcome) { itemCleaned(item, before, outcome); });
}

void AppModel::itemCleaned(const CleanupItem& item, std::int64_t before, const ItemCleaned& outcome)
{
    CleanSummary& summary = m_cleaningRun->summary;
    const std::int64_t gain = std::max<std::int64_t>(0, before - outcome.after.bytes);
    if (item.action.as<CleanupAction::Trash>() != nullptr)
        summary.trashed += gain;
    else
        summary.freed += gain;
    if (item.category == CleanupCategory::docker && item.knownBytes)
        summary.insideDocker += gain;
    summary.failures.insert(summary.failures.end(), outcome.report.failures.begin(), outcome.report.failures.end());
    storeSize(item.id, outcome.after);
    cleanNextItem();
}

void AppModel::finishClean()
{
    CleaningRun run = std::move(*m_cleaningRun);
    m_cleaningRun.reset();

    setCleaningTitle(std::nullopt);
    setCleanSummary(run.summary);
    setCleanupPhase(CleanupPhase::ready);
    refreshDisk();

    CleanupRecord entry;
    entry.date = std::chrono::system_clock::now();
    entry.source = "Cleanup";
    entry.freedBytes = run.summary.freed + run.summary.trashed;
    for (const CleanupItem& item : run.items)
        entry.items.push_back(item.title);
    entry.failures = static_cast<int>(run.summary.failures.size());
    record(entry);
}

void AppModel::cleanWithPassword(const CleanupItem& item)
{
    if (m_cleanupPhase != CleanupPhase::ready)
        return;
    const std::vector<std::string> paths = item.action.paths();
    if (!AdminCleanup::command(paths))
        return;
    setCleanupPhase(CleanupPhase::cleaning);
    setCleaningTitle(QString::fromStdString(item.title));
    const std::int64_t before = measuredBytes(item.id);

    std::string lowerTitle = item.title;
    std::transform(lowerTitle.begin(), lowerTitle.end(), lowerTitle.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    const std::string prompt = "Tarno needs your password to delete " + lowerTitle + ".";

    struct Outcome {
        std::optional<std::string> message;
        SizeResult after;
    };
    auto removeAndMeasure = [remove = m_machine.removeAsAdministrator, measure = m_machine.measure, paths, prompt,
                             item] { return Outcome{remove(paths, prompt), measure(item)}; };
    deliver(this, QtConcurrent::run(&m_workers, removeAndMeasure), [this, item, before, paths](Outcome outcome) {
        storeSize(item.id, outcome.after);
        setCleaningTitle(std::nullopt);
        setCleanupPhase(CleanupPhase::ready);
        if (!outcome.message) {
            const std::int64_t freed = std::max<std::int64_t>(0, before - outcome.after.bytes);
            setCleanSummary(CleanSummary{.freed = freed, .trashed = 0, .insideDocker = 0, .failures = {}});
            record(CleanupRecord{std::chrono::system_clock::now(), "Cleanup", freed, {item.title}, 0});
        } else if (*outcome.message != "cancelled") {
            // A cancelled prompt leaves no trace; any other answer is the item's one failure.
            const std::string path = paths.empty() ? item.title : paths.front();
            setCleanSummary(
                CleanSummary{.freed = 0, .trashed = 0, .insideDocker = 0, .failures = {{path, *outcome.message}}});
        }
        refreshDisk();
    });
}

// MARK: Derived views

std::vector<CleanupItem> AppModel::visibleItems() const
{
    std::vector<CleanupItem> visible;
    for (const CleanupItem& item : m_items) {
        const auto size = m_sizes.find(item.id);
        if (size != m_sizes.end() && size->second.bytes >= item.minimumBytesToShow)
            visible.push_back(item);
    }
    return visible;
}

std::vector<CleanupCategory> AppModel::categories() const
{
    const std::vector<CleanupItem> visible = visibleItems();
    std::vector<CleanupCategory> present;
    for (CleanupCategory category : allCleanupCategories) {
        if (std::any_of(visible.begin(), visible.end(), [category](const CleanupItem& item) { return item.category == category; }))
            present.push_back(category);
    }
    return present;
}

std::vector<CleanupItem> AppModel::items(CleanupCategory category) const
{
    std::vector<CleanupItem> inCategory = visibleItems();
    std::erase_if(inCategory, [category](const CleanupItem& item) { return item.category != category; });
    return inCategory;
}

std::vector<CleanupItem> AppModel::selectedItems() const
{
    std::vector<CleanupItem> selected = visibleItems();
    std::erase_if(selected, [this](const CleanupItem& item) { return item.requiresAdmin || !m_selection.contains(item.id); });
    return selected;
}

std::int64_t AppModel::safeBytes() const
{
    std::int64_t total = 0;
    for (const CleanupItem& item : visibleItems()) {
        if (item.safety == Safety::safe && !item.requiresAdmin)
            total += measuredBytes(item.id);
    }
    return total;
}

std::int64_t AppModel::measuredBytes(const std::string& id) const
{
    const auto size = m_sizes.find(id);
    return size == m_sizes.end() ? 0 : size->second.bytes;
}

const CleanupItem* AppModel::item(const std::string& id) const
{
    const auto found = std::find_if(m_items.begin(), m_items.end(), [&id](const CleanupItem& item) { return item.id == id; });
    return found == m_items.end() ? nullptr : &*found;
}

void AppModel::setCleanSummary(std::optional<CleanSummary> summary)
{
    if (assign(m_cleanSummary, std::move(summary)))
        Q_EMIT cleanSummaryChanged();
}

void AppModel::setSection(std::optional<Section> section)
{
    if (assign(m_section, section))
        Q_EMIT sectionChanged();
}

int AppModel::sectionNumber() const
{
    return m_section ? static_cast<int>(*m_section) : -1;
}

void AppModel::setSectionNumber(int number)
{
    if (number >= 0 && number < static_cast<int>(allSections.size()))
        setSection(allSections[static_cast<std::size_t>(number)]);
    else
        setSection(std::nullopt);
}

int AppModel::shownSectionNumber() const
{
    return static_cast<int>(m_section.value_or(Section::overview));
}

void AppModel::setPerformanceTab(PerformanceTab tab)
{
    if (assign(m_performanceTab, tab))
        Q_EMIT performanceTabChanged();
}

void AppModel::setPerformanceTabNumber(int number)
{
    if (number >= 0 && number < static_cast<int>(allPerformanceTabs.size()))
        setPerformanceTab(allPerformanceTabs[static_cast<std::size_t>(number)]);
}

void AppModel::setConfirmingClean(bool confirming)
{
    if (assign(m_isConfirmingClean, confirming))
        Q_EMIT isConfirmingCleanChanged();
}

void AppModel::setCleanupPhase(CleanupPhase phase)
{
    if (assign(m_cleanupPhase, phase))
        Q_EMIT cleanupPhaseChanged();
}

void AppModel::setItems(std::vector<CleanupItem> items)
{
    if (assign(m_items, std::move(items)))
        Q_EMIT itemsChanged();
}

void AppModel::setSizes(std::map<std::string, SizeResult> sizes)
{
    if (assign(m_sizes, std::move(sizes)))
        Q_EMIT sizesChanged();
}

void AppModel::setSelection(std::set<std::string> selection)
{
    if (assign(m_selection, std::move(selection)))
        Q_EMIT selectionChanged();
}

void AppModel::setCleaningTitle(std::optional<QString> title)
{
    if (assign(m_cleaningTitle, std::move(title)))
        Q_EMIT cleaningTitleChanged();
}

void AppModel::setHasFullDiskAccess(bool hasAccess)
{
    if (assign(m_hasFullDiskAccess, hasAccess))
        Q_EMIT hasFullDiskAccessChanged();
}

void AppModel::setDockerStatus(DockerStatus status)
{
    if (assign(m_dockerStatus, std::move(status)))
        Q_EMIT dockerStatusChanged();
}

void AppModel::setLargeFilePhase(SearchPhase phase)
{
    if (assign(m_largeFilePhase, phase))
        Q_EMIT largeFilePhaseChanged();
}

void AppModel::setFilesExamined(std::int64_t count)
{
    if (assign(m_filesExamined, count))
        Q_EMIT filesExaminedChanged();
}

void AppModel::setLargeFileThreshold(std::int64_t bytes)
{
    if (assign(m_largeFileThreshold, bytes))
        Q_EMIT largeFileThresholdChanged();
}

QString rawValue(AppModel::Section section)
{
    switch (section) {
    case AppModel::Section::overview: return QStringLiteral("overview");
    case AppModel::Section::cleanup: return QStringLiteral("cleanup");
    case AppModel::Section::projects: return QStringLiteral("projects");
    case AppModel::Section::largeFiles: return QStringLiteral("largeFiles");
    case AppModel::Section::duplicates: return QStringLiteral("duplicates");
    case AppModel::Section::applications: return QStringLiteral("applications");
    case AppModel::Section::performance: return QStringLiteral("performance");
    }
    return {};
}

QString title(AppModel::Section section)
{
    switch (section) {
    case AppModel::Section::overview: return QStringLiteral("Overview");
    case AppModel::Section::cleanup: return QStringLiteral("Cleanup");
    case AppModel::Section::projects: return QStringLiteral("Projects");
    case AppModel::Section::largeFiles: return QStringLiteral("Large Files");
    case AppModel::Section::duplicates: return QStringLiteral("Duplicates");
    case AppModel::Section::applications: return QStringLiteral("Applications");
    case AppModel::Section::performance: return QStringLiteral("Performance");
    }
    return {};
}

QString symbol(AppModel::Section section)
{
    switch (section) {
    case AppModel::Section::overview: return QStringLiteral("gauge.with.dots.needle.50percent");
    case AppModel::Section::cleanup: return QStringLiteral("sparkles");
    case AppModel::Section::projects: return QStringLiteral("folder.badge.gearshape");
    case AppModel::Section::largeFiles: return QStringLiteral("doc.viewfinder");
    case AppModel::Section::duplicates: return QStringLiteral("doc.on.doc");
    case AppModel::Section::applications: return QStringLiteral("square.grid.2x2");
    case AppModel::Section::performance: return QStringLiteral("memorychip");
    }
    return {};
}

std::optional<AppModel::Section> section(QStringView raw)
{
    for (AppModel::Section candidate : allSections) {
        if (rawValue(candidate) == raw)
            return candidate;
    }
    return std::nullopt;
}

QString rawValue(AppModel::PerformanceTab tab)
{
    switch (tab) {
    case AppModel::PerformanceTab::apps: return QStringLiteral("Apps");
    case AppModel::PerformanceTab::developerTools: return QStringLiteral("Developer Tools");
    case AppModel::PerformanceTab::startup: return QStringLiteral("Startup Items");
    }
    return {};
}

std::optional<AppModel::PerformanceTab> performanceTab(QStringView raw)
{
    for (AppModel::PerformanceTab candidate : allPerformanceTabs) {
        if (rawValue(candidate) == raw)
            return candidate;
    }
    return std::nullopt;
}

} // namespace tarno
