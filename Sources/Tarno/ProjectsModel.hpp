#pragma once

#include "Tarno/ProjectsMachine.hpp"

#include "TarnoCore/Cleanup/CleanSummary.hpp"
#include "TarnoCore/Cleanup/CleanupRecord.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"
#include "TarnoCore/Projects/ProjectScanner.hpp"

#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace tarno {

class TaskRunner;

// The Projects section: the folders to search, a scan of them, what is
// selected, and the removal of the selection. It pre-selects only what is
// clearly stale, and counts as removed only what is gone from the disk
// afterwards. State lives on the main thread; scans and removals run on the
// model's own runner and come back to it.
class ProjectsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application model owns the sections")
    Q_PROPERTY(bool isConfirming READ isConfirming WRITE setConfirming NOTIFY isConfirmingChanged)

public:
    struct Scanning {
        ProjectScanner::Stage stage;
        bool operator==(const Scanning&) const = default;
    };
    struct Cleaning {
        std::string name; // the row under way
        bool operator==(const Cleaning&) const = default;
    };
    struct Idle {
        bool operator==(const Idle&) const = default;
    };
    struct Ready {
        bool operator==(const Ready&) const = default;
    };
    using Phase = std::variant<Scanning, Cleaning, Idle, Ready>;

    // The artifact rows of one project, for the list.
    struct ProjectGroup {
        std::string path;
        std::optional<std::chrono::system_clock::time_point> lastChange;
        std::vector<ProjectScan::ArtifactRow> rows; // largest first
        bool operator==(const ProjectGroup&) const = default;
    };

    // Tells a running scan to stop: set on the main thread, read by the
    // scan's threads.
    class StopFlag {
    public:
        void set(bool stopped);
        bool isSet() const;

    private:
        mutable std::mutex m_lock;
        bool m_stopped = false;
    };

    // A worktree finished this recently, or a project touched this recently,
    // is left for the user to pick.
    static constexpr std::chrono::seconds worktreeGrace{86'400};
    static constexpr std::chrono::seconds projectGrace{2'592'000};

    // The guard outlives the model: the application model owns both.
    ProjectsModel(ProjectsMachine machine, std::string home, const PathGuard& guardian, QObject* parent = nullptr);
    ~ProjectsModel() override;

    // Called with the record of each removal, and after anything that changes the disk.
    std::function<void(const CleanupRecord&)> onCleaned;
    std::function<void()> onDiskChanged;
    // Writes a record from any thread, telling no one: for a removal cut
    // short because the application is going away.
    std::function<void(const CleanupRecord&)> keepRecord;

    const ProjectsMachine& machine() const { return m_machine; }
    const std::string& home() const { return m_home; }
    // Whether the roots are kept for the next launch.
    bool remembersRoots() const { return m_machine.rememberedRoots.has_value(); }

    // Lets the user pick the folders to search.
    void chooseRoots();
    // Replaces the folders to search; the results of the others go.
    void setRoots(std::vector<std::string> roots);
    // Starts a scan unless one or a removal is under way.
    void scanProjects();
    // Asks the scan under way to stop; its result is dropped.
    void stopScan();
    // Removes the selected rows, one after another.
    void clean();
    // Stops every piece of work under way, for the application going away.
    void cancel();

    // Selects what is clearly stale in the scan, as of `now`.
    void selectDefaults(std::chrono::system_clock::time_point now);

    // Derived from the scan and the selection.
    std::vector<ProjectScan::WorktreeRow> removableWorktrees() const;
    std::vector<ProjectScan::WorktreeRow> keptWorktrees() const;
    std::vector<ProjectGroup> projectGroups() const;
    std::int64_t selectedBytes() const;
    std::vector<ProjectScan::WorktreeRow> selectedWorktreeRows() const;
    std::vector<ProjectScan::ArtifactRow> selectedArtifactRows() const;
    // The sizes shown are clearly below what a plain size of the folders gives.
    bool sizesDifferFromFinder() const;

    const Phase& phase() const { return m_phase; }
    bool isScanning() const { return std::holds_alternative<Scanning>(m_phase); }
    bool isReady() const { return std::holds_alternative<Ready>(m_phase); }
    const std::optional<ProjectScan>& scan() const { return m_scan; }
    const std::vector<std::string>& roots() const { return m_roots; }
    const std::set<std::string>& selectedWorktrees() const { return m_selectedWorktrees; }
    const std::set<std::string>& selectedArtifacts() const { return m_selectedArtifacts; }
    void setSelectedWorktrees(std::set<std::string> paths);
    void setSelectedArtifacts(std::set<std::string> paths);
    const std::optional<CleanSummary>& summary() const { return m_summary; }
    void setSummary(std::optional<CleanSummary> summary);
    bool isConfirming() const { return m_isConfirming; }
    void setConfirming(bool confirming);

    // Setters that put the section in a state without running anything, for
    // tests and pictures of the screen. Each signals only a real change.
    void setPhase(Phase phase);
    void setScan(std::optional<ProjectScan> scan);

Q_SIGNALS:
    void phaseChanged();
    void scanChanged();
    void rootsChanged();
    void selectionChanged();
    void summaryChanged();
    void isConfirmingChanged();

private:
    void scanned(ProjectScan result, const std::shared_ptr<StopFlag>& flag);
    void cleaned(const ProjectRemoval::Outcome& outcome);

    ProjectsMachine m_machine;
    std::string m_home;
    const PathGuard& m_guardian;
    TaskRunner* m_runner;
    // The flag of the latest scan; a scan whose flag was replaced is forgotten.
    std::shared_ptr<StopFlag> m_stopFlag = std::make_shared<StopFlag>();

    Phase m_phase = Idle{};
    std::optional<ProjectScan> m_scan;
    std::vector<std::string> m_roots;
    std::set<std::string> m_selectedWorktrees;
    std::set<std::string> m_selectedArtifacts;
    std::optional<CleanSummary> m_summary;
    bool m_isConfirming = false;
};

} // namespace tarno
