#include "Tarno/AppModel.hpp"

#include <utility>

namespace tarno {
namespace {

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

AppModel::AppModel(CleanupEnvironment environment, QObject* parent)
    : QObject(parent)
    , m_environment(std::move(environment))
{
}

AppModel::~AppModel() = default;

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
