#include "Tarno/PerformanceModel.hpp"

#include "Tarno/ModelSupport.hpp"
#include "Tarno/TaskRunner.hpp"

#include <algorithm>

namespace tarno {

namespace {

// What the idle rules read of a dev server.
std::vector<IdleServers::Server> servers(const std::vector<DeveloperTool>& tools)
{
    std::vector<IdleServers::Server> found;
    for (const DeveloperTool& tool : tools) {
        if (tool.kind == DeveloperTool::Kind::devServer)
            found.push_back({.id = tool.id, .started = tool.started, .folder = tool.folder, .clients = tool.clients});
    }
    return found;
}

} // namespace

struct PerformanceModel::Reading {
    MemorySnapshot memory;
    ProcessSample sample;
    std::vector<DeveloperTool> tools;
    std::map<std::string, TimePoint> folderChanges;
    TimePoint now;
};

PerformanceModel::PerformanceModel(PerformanceMachine machine, std::string home, QObject* parent)
    : QObject(parent)
    , m_machine(std::move(machine))
    , m_home(std::move(home))
    , m_readings(new TaskRunner(1, this))
    , m_actions(new TaskRunner(2, this))
{
    m_next.setSingleShot(true);
    m_next.setInterval(std::chrono::milliseconds(interval));
    connect(&m_next, &QTimer::timeout, this, [this] {
        if (isLive())
            refresh();
    });
}

PerformanceModel::~PerformanceModel()
{
    // Stops and waits while the model's members still stand.
    delete m_readings;
    delete m_actions;
}

void PerformanceModel::cancel()
{
    m_next.stop();
    m_readings->cancel();
    m_actions->cancel();
    m_reading = false;
}

void PerformanceModel::setViewed(bool viewed)
{
    const bool wasLive = isLive();
    m_viewers = std::max(0, m_viewers + (viewed ? 1 : -1));
    if (!wasLive && isLive())
        refresh();
    else if (!isLive())
        m_next.stop();
}

// MARK: Readings

void PerformanceModel::refresh()
{
    if (m_reading)
        return;
    m_reading = true;
    m_next.stop();
    auto work = [machine = m_machine, home = m_home](const TaskRunner::Task&) {
        Reading reading;
        reading.memory = machine.memory();
        reading.sample = machine.sample();
        reading.tools = machine.findTools(reading.sample, home);
        // Only the dev servers' folders are watched, so that edits restart their idle clocks.
        std::set<std::string> folders;
        for (const DeveloperTool& tool : reading.tools) {
            if (tool.kind == DeveloperTool::Kind::devServer && tool.folder)
                folders.insert(*tool.folder);
        }
        machine.watchFolders(folders);
        reading.folderChanges = machine.folderChanges();
        const std::set<std::string> polled = machine.polledFolders();
        for (DeveloperTool& tool : reading.tools) {
            if (tool.folder && polled.contains(*tool.folder))
                tool.detail += " The system has no file watches left, so only the top of its folder is checked "
                               "for edits.";
        }
        reading.now = machine.now();
        return reading;
    };
    m_readings->run(std::move(work), [this](Reading reading) { take(std::move(reading)); });
}

void PerformanceModel::take(Reading reading)
{
    m_reading = false;
    setMemory(reading.memory);
    setProcesses(std::move(reading.sample.groups));
    const std::vector<IdleServers::Server> running = servers(reading.tools);
    m_idle.observe(running, reading.folderChanges, reading.now);
    std::map<std::string, double> idle;
    for (const IdleServers::Server& server : running) {
        if (const auto time = m_idle.idleTime(server, reading.now))
            idle[server.id] = time->count();
    }
    setIdleTimes(std::move(idle));
    setDeveloperTools(std::move(reading.tools));
    scheduleNext();
}

void PerformanceModel::scheduleNext()
{
    if (isLive())
        m_next.start();
}

// MARK: Actions

void PerformanceModel::stop(DeveloperTool tool)
{
    std::vector<DeveloperTool> remaining = m_developerTools;
    std::erase_if(remaining, [&](const DeveloperTool& listed) { return listed.id == tool.id; });
    setDeveloperTools(std::move(remaining));
    // The answer is not reported: a tool that stays shows again at the next reading.
    m_actions->run([stopTool = m_machine.stopTool, tool = std::move(tool)](const TaskRunner::Task&) { stopTool(tool); },
                   [] {});
}

void PerformanceModel::stopIdleBuildDaemons()
{
    std::vector<DeveloperTool> idle;
    std::copy_if(m_developerTools.begin(), m_developerTools.end(), std::back_inserter(idle),
                 [](const DeveloperTool& tool) { return tool.isIdleDaemon(); });
    for (const DeveloperTool& tool : idle)
        stop(tool);
}

void PerformanceModel::quit(const ProcessGroup& group, bool force)
{
    m_actions->run([quitGroup = m_machine.quitGroup, group, force](const TaskRunner::Task&) { quitGroup(group, force); },
                   [] {});
}

void PerformanceModel::keep(const std::string& toolID)
{
    m_idle.keep(toolID);
}

void PerformanceModel::loadStartupItems()
{
    m_actions->run([list = m_machine.startupItems, home = m_home](const TaskRunner::Task&) { return list(home); },
                   [this](std::vector<StartupItem> items) { setStartupItems(std::move(items)); });
}

void PerformanceModel::removeLeftover(const StartupItem& item)
{
    auto work = [remove = m_machine.removeLeftover, list = m_machine.startupItems, home = m_home,
                 item](const TaskRunner::Task&) {
        std::optional<std::string> problem = remove(item, home);
        // Listed again whether or not it went.
        return std::pair{std::move(problem), list(home)};
    };
    m_actions->run(std::move(work), [this](std::pair<std::optional<std::string>, std::vector<StartupItem>> result) {
        setStartupItems(std::move(result.second));
        setProblem(std::move(result.first));
    });
}

// MARK: State

void PerformanceModel::setMemory(std::optional<MemorySnapshot> memory)
{
    if (assign(m_memory, std::move(memory)))
        Q_EMIT memoryChanged();
}

void PerformanceModel::setProcesses(std::vector<ProcessGroup> processes)
{
    if (assign(m_processes, std::move(processes)))
        Q_EMIT processesChanged();
}

void PerformanceModel::setDeveloperTools(std::vector<DeveloperTool> tools)
{
    if (assign(m_developerTools, std::move(tools)))
        Q_EMIT developerToolsChanged();
}

void PerformanceModel::setStartupItems(std::vector<StartupItem> items)
{
    if (assign(m_startupItems, std::move(items)))
        Q_EMIT startupItemsChanged();
}

void PerformanceModel::setIdleTimes(std::map<std::string, double> idleTimes)
{
    if (assign(m_idleTimes, std::move(idleTimes)))
        Q_EMIT idleTimesChanged();
}

void PerformanceModel::setProblem(std::optional<std::string> problem)
{
    if (assign(m_problem, std::move(problem)))
        Q_EMIT problemChanged();
}

} // namespace tarno
