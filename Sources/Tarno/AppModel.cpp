#include "Tarno/AppModel.hpp"

#include "Tarno/ModelSupport.hpp"
#include "Tarno/TaskRunner.hpp"

#include <utility>

namespace tarno {

AppModel::AppModel(AppMachine machine, QObject* parent)
    : QObject(parent)
    , m_machine(std::move(machine))
    , m_guardian(PathGuard::forHome(m_machine.home))
    , m_readings(new TaskRunner(2, this))
    , m_historyQueue(new TaskRunner(1, this))
    , m_cleanup(new CleanupModel(m_machine.cleanup, m_guardian, this))
    , m_projects(new ProjectsModel(m_machine.projects, m_machine.home, m_guardian, this))
    , m_largeFiles(new LargeFilesModel(m_machine.largeFiles, m_machine.home, m_guardian, this))
    , m_duplicates(new DuplicatesModel(m_machine.duplicates, m_machine.home, m_guardian, this))
    , m_applications(new ApplicationsModel(m_machine.applications, m_machine.home, m_guardian, this))
    , m_performance(new PerformanceModel(m_machine.performance, m_machine.home, this))
{
    // The sections report what they removed here, and say when the disk changed.
    m_cleanup->onCleaned = [this](const CleanupRecord& entry) { record(entry); };
    m_cleanup->onDiskChanged = [this] { refreshDisk(); };
    m_cleanup->keepRecord = m_machine.history.append;
    m_projects->onCleaned = [this](const CleanupRecord& entry) { record(entry); };
    m_projects->onDiskChanged = [this] { refreshDisk(); };
    m_projects->keepRecord = m_machine.history.append;
    m_largeFiles->onTrashed = [this](const CleanupRecord& entry) { record(entry); };
    m_largeFiles->onDiskChanged = [this] { refreshDisk(); };
    m_duplicates->onTrashed = [this](const CleanupRecord& entry) { record(entry); };
    // A move to the Trash changes nothing on the volume until the Trash is
    // emptied, but what is in it is shown in the disk's figures.
    m_duplicates->onGone = [this](const std::set<std::string>&) { refreshDisk(); };
    m_applications->onRemoved = [this](const CleanupRecord& entry) { record(entry); };
    m_applications->onDiskChanged = [this] { refreshDisk(); };
    loadRecords();
}

AppModel::~AppModel()
{
    cancelAll();
    // The sections go first, while the history they may still write stands.
    delete m_cleanup;
    delete m_projects;
    delete m_largeFiles;
    delete m_duplicates;
    delete m_applications;
    delete m_performance;
    delete m_readings;
    delete m_historyQueue;
}

void AppModel::cancelAll()
{
    m_cleanup->cancel();
    m_projects->cancel();
    m_largeFiles->cancel();
    m_duplicates->cancel();
    m_applications->cancel();
    m_performance->cancel();
    m_readings->cancel();
}

// MARK: History and disk

void AppModel::loadRecords()
{
    m_historyQueue->run([load = m_machine.history.load](const TaskRunner::Task&) { return load(); },
                        [this](std::vector<CleanupRecord> records) { setRecords(std::move(records)); });
}

void AppModel::record(const CleanupRecord& entry)
{
    auto appendAndLoad = [history = m_machine.history, entry](const TaskRunner::Task&) {
        history.append(entry);
        return history.load();
    };
    m_historyQueue->run(appendAndLoad, [this](std::vector<CleanupRecord> records) { setRecords(std::move(records)); });
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
    m_readings->run([disk = m_machine.disk, home = m_machine.home](const TaskRunner::Task&) { return disk(home); },
                    [this, generation](std::optional<DiskUsage> reading) {
                        if (generation == m_diskGeneration)
                            setDisk(reading);
                    });
}

// MARK: Sections

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
