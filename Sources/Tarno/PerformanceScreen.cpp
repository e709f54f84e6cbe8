#include "Tarno/PerformanceScreen.hpp"

#include "Tarno/AppModel.hpp"
#include "Tarno/ScreenText.hpp"

#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Foundation/RelativeDate.hpp"
#include "TarnoCore/Foundation/TildePath.hpp"
#include "TarnoCore/Performance/SlownessCheck.hpp"

#include <QIcon>
#include <QUrl>
#include <QVariantMap>

#include <algorithm>
#include <cmath>

namespace tarno {
namespace {

using Kind = DeveloperTool::Kind;

QString memoryBytes(std::int64_t bytes)
{
    return ScreenText::text(ByteFormat::memory(bytes));
}

QString cpu(double percent)
{
    return QString::number(std::llround(percent)) + QStringLiteral(" %");
}

// The chip of a tool's kind: its symbol and the Theme colour's name.
std::pair<QString, QString> chip(Kind kind)
{
    switch (kind) {
    case Kind::buildDaemon: return {QStringLiteral("hammer.fill"), QStringLiteral("orange")};
    case Kind::languageServer: return {QStringLiteral("text.cursor"), QStringLiteral("violet")};
    case Kind::devServer: return {QStringLiteral("network"), QStringLiteral("teal")};
    case Kind::emulator: return {QStringLiteral("smartphone"), QStringLiteral("green")};
    case Kind::simulator: return {QStringLiteral("iphone"), QStringLiteral("blue")};
    case Kind::containers: return {QStringLiteral("shippingbox.fill"), QStringLiteral("blue")};
    }
    return {};
}

} // namespace

PerformanceScreen::PerformanceScreen(QObject* parent)
    : QObject(parent)
    , m_processRows(new ProcessRows(this))
    , m_toolRows(new ToolRows(this))
    , m_startupRows(new StartupRows(this))
{
}

void PerformanceScreen::setModel(PerformanceModel* model)
{
    if (m_model == model)
        return;
    if (m_model) {
        disconnect(m_model, nullptr, this, nullptr);
        if (m_isShown)
            m_model->setViewed(false);
    }
    m_model = model;
    if (m_model) {
        for (auto signal : {&PerformanceModel::memoryChanged, &PerformanceModel::processesChanged,
                            &PerformanceModel::developerToolsChanged, &PerformanceModel::startupItemsChanged,
                            &PerformanceModel::idleTimesChanged, &PerformanceModel::problemChanged})
            connect(m_model, signal, this, &PerformanceScreen::refresh);
        if (m_isShown)
            m_model->setViewed(true);
    }
    refresh();
    Q_EMIT modelChanged();
}

QStringList PerformanceScreen::tabNames() const
{
    QStringList names;
    for (const AppModel::PerformanceTab tab : allPerformanceTabs)
        names.append(rawValue(tab));
    return names;
}

QStringList PerformanceScreen::processColumns() const
{
    return {QStringLiteral("App"), QStringLiteral("Memory"), QStringLiteral("CPU")};
}

QString PerformanceScreen::advice(const MemorySnapshot& memory)
{
    if (memory.pressure == MemorySnapshot::Pressure::critical)
        return QStringLiteral("The system is out of room and is swapping to disk. Quit the largest apps you can do "
                              "without.");
    if (memory.pressure == MemorySnapshot::Pressure::warning)
        return QStringLiteral("The system is compressing memory to keep up, which is what makes things feel sluggish. "
                              "Quitting an app you are not using is the only thing that relieves it.");
    if (memory.compressed * 5 >= memory.total)
        return QStringLiteral("The system is coping, but only by compressing ") + memoryBytes(memory.compressed)
               + QStringLiteral(" of memory. Quitting a large app you are not using gives it room again.");
    return QStringLiteral("Nothing to do. The system hands file cache back the moment an app needs it, so a full "
                          "bar is not a problem by itself.");
}

QString PerformanceScreen::iconSource(const ProcessGroup& group)
{
    if (group.isSystemService)
        return {};
    const QString name = ScreenText::text(group.name).toLower();
    if (name.isEmpty() || !QIcon::hasThemeIcon(name))
        return {};
    return QStringLiteral("image://appicon/") + QString::fromLatin1(QUrl::toPercentEncoding(name));
}

PerformanceScreen::State PerformanceScreen::currentState() const
{
    State state;
    if (!m_model)
        return state;
    const PerformanceModel& model = *m_model;
    if (const std::optional<MemorySnapshot>& memory = model.memory()) {
        state.hasMemory = true;
        state.memoryText = memoryBytes(memory->used()) + QStringLiteral(" of ") + memoryBytes(memory->total)
                           + QStringLiteral(" in use");
        const double scale = memory->total < 1 ? 1.0 : static_cast<double>(memory->total);
        const std::tuple<const char*, std::int64_t, const char*, const char*> segments[] = {
            {"app", memory->app, "blue", "Apps"},
            {"wired", memory->wired, "violet", "System"},
            {"compressed", memory->compressed, "orange", "Compressed"},
            {"cached", memory->cached, "gray", "File cache"},
        };
        for (const auto& [id, value, colour, legend] : segments)
            state.memorySegments.append(QVariantMap{{QStringLiteral("id"), QString::fromLatin1(id)},
                                                    {QStringLiteral("fraction"), static_cast<double>(value) / scale},
                                                    {QStringLiteral("tint"), QString::fromLatin1(colour)},
                                                    {QStringLiteral("legend"), QString::fromLatin1(legend)},
                                                    {QStringLiteral("bytesText"), memoryBytes(value)}});
        state.memoryAccessibleText = QStringLiteral("Apps ") + memoryBytes(memory->app) + QStringLiteral(", system ")
                                     + memoryBytes(memory->wired) + QStringLiteral(", compressed ")
                                     + memoryBytes(memory->compressed) + QStringLiteral(", file cache ")
                                     + memoryBytes(memory->cached);
        state.advice = advice(*memory);
    }

    const std::vector<DeveloperTool>& tools = model.developerTools();
    state.hasTools = !tools.empty();
    std::int64_t total = 0;
    for (const DeveloperTool& tool : tools)
        total += tool.memoryBytes;
    state.toolsTotal = memoryBytes(total) + QStringLiteral(" in total");
    state.stopIdleEnabled = std::any_of(tools.begin(), tools.end(), [](const DeveloperTool& tool) {
        return tool.isIdleDaemon();
    });

    // The question is asked about what is still there.
    state.question = m_question;
    switch (m_question) {
    case Question::None:
        break;
    case Question::Quit: {
        const auto group = std::find_if(model.processes().begin(), model.processes().end(),
                                        [this](const ProcessGroup& listed) { return listed.id == m_subject; });
        if (group == model.processes().end()) {
            state.question = Question::None;
            break;
        }
        state.questionTitle = QStringLiteral("Quit ") + ScreenText::text(group->name) + QStringLiteral("?");
        state.questionText =
            group->bundlePath
                ? QStringLiteral("The app gets a chance to save first. Force Quit ends it at once and loses unsaved "
                                 "changes.")
                : QStringLiteral("This ends ")
                      + (group->pids.size() == 1 ? QStringLiteral("the process")
                                                 : QStringLiteral("all %1 processes").arg(group->pids.size()))
                      + QStringLiteral(". Anything it was doing stops.");
        state.confirmLabel = quitLabel();
        break;
    }
    case Question::Stop: {
        const auto tool = std::find_if(tools.begin(), tools.end(),
                                       [this](const DeveloperTool& listed) { return listed.id == m_subject; });
        if (tool == tools.end()) {
            state.question = Question::None;
            break;
        }
        state.questionTitle = QStringLiteral("Stop ") + ScreenText::text(tool->title) + QStringLiteral("?");
        state.questionText = ScreenText::text(tool->consequence);
        state.confirmLabel = stopLabel();
        break;
    }
    case Question::Remove: {
        const auto item = std::find_if(model.startupItems().begin(), model.startupItems().end(),
                                       [this](const StartupItem& listed) { return listed.plistPath == m_subject; });
        if (item == model.startupItems().end() || !item->isLeftover()) {
            state.question = Question::None;
            break;
        }
        state.questionTitle = QStringLiteral("Remove ") + ScreenText::text(item->label) + QStringLiteral("?");
        state.questionText = QStringLiteral("Its program is gone, so it can only fail each time it starts. Its file "
                                            "goes to the Trash.");
        state.confirmLabel = removeLabel();
        break;
    }
    }
    state.hasProblem = model.problem().has_value();
    state.problemText = ScreenText::text(model.problem().value_or(std::string()));
    return state;
}

void PerformanceScreen::refresh()
{
    std::vector<ProcessRow> processes;
    std::vector<ToolRow> tools;
    std::vector<StartupRow> startup;
    if (m_model) {
        const PerformanceModel& model = *m_model;
        const std::vector<ProcessGroup>& groups = model.processes();
        const std::size_t shown = std::min(groups.size(), shownGroups);
        const double largest = shown == 0 ? 1.0 : static_cast<double>(std::max<std::int64_t>(groups.front().memoryBytes, 1));
        for (std::size_t index = 0; index < shown; ++index) {
            const ProcessGroup& group = groups[index];
            ProcessRow row;
            row.key = ScreenText::text(group.id);
            row.name = ScreenText::text(group.name);
            row.isSystem = group.isSystemService;
            row.subtitle = group.isSystemService   ? QStringLiteral("Part of the system")
                           : group.pids.size() == 1 ? QStringLiteral("1 process")
                                                    : QStringLiteral("%1 processes").arg(group.pids.size());
            row.memoryText = memoryBytes(group.memoryBytes);
            row.fraction = static_cast<double>(group.memoryBytes) / largest;
            row.cpuText = cpu(group.cpuPercent);
            // The program offers no way to quit itself, nor the system.
            row.canQuit = !group.isSystemService
                          && std::find(group.pids.begin(), group.pids.end(), model.machine().ownPID) == group.pids.end();
            row.helpText = group.isSystemService ? QStringLiteral("Part of the system, which manages it.") : row.name;
            row.quitMenuLabel = QStringLiteral("Quit ") + row.name + QStringLiteral("…");
            row.iconSource = iconSource(group);
            processes.push_back(std::move(row));
        }

        const auto now = std::chrono::system_clock::now();
        for (const DeveloperTool& tool : model.developerTools()) {
            ToolRow row;
            row.key = ScreenText::text(tool.id);
            row.title = ScreenText::text(tool.title);
            std::tie(row.symbol, row.tint) = chip(tool.kind);
            if (tool.kind == Kind::devServer) {
                const auto idle = model.idleTimes().find(tool.id);
                if (tool.clients >= 1) {
                    row.badgeText = QStringLiteral("In use");
                    row.badgeTint = QStringLiteral("green");
                    row.badgeHelp = QStringLiteral("A browser tab or another client is connected to it.");
                } else if (idle != model.idleTimes().end() && idle->second >= idleBadgeSeconds) {
                    row.badgeText = QStringLiteral("Idle ") + ScreenText::text(SlownessCheck::duration(idle->second));
                    row.badgeTint = QStringLiteral("orange");
                    row.badgeHelp = QStringLiteral("Nothing has connected to it and nothing in its folder has changed.");
                }
            }
            if (tool.started)
                row.startedText = QStringLiteral("started ") + ScreenText::text(RelativeDate::named(*tool.started, now));
            row.detailText = ScreenText::text(tool.detail + " " + tool.consequence);
            row.memoryText = memoryBytes(tool.memoryBytes);
            row.cpuText = cpu(tool.cpuPercent) + QStringLiteral(" CPU");
            tools.push_back(std::move(row));
        }

        // Scope by scope, in the order of the scopes; the rows carry their section's title.
        for (const StartupItem::Scope scope : allStartupItemScopes) {
            for (const StartupItem& item : model.startupItems()) {
                if (item.scope != scope)
                    continue;
                StartupRow row;
                row.key = ScreenText::text(item.plistPath);
                row.section = ScreenText::text(std::string(rawValue(scope)));
                row.label = ScreenText::text(item.label);
                row.programMissing = item.programMissing;
                row.isLeftover = item.isLeftover();
                row.programText = item.program ? ScreenText::text(withTilde(*item.program, model.home()))
                                               : QStringLiteral("No program listed");
                row.startsText = item.startsAutomatically ? QStringLiteral("Starts automatically")
                                                          : QStringLiteral("Starts on demand");
                startup.push_back(std::move(row));
            }
        }
    }
    m_processRows->update(std::move(processes));
    m_toolRows->update(std::move(tools));
    m_startupRows->update(std::move(startup));

    State state = currentState();
    if (state == m_state)
        return;
    m_state = std::move(state);
    Q_EMIT changed();
}

// MARK: Actions

void PerformanceScreen::appeared()
{
    if (m_isShown)
        return;
    m_isShown = true;
    if (m_model)
        m_model->setViewed(true);
}

void PerformanceScreen::disappeared()
{
    if (!m_isShown)
        return;
    m_isShown = false;
    if (m_model)
        m_model->setViewed(false);
}

void PerformanceScreen::startupShown()
{
    if (m_model)
        m_model->loadStartupItems();
}

void PerformanceScreen::setAsking(Question question, std::string subject)
{
    m_question = question;
    m_subject = std::move(subject);
    refresh();
}

void PerformanceScreen::askToQuit(const QString& groupID)
{
    setAsking(Question::Quit, groupID.toStdString());
}

void PerformanceScreen::askToStop(const QString& toolID)
{
    setAsking(Question::Stop, toolID.toStdString());
}

void PerformanceScreen::askToRemove(const QString& path)
{
    setAsking(Question::Remove, path.toStdString());
}

void PerformanceScreen::cancel()
{
    setAsking(Question::None, {});
}

void PerformanceScreen::confirm(bool force)
{
    if (!m_model || !isAsking()) {
        cancel();
        return;
    }
    PerformanceModel& model = *m_model;
    const Question question = m_state.question;
    const std::string subject = m_subject;
    setAsking(Question::None, {});
    switch (question) {
    case Question::None:
        break;
    case Question::Quit:
        for (const ProcessGroup& group : model.processes()) {
            if (group.id == subject) {
                model.quit(group, force);
                break;
            }
        }
        break;
    case Question::Stop:
        for (const DeveloperTool& tool : model.developerTools()) {
            if (tool.id == subject) {
                model.stop(tool);
                break;
            }
        }
        break;
    case Question::Remove:
        for (const StartupItem& item : model.startupItems()) {
            if (item.plistPath == subject) {
                model.removeLeftover(item);
                break;
            }
        }
        break;
    }
}

void PerformanceScreen::stopIdleBuildDaemons()
{
    if (m_model)
        m_model->stopIdleBuildDaemons();
}

void PerformanceScreen::reveal(const QString& path)
{
    if (m_model && m_model->machine().reveal)
        m_model->machine().reveal({path.toStdString()});
}

void PerformanceScreen::dismissProblem()
{
    if (m_model)
        m_model->setProblem(std::nullopt);
}

} // namespace tarno
