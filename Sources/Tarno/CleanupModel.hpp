#pragma once

#include "Tarno/CleanupMachine.hpp"

#include "TarnoCore/Cleanup/CleanSummary.hpp"
#include "TarnoCore/Cleanup/CleanupItem.hpp"
#include "TarnoCore/Cleanup/CleanupRecord.hpp"
#include "TarnoCore/Cleanup/Tools/Docker.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

class TaskRunner;

// The Cleanup section: a scan from nothing to measured items with a default
// selection, and a clean of the confirmed selection through the core's
// cleanup road. State lives on the main thread; slow work runs on the
// model's own runner and comes back to it.
class CleanupModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application model owns the sections")
    Q_PROPERTY(Phase phase READ phase NOTIFY phaseChanged)
    Q_PROPERTY(bool hasFullDiskAccess READ hasFullDiskAccess NOTIFY hasFullDiskAccessChanged)
    Q_PROPERTY(bool isConfirmingClean READ isConfirmingClean WRITE setConfirmingClean NOTIFY isConfirmingCleanChanged)

public:
    enum class Phase { idle, scanning, ready, cleaning };
    Q_ENUM(Phase)

    // At most this many items are measured at once, whatever the machine.
    static constexpr int measuringWidth = 4;

    // The guard outlives the model: the application model owns both.
    CleanupModel(CleanupMachine machine, const PathGuard& guardian, QObject* parent = nullptr);
    ~CleanupModel() override;

    // Called with the record of each clean, and after anything that changes the disk.
    std::function<void(const CleanupRecord&)> onCleaned;
    std::function<void()> onDiskChanged;
    // Writes a record from any thread, telling no one: for a clean cut short
    // because the application is going away.
    std::function<void(const CleanupRecord&)> keepRecord;

    const CleanupMachine& machine() const { return m_machine; }
    const std::string& home() const { return m_machine.environment.home; }

    // Starts a scan unless one or a clean is under way.
    Q_INVOKABLE void scan();
    // Cleans the selected items, one after another.
    Q_INVOKABLE void clean();
    // Removes one item that belongs to root after the password prompt.
    void cleanWithPassword(const CleanupItem& item);
    // Stops the work under way: measuring, tools, a clean between two paths.
    // What was cleaned is still recorded.
    void cancel();

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

    Phase phase() const { return m_phase; }
    const std::vector<CleanupItem>& items() const { return m_items; }
    // Measured sizes by item id.
    const std::map<std::string, SizeResult>& sizes() const { return m_sizes; }
    // Ids of the items to clean.
    const std::set<std::string>& selection() const { return m_selection; }
    void setSelection(std::set<std::string> selection);
    const std::optional<CleanSummary>& cleanSummary() const { return m_cleanSummary; }
    void setCleanSummary(std::optional<CleanSummary> summary);
    const std::optional<QString>& cleaningTitle() const { return m_cleaningTitle; }
    bool hasFullDiskAccess() const { return m_hasFullDiskAccess; }
    const DockerStatus& dockerStatus() const { return m_dockerStatus; }
    bool isConfirmingClean() const { return m_isConfirmingClean; }
    void setConfirmingClean(bool confirming);

    // Setters that put the section in a state without running anything, for
    // tests and pictures of the screen; in use only the flow above changes
    // these. Each signals only a real change.
    void setPhase(Phase phase);
    void setItems(std::vector<CleanupItem> items);
    void setSizes(std::map<std::string, SizeResult> sizes);
    void setCleaningTitle(std::optional<QString> title);
    void setHasFullDiskAccess(bool hasAccess);
    void setDockerStatus(DockerStatus status);

Q_SIGNALS:
    void phaseChanged();
    void itemsChanged();
    void sizesChanged();
    void selectionChanged();
    void cleanSummaryChanged();
    void cleaningTitleChanged();
    void hasFullDiskAccessChanged();
    void dockerStatusChanged();
    void isConfirmingCleanChanged();

private:
    struct CatalogReading {
        std::vector<CleanupItem> items;
        bool hasFullDiskAccess = true;
    };

    void catalogArrived(CatalogReading reading);
    void toolsAnswered();
    void measureNextExtraItem();
    void cleaned(const CleanupRun::Outcome& outcome);
    void storeSize(const std::string& id, const SizeResult& size);
    void diskChanged();

    CleanupMachine m_machine;
    const PathGuard& m_guardian;
    TaskRunner* m_runner;

    Phase m_phase = Phase::idle;
    std::vector<CleanupItem> m_items;
    std::map<std::string, SizeResult> m_sizes;
    std::set<std::string> m_selection;
    std::optional<CleanSummary> m_cleanSummary;
    std::optional<QString> m_cleaningTitle;
    bool m_hasFullDiskAccess = true;
    DockerStatus m_dockerStatus = DockerStatus::notInstalled();
    bool m_isConfirmingClean = false;

    // The scan's bookkeeping: the tools asked beside the catalog, and the
    // extra items they gave, measured one after another.
    struct ToolAnswers {
        std::optional<DockerStatus> docker;
        std::optional<std::vector<CleanupItem>> toolItems;
        bool catalogMeasured = false;
    };
    ToolAnswers m_toolAnswers;
    std::vector<CleanupItem> m_extraItems;
    std::size_t m_nextExtraItem = 0;
};

} // namespace tarno
