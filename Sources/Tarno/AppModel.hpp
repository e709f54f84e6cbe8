#pragma once

#include "Tarno/AppMachine.hpp"

#include "TarnoCore/Cleanup/CleanSummary.hpp"
#include "TarnoCore/Cleanup/CleanupEnvironment.hpp"
#include "TarnoCore/Cleanup/CleanupHistory.hpp"
#include "TarnoCore/Cleanup/CleanupItem.hpp"
#include "TarnoCore/Cleanup/CleanupRecord.hpp"
#include "TarnoCore/Cleanup/Tools/Docker.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"
#include "TarnoCore/Foundation/SizeScanner.hpp"
#include "TarnoCore/Performance/DiskUsage.hpp"

#include <QFuture>
#include <QObject>
#include <QString>
#include <QThreadPool>
#include <QtQml/qqmlregistration.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

// The one application object: the state the screens share, and the cleanup
// flow from scan to history. It lives on the main thread; slow work runs on
// its own pool and hands values back to the main thread.
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

    // At most this many items are measured at once, whatever the machine.
    static constexpr int measuringWidth = 4;

    explicit AppModel(AppMachine machine, QObject* parent = nullptr);
    // Waits for the work under way: a measurement, or a tool up to its time-out.
    ~AppModel() override;

    const AppMachine& machine() const { return m_machine; }
    const CleanupEnvironment& environment() const { return m_machine.environment; }
    const PathGuard& guardian() const { return m_guardian; }
    const CleanupHistory& history() const { return m_history; }

    // The history, newest first; empty until it has been read.
    const std::vector<CleanupRecord>& records() const { return m_records; }
    // Appends to the history and then reads it back into records.
    void record(const CleanupRecord& record);

    const std::optional<DiskUsage>& disk() const { return m_disk; }
    void setDisk(std::optional<DiskUsage> disk);
    // Reads the home folder's volume again.
    Q_INVOKABLE void refreshDisk();

    // Starts a scan unless one or a clean is under way.
    Q_INVOKABLE void scan();
    // Cleans the selected items, one after another.
    Q_INVOKABLE void clean();
    // Removes one item that belongs to root after the password prompt.
    void cleanWithPassword(const CleanupItem& item);

    // Items measured at least at their minimum size, in order.
    std::vector<CleanupItem> visibleItems() const;
    // The categories that have visible items, in the categories' order.
    std::vector<CleanupCategory> categories() const;
    std::vector<CleanupItem> items(CleanupCategory category) const;
    // Visible, selected items that need no administrator.
    std::vector<CleanupItem> selectedItems() const;
    // What the safe items that need no administrator weigh.
    std::int64_t safeBytes() const;
    // The item's last measured bytes; 0 while it has not been measured.
    std::int64_t measuredBytes(const std::string& id) const;
    const CleanupItem* item(const std::string& id) const;

    const std::optional<CleanSummary>& cleanSummary() const { return m_cleanSummary; }
    void setCleanSummary(std::optional<CleanSummary> summary);

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
    void recordsChanged();
    void diskChanged();
    void cleanSummaryChanged();

private:
    struct CatalogReading {
        std::vector<CleanupItem> items;
        bool hasFullDiskAccess = true;
    };
    struct CleaningRun {
        std::vector<CleanupItem> items;
        std::size_t next = 0;
        CleanSummary summary;
    };
    struct ItemCleaned {
        CleanReport report;
        SizeResult after;
    };

    void catalogArrived(CatalogReading reading);
    void measureNextCatalogItems();
    void catalogItemMeasured(const std::string& id, const SizeResult& size);
    void collectExtraItems();
    void measureNextExtraItem();
    void cleanNextItem();
    void itemCleaned(const CleanupItem& item, std::int64_t before, const ItemCleaned& outcome);
    void finishClean();
    void storeSize(const std::string& id, const SizeResult& size);
    void loadRecords();
    void setRecords(std::vector<CleanupRecord> records);

    AppMachine m_machine;
    PathGuard m_guardian;
    CleanupHistory m_history;
    std::vector<CleanupRecord> m_records;
    std::optional<DiskUsage> m_disk;
    std::optional<CleanSummary> m_cleanSummary;
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

    // The scan's bookkeeping: catalog items measured so far and in flight,
    // the tools asked beside them, the extra items still to measure.
    std::size_t m_catalogCount = 0;
    std::size_t m_nextToMeasure = 0;
    int m_measuringInFlight = 0;
    QFuture<DockerStatus> m_dockerQuery;
    QFuture<std::vector<CleanupItem>> m_toolQuery;
    std::vector<CleanupItem> m_extraItems;
    std::size_t m_nextExtraItem = 0;
    std::optional<CleaningRun> m_cleaningRun;
    // Readings of the disk may come back out of order; only the newest counts.
    int m_diskGeneration = 0;

    // The measuring group, the tool queries and the cleaning share one pool
    // wide enough for all of them at once, whatever the number of cores.
    // Tasks hold copies of the machine's callables, never the model's members.
    QThreadPool m_workers;
    // History reads and writes, one at a time.
    QThreadPool m_historyQueue;
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
