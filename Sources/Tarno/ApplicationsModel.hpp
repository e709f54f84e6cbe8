#pragma once

#include "Tarno/ApplicationsMachine.hpp"

#include "TarnoCore/Apps/AppUninstall.hpp"
#include "TarnoCore/Apps/InstalledApps.hpp"
#include "TarnoCore/Cleanup/Cleaner.hpp"
#include "TarnoCore/Cleanup/CleanupRecord.hpp"
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

// The Applications section: the installed applications, each measured with
// what it keeps in the home, the user's choice of apps and of parts to spare,
// and their removal. Open apps are asked to quit first; an app that stays
// open is left alone entirely. State lives on the main thread; listing,
// measuring, quitting and removing run off it.
class ApplicationsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application model owns the sections")

public:
    enum class Phase { idle, scanning, ready, removing };
    enum class Order { size, lastOpened, name };
    static constexpr Order orders[] = {Order::size, Order::lastOpened, Order::name};
    static QString label(Order order);

    // At most this many apps are measured at once.
    static constexpr int measuringWidth = 4;

    // The guard outlives the model: the application model owns both.
    ApplicationsModel(ApplicationsMachine machine, std::string home, const PathGuard& guardian,
                      QObject* parent = nullptr);
    ~ApplicationsModel() override;

    // Called with the record of a removal that removed something, and after
    // every removal, since the disk changed.
    std::function<void(const CleanupRecord&)> onRemoved;
    std::function<void()> onDiskChanged;

    const ApplicationsMachine& machine() const { return m_machine; }
    const std::string& home() const { return m_home; }

    // Lists and measures the applications, unless a listing or a removal is under way.
    void scan();
    // Removes the selected apps, when the list is ready and some are selected.
    void uninstall();
    // Stops the work under way, for the application going away.
    void cancel();

    Phase phase() const { return m_phase; }
    const std::vector<InstalledApp>& apps() const { return m_apps; }
    // What was measured so far, by app path; the app itself comes first.
    const std::map<std::string, std::vector<AppPart>>& parts() const { return m_parts; }
    bool hasFullDiskAccess() const { return m_hasFullDiskAccess; }
    Order order() const { return m_order; }
    const std::set<std::string>& selection() const { return m_selection; }
    const std::set<std::string>& keptParts() const { return m_keptParts; }
    bool isConfirming() const { return m_isConfirming; }
    const std::optional<UninstallSummary>& summary() const { return m_summary; }
    const std::optional<std::string>& removingName() const { return m_removingName; }

    // The sum of the app's parts; nothing while it is not measured.
    std::optional<std::int64_t> bytes(const InstalledApp& app) const;
    std::vector<InstalledApp> sortedApps() const;
    std::vector<InstalledApp> selectedApps() const;
    // The parts of the selected apps that are not kept.
    std::int64_t selectedBytes() const;

    void setOrder(Order order);
    void setSelection(std::set<std::string> selection);
    void setKeptParts(std::set<std::string> kept);
    void setConfirming(bool confirming);
    void setSummary(std::optional<UninstallSummary> summary);

    // Setters that put the section in a state without running anything, for
    // tests and pictures of the screen. Each signals only a real change.
    void setPhase(Phase phase);
    void setApps(std::vector<InstalledApp> apps);
    void setParts(std::map<std::string, std::vector<AppPart>> parts);
    void setHasFullDiskAccess(bool hasAccess);
    void setRemovingName(std::optional<std::string> name);

Q_SIGNALS:
    void phaseChanged();
    void appsChanged();
    void partsChanged();
    void hasFullDiskAccessChanged();
    void orderChanged();
    void selectionChanged();
    void keptPartsChanged();
    void confirmingChanged();
    void summaryChanged();
    void removingNameChanged();

private:
    void measure(const std::vector<InstalledApp>& apps);
    void removed(const InstalledApp& app);
    void finishRemoval(UninstallSummary summary);

    ApplicationsMachine m_machine;
    std::string m_home;
    const PathGuard& m_guardian;
    TaskRunner* m_listing;
    TaskRunner* m_removal;

    Phase m_phase = Phase::idle;
    std::vector<InstalledApp> m_apps;
    std::map<std::string, std::vector<AppPart>> m_parts;
    bool m_hasFullDiskAccess = true;
    Order m_order = Order::size;
    std::set<std::string> m_selection;
    std::set<std::string> m_keptParts;
    bool m_isConfirming = false;
    std::optional<UninstallSummary> m_summary;
    std::optional<std::string> m_removingName;
};

} // namespace tarno
