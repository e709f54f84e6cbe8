#pragma once

#include "TarnoCore/Cleanup/CleanupEnvironment.hpp"
#include "TarnoCore/Cleanup/CleanupItem.hpp"
#include "TarnoCore/Cleanup/Tools/Docker.hpp"
#include "TarnoCore/Foundation/SizeScanner.hpp"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

// The one application object: the state the screens share. It lives on the
// main thread for the whole process.
class AppModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application owns the model")
    // The selected section's number in allSections, -1 for none.
    Q_PROPERTY(int section READ sectionNumber WRITE setSectionNumber NOTIFY sectionChanged)
    // The section whose screen the detail area shows: overview when none is selected.
    Q_PROPERTY(int shownSection READ shownSectionNumber NOTIFY sectionChanged)
    Q_PROPERTY(int performanceTab READ performanceTabNumber WRITE setPerformanceTabNumber NOTIFY performanceTabChanged)
    Q_PROPERTY(bool isConfirmingClean READ isConfirmingClean WRITE setConfirmingClean NOTIFY isConfirmingCleanChanged)
    Q_PROPERTY(CleanupPhase cleanupPhase READ cleanupPhase NOTIFY cleanupPhaseChanged)
    Q_PROPERTY(bool hasFullDiskAccess READ hasFullDiskAccess NOTIFY hasFullDiskAccessChanged)
    Q_PROPERTY(SearchPhase largeFilePhase READ largeFilePhase NOTIFY largeFilePhaseChanged)
    Q_PROPERTY(qint64 filesExamined READ filesExamined NOTIFY filesExaminedChanged)
    Q_PROPERTY(qint64 largeFileThreshold READ largeFileThreshold WRITE setLargeFileThreshold NOTIFY largeFileThresholdChanged)

public:
    // The sections of the sidebar, in its order.
    enum class Section { overview, cleanup, projects, largeFiles, duplicates, applications, performance };
    Q_ENUM(Section)
    enum class PerformanceTab { apps, developerTools, startup };
    Q_ENUM(PerformanceTab)
    enum class CleanupPhase { idle, scanning, ready, cleaning };
    Q_ENUM(CleanupPhase)
    enum class SearchPhase { idle, searching, ready };
    Q_ENUM(SearchPhase)

    explicit AppModel(CleanupEnvironment environment, QObject* parent = nullptr);
    ~AppModel() override;

    const CleanupEnvironment& environment() const { return m_environment; }

    std::optional<Section> section() const { return m_section; }
    void setSection(std::optional<Section> section);
    int sectionNumber() const;
    void setSectionNumber(int number); // a number that names no section means none
    int shownSectionNumber() const;

    PerformanceTab performanceTab() const { return m_performanceTab; }
    void setPerformanceTab(PerformanceTab tab);
    int performanceTabNumber() const { return static_cast<int>(m_performanceTab); }
    void setPerformanceTabNumber(int number); // a number that names no tab changes nothing

    bool isConfirmingClean() const { return m_isConfirmingClean; }
    void setConfirmingClean(bool confirming);

    CleanupPhase cleanupPhase() const { return m_cleanupPhase; }
    void setCleanupPhase(CleanupPhase phase);

    const std::vector<CleanupItem>& items() const { return m_items; }
    void setItems(std::vector<CleanupItem> items);

    // Measured sizes by item id.
    const std::map<std::string, SizeResult>& sizes() const { return m_sizes; }
    void setSizes(std::map<std::string, SizeResult> sizes);

    // Ids of the items to clean.
    const std::set<std::string>& selection() const { return m_selection; }
    void setSelection(std::set<std::string> selection);

    const std::optional<QString>& cleaningTitle() const { return m_cleaningTitle; }
    void setCleaningTitle(std::optional<QString> title);

    bool hasFullDiskAccess() const { return m_hasFullDiskAccess; }
    void setHasFullDiskAccess(bool hasAccess);

    const DockerStatus& dockerStatus() const { return m_dockerStatus; }
    void setDockerStatus(DockerStatus status);

    SearchPhase largeFilePhase() const { return m_largeFilePhase; }
    void setLargeFilePhase(SearchPhase phase);

    std::int64_t filesExamined() const { return m_filesExamined; }
    void setFilesExamined(std::int64_t count);

    std::int64_t largeFileThreshold() const { return m_largeFileThreshold; }
    void setLargeFileThreshold(std::int64_t bytes);

Q_SIGNALS:
    void sectionChanged();
    void performanceTabChanged();
    void isConfirmingCleanChanged();
    void cleanupPhaseChanged();
    void itemsChanged();
    void sizesChanged();
    void selectionChanged();
    void cleaningTitleChanged();
    void hasFullDiskAccessChanged();
    void dockerStatusChanged();
    void largeFilePhaseChanged();
    void filesExaminedChanged();
    void largeFileThresholdChanged();

private:
    CleanupEnvironment m_environment;
    std::optional<Section> m_section = Section::overview;
    PerformanceTab m_performanceTab = PerformanceTab::apps;
    bool m_isConfirmingClean = false;
    CleanupPhase m_cleanupPhase = CleanupPhase::idle;
    std::vector<CleanupItem> m_items;
    std::map<std::string, SizeResult> m_sizes;
    std::set<std::string> m_selection;
    std::optional<QString> m_cleaningTitle;
    bool m_hasFullDiskAccess = true;
    DockerStatus m_dockerStatus = DockerStatus::notInstalled();
    SearchPhase m_largeFilePhase = SearchPhase::idle;
    std::int64_t m_filesExamined = 0;
    std::int64_t m_largeFileThreshold = 500'000'000;
};

inline constexpr std::array allSections = {
    AppModel::Section::overview,   AppModel::Section::cleanup,      AppModel::Section::projects,
    AppModel::Section::largeFiles, AppModel::Section::duplicates,   AppModel::Section::applications,
    AppModel::Section::performance,
};

QString rawValue(AppModel::Section section);
QString title(AppModel::Section section); // the sidebar's label
QString symbol(AppModel::Section section);
std::optional<AppModel::Section> section(QStringView raw);

inline constexpr std::array allPerformanceTabs = {
    AppModel::PerformanceTab::apps,
    AppModel::PerformanceTab::developerTools,
    AppModel::PerformanceTab::startup,
};

QString rawValue(AppModel::PerformanceTab tab); // also the tab's label
std::optional<AppModel::PerformanceTab> performanceTab(QStringView raw);

} // namespace tarno
