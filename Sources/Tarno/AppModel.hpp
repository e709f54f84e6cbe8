#pragma once

#include "Tarno/AppMachine.hpp"
#include "Tarno/CleanupModel.hpp"
#include "Tarno/ApplicationsModel.hpp"
#include "Tarno/DuplicatesModel.hpp"
#include "Tarno/LargeFilesModel.hpp"
#include "Tarno/PerformanceModel.hpp"
#include "Tarno/ProjectsModel.hpp"

#include "TarnoCore/Cleanup/CleanupRecord.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"
#include "TarnoCore/Performance/DiskUsage.hpp"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <array>
#include <optional>
#include <vector>

namespace tarno {

class TaskRunner;

// The one application object: it owns the machine, the path guard, the
// history and one model for each section, wires the sections to each other
// and to the history in one place, and holds what the screens share (the
// section shown, the disk). It lives on the main thread.
class AppModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application owns the model")
    Q_PROPERTY(tarno::CleanupModel* cleanup READ cleanup CONSTANT)
    Q_PROPERTY(tarno::ProjectsModel* projects READ projects CONSTANT)
    Q_PROPERTY(tarno::LargeFilesModel* largeFiles READ largeFiles CONSTANT)
    Q_PROPERTY(tarno::DuplicatesModel* duplicates READ duplicates CONSTANT)
    Q_PROPERTY(tarno::ApplicationsModel* applications READ applications CONSTANT)
    Q_PROPERTY(tarno::PerformanceModel* performance READ performance CONSTANT)
    // The selected section's number in allSections, -1 for none.
    Q_PROPERTY(int section READ sectionNumber WRITE setSectionNumber NOTIFY sectionChanged)
    // The section whose screen the detail area shows: overview when none is selected.
    Q_PROPERTY(int shownSection READ shownSectionNumber NOTIFY sectionChanged)
    Q_PROPERTY(int performanceTab READ performanceTabNumber WRITE setPerformanceTabNumber NOTIFY performanceTabChanged)

public:
    // The sections of the sidebar, in its order.
    enum class Section { overview, cleanup, projects, largeFiles, duplicates, applications, performance };
    Q_ENUM(Section)
    enum class PerformanceTab { apps, developerTools, startup };
    Q_ENUM(PerformanceTab)

    explicit AppModel(AppMachine machine, QObject* parent = nullptr);
    // Stops every section's work and waits for it, promptly.
    ~AppModel() override;

    const AppMachine& machine() const { return m_machine; }
    const std::string& home() const { return m_machine.home; }
    const PathGuard& guardian() const { return m_guardian; }

    CleanupModel* cleanup() const { return m_cleanup; }
    ProjectsModel* projects() const { return m_projects; }
    LargeFilesModel* largeFiles() const { return m_largeFiles; }
    DuplicatesModel* duplicates() const { return m_duplicates; }
    ApplicationsModel* applications() const { return m_applications; }
    PerformanceModel* performance() const { return m_performance; }

    // The history, newest first; empty until it has been read.
    const std::vector<CleanupRecord>& records() const { return m_records; }
    // Appends to the history and then reads it back into records.
    void record(const CleanupRecord& record);

    const std::optional<DiskUsage>& disk() const { return m_disk; }
    // Reads the home folder's volume again.
    Q_INVOKABLE void refreshDisk();

    // Stops the work under way in every section.
    void cancelAll();

    std::optional<Section> section() const { return m_section; }
    void setSection(std::optional<Section> section);
    int sectionNumber() const;
    void setSectionNumber(int number); // a number that names no section means none
    int shownSectionNumber() const;

    PerformanceTab performanceTab() const { return m_performanceTab; }
    void setPerformanceTab(PerformanceTab tab);
    int performanceTabNumber() const { return static_cast<int>(m_performanceTab); }
    void setPerformanceTabNumber(int number); // a number that names no tab changes nothing

Q_SIGNALS:
    void sectionChanged();
    void performanceTabChanged();
    void recordsChanged();
    void diskChanged();

private:
    void loadRecords();
    void setRecords(std::vector<CleanupRecord> records);
    void setDisk(std::optional<DiskUsage> disk);

    AppMachine m_machine;
    PathGuard m_guardian;
    // Disk readings; history reads and writes, one at a time.
    TaskRunner* m_readings;
    TaskRunner* m_historyQueue;
    CleanupModel* m_cleanup;
    ProjectsModel* m_projects;
    LargeFilesModel* m_largeFiles;
    DuplicatesModel* m_duplicates;
    ApplicationsModel* m_applications;
    PerformanceModel* m_performance;

    std::vector<CleanupRecord> m_records;
    std::optional<DiskUsage> m_disk;
    std::optional<Section> m_section = Section::overview;
    PerformanceTab m_performanceTab = PerformanceTab::apps;
    // Readings of the disk may come back out of order; only the newest counts.
    int m_diskGeneration = 0;
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
