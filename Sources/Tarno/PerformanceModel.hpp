#pragma once

#include "Tarno/PerformanceMachine.hpp"

#include "TarnoCore/Performance/IdleServers.hpp"

#include <QObject>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

class TaskRunner;

// The Performance section's live figures: memory, the processes grouped by
// application, the developer tools that are running with how long each dev
// server has gone unused, and what the machine starts by itself. The figures
// are read every three seconds while a screen shows them, off the main
// thread; state lives on the main thread.
class PerformanceModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application model owns the sections")

public:
    using TimePoint = std::chrono::system_clock::time_point;

    // The pause between one reading's end and the next one's start.
    static constexpr std::chrono::seconds interval{3};

    PerformanceModel(PerformanceMachine machine, std::string home, QObject* parent = nullptr);
    ~PerformanceModel() override;

    const PerformanceMachine& machine() const { return m_machine; }
    const std::string& home() const { return m_home; }

    // A screen that shows the figures came (true) or went (false): the
    // readings run while at least one is on show.
    void setViewed(bool viewed);
    bool isLive() const { return m_viewers > 0; }
    // One reading now, whatever the screens.
    void refresh();
    // Stops the work under way, for the application going away.
    void cancel();

    // The tool's row goes at once; a tool that does not end comes back at the
    // next reading. Taken by value: the caller's tool may be a row of the list
    // this replaces.
    void stop(DeveloperTool tool);
    // Every build daemon not building right now.
    void stopIdleBuildDaemons();
    void quit(const ProcessGroup& group, bool force);
    // The user wants this dev server left running: it is never reported idle.
    void keep(const std::string& toolID);

    void loadStartupItems();
    // Removes a leftover, then lists again; a failure's words go to `problem`.
    void removeLeftover(const StartupItem& item);

    const std::optional<MemorySnapshot>& memory() const { return m_memory; }
    const std::vector<ProcessGroup>& processes() const { return m_processes; }
    const std::vector<DeveloperTool>& developerTools() const { return m_developerTools; }
    const std::vector<StartupItem>& startupItems() const { return m_startupItems; }
    // Seconds since each dev server was last in use, by tool id.
    const std::map<std::string, double>& idleTimes() const { return m_idleTimes; }
    const std::optional<std::string>& problem() const { return m_problem; }
    void setProblem(std::optional<std::string> problem);

    // Setters that put the section in a state without running anything, for
    // tests and pictures of the screen. Each signals only a real change.
    void setMemory(std::optional<MemorySnapshot> memory);
    void setProcesses(std::vector<ProcessGroup> processes);
    void setDeveloperTools(std::vector<DeveloperTool> tools);
    void setStartupItems(std::vector<StartupItem> items);
    void setIdleTimes(std::map<std::string, double> idleTimes);

Q_SIGNALS:
    void memoryChanged();
    void processesChanged();
    void developerToolsChanged();
    void startupItemsChanged();
    void idleTimesChanged();
    void problemChanged();

private:
    struct Reading;
    void take(Reading reading);
    void scheduleNext();

    PerformanceMachine m_machine;
    std::string m_home;
    TaskRunner* m_readings;
    TaskRunner* m_actions;
    QTimer m_next;
    int m_viewers = 0;
    bool m_reading = false;

    std::optional<MemorySnapshot> m_memory;
    std::vector<ProcessGroup> m_processes;
    std::vector<DeveloperTool> m_developerTools;
    std::vector<StartupItem> m_startupItems;
    std::map<std::string, double> m_idleTimes;
    std::optional<std::string> m_problem;
    IdleServers m_idle;
};

} // namespace tarno
