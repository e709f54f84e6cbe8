#include "Tarno/Snapshotter.hpp"

#include "Tarno/AppModel.hpp"
#include "Tarno/ApplicationsScreen.hpp"
#include "Tarno/PerformanceScreen.hpp"
#include "Tarno/LargeFilesScreen.hpp"

#include "TarnoCore/Projects/ProjectRemoval.hpp"

#include <map>
#include <memory>

#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QQuickWindow>

namespace tarno {
namespace {

// A window that is not exposed never swaps a frame; grabbing renders the
// scene anyway, so after this long the snapshot is taken regardless.
constexpr int frameTimeoutMilliseconds = 2000;

} // namespace

Snapshotter::Snapshotter(QQuickWindow* window, AppModel* model, QString folder, QObject* parent)
    : QObject(parent)
    , m_window(window)
    , m_model(model)
    , m_folder(std::move(folder))
{
    m_frameTimeout.setSingleShot(true);
    m_frameTimeout.setInterval(frameTimeoutMilliseconds);
    connect(&m_frameTimeout, &QTimer::timeout, this, &Snapshotter::capture);
    if (m_window) {
        // Queued: the frame may be swapped on the render thread, and the grab
        // belongs on this one.
        connect(m_window, &QQuickWindow::frameSwapped, this, [this] {
            if (!m_waitingForFrame)
                return;
            // The first frame after staging may still hold work the scene
            // queued for later (a list scrolling back to its top): the
            // picture is the frame after it.
            if (--m_framesToWait > 0) {
                m_window->update();
                return;
            }
            capture();
        }, Qt::QueuedConnection);
    }
}

std::vector<Snapshotter::Shot> Snapshotter::shots()
{
    std::vector<Shot> list;
    for (AppModel::Section section : allSections)
        list.push_back({rawValue(section), [section](AppModel& model) { model.setSection(section); }});
    // The file sections search when they first appear: their pictures show what was found.
    for (Shot& shot : list) {
        if (shot.name == rawValue(AppModel::Section::largeFiles))
            shot.isReady = [](const AppModel& model) {
                return model.largeFiles()->phase() == LargeFilesModel::Phase::ready;
            };
        if (shot.name == rawValue(AppModel::Section::duplicates))
            shot.isReady = [](const AppModel& model) {
                return model.duplicates()->phase() == DuplicatesModel::Phase::ready;
            };
        if (shot.name == rawValue(AppModel::Section::performance))
            shot.isReady = [](const AppModel& model) {
                return model.performance()->memory().has_value() && !model.performance()->developerTools().empty();
            };
        if (shot.name == rawValue(AppModel::Section::applications))
            shot.isReady = [](const AppModel& model) {
                return model.applications()->phase() == ApplicationsModel::Phase::ready;
            };
    }

    // The Cleanup screen's other states, staged from what the scan found.
    using Phase = CleanupModel::Phase;
    list.push_back({QStringLiteral("cleanup-confirmation"), [](AppModel& model) {
                        model.setSection(AppModel::Section::cleanup);
                        model.cleanup()->setConfirmingClean(true);
                    }});
    list.push_back({QStringLiteral("cleanup-cleaning"), [](AppModel& model) {
                        CleanupModel& cleanup = *model.cleanup();
                        cleanup.setConfirmingClean(false);
                        const std::vector<CleanupItem> selected = cleanup.selectedItems();
                        cleanup.setPhase(Phase::cleaning);
                        if (!selected.empty())
                            cleanup.setCleaningTitle(QString::fromStdString(selected.front().title));
                    }});
    list.push_back({QStringLiteral("cleanup-summary"), [](AppModel& model) {
                        // What cleaning the selection would report, with one
                        // refusal to show how failures read.
                        CleanupModel& cleanup = *model.cleanup();
                        CleanSummary summary;
                        for (const CleanupItem& item : cleanup.selectedItems()) {
                            const std::int64_t bytes = cleanup.measuredBytes(item.id);
                            (item.action.as<CleanupAction::Trash>() ? summary.trashed : summary.freed) += bytes;
                            if (item.category == CleanupCategory::docker && item.knownBytes)
                                summary.insideDocker += bytes;
                        }
                        summary.failures.push_back(
                            {cleanup.home() + "/.cache/google-chrome/Default/Cache/index", "permission denied"});
                        cleanup.setCleaningTitle(std::nullopt);
                        cleanup.setPhase(Phase::ready);
                        cleanup.setCleanSummary(summary);
                    }});
    list.push_back({QStringLiteral("cleanup-banners"), [](AppModel& model) {
                        CleanupModel& cleanup = *model.cleanup();
                        cleanup.setCleanSummary(std::nullopt);
                        cleanup.setHasFullDiskAccess(false);
                        cleanup.setDockerStatus(DockerStatus::notRunning());
                    }});
    list.push_back({QStringLiteral("cleanup-empty"), [](AppModel& model) {
                        CleanupModel& cleanup = *model.cleanup();
                        cleanup.setHasFullDiskAccess(true);
                        cleanup.setDockerStatus(DockerStatus::notInstalled());
                        cleanup.setSizes({});
                    }});
    list.push_back({QStringLiteral("cleanup-scanning"), [](AppModel& model) {
                        model.cleanup()->setPhase(Phase::scanning);
                    }});

    // The Projects screen, from a first scan to a removal that met a refusal.
    list.push_back({QStringLiteral("projects-scanning"), [](AppModel& model) {
                        model.setSection(AppModel::Section::projects);
                        model.projects()->setPhase(ProjectsModel::Scanning{ProjectScanner::Measuring{131'877}});
                    }});
    list.push_back({QStringLiteral("projects-list"),
                    [](AppModel& model) {
                        model.projects()->setPhase(ProjectsModel::Idle{});
                        model.projects()->scanProjects();
                    },
                    [](const AppModel& model) { return model.projects()->isReady(); }});
    list.push_back({QStringLiteral("projects-confirmation"), [](AppModel& model) {
                        model.projects()->setConfirming(true);
                    }});
    list.push_back({QStringLiteral("projects-cleaning"), [](AppModel& model) {
                        ProjectsModel& projects = *model.projects();
                        projects.setConfirming(false);
                        const auto rows = projects.selectedArtifactRows();
                        projects.setPhase(ProjectsModel::Cleaning{rows.empty() ? "" : ProjectRemoval::name(rows.front())});
                    }});
    list.push_back({QStringLiteral("projects-summary"), [](AppModel& model) {
                        // What removing the selection would report, with refusals
                        // to show how failures read.
                        ProjectsModel& projects = *model.projects();
                        CleanSummary summary;
                        summary.freed = projects.selectedBytes();
                        for (const char* path : {"code/shop/node_modules/.pnpm/esbuild@0.21.5/node_modules/esbuild/bin",
                                                 "work/field-app/build/app/intermediates", "work/field-app/.dart_tool"})
                            summary.failures.push_back({projects.home() + "/" + path, "Permission denied"});
                        projects.setPhase(ProjectsModel::Ready{});
                        projects.setSummary(summary);
                    }});
    list.push_back({QStringLiteral("projects-rescanning"), [](AppModel& model) {
                        model.projects()->setSummary(std::nullopt);
                        model.projects()->setPhase(ProjectsModel::Scanning{ProjectScanner::CheckingWorktrees{1}});
                    }});

    // The Large Files screen: a search under way, a move asked for
    // and one that met a refusal, and a minimum no file reaches.
    list.push_back({QStringLiteral("largeFiles-searching"), [](AppModel& model) {
                        model.setSection(AppModel::Section::largeFiles);
                        model.largeFiles()->setPhase(LargeFilesModel::Phase::searching);
                        model.largeFiles()->setFilesExamined(131'877);
                    }});
    list.push_back({QStringLiteral("largeFiles-confirmation"),
                    [](AppModel& model) { model.largeFiles()->setPhase(LargeFilesModel::Phase::ready); }, nullptr,
                    [](QQuickWindow& window) {
                        if (auto* screen = window.findChild<LargeFilesScreen*>()) {
                            const auto files = screen->model()->visibleFiles();
                            for (std::size_t index = 1; index < std::min<std::size_t>(files.size(), 4); ++index)
                                screen->setSelected(QString::fromStdString(files[index].path), true);
                            screen->askToTrashSelection();
                        }
                    }});
    list.push_back({QStringLiteral("largeFiles-failures"), [](AppModel& model) {
                        const std::string& home = model.home();
                        model.largeFiles()->setFailures(
                            {{home + "/VirtualBox VMs/Debian 12/Debian 12.vdi", "Permission denied"}});
                    }, nullptr, [](QQuickWindow& window) {
                        if (auto* screen = window.findChild<LargeFilesScreen*>())
                            screen->cancelTrash();
                    }});
    list.push_back({QStringLiteral("largeFiles-empty"), [](AppModel& model) {
                        LargeFilesModel& largeFiles = *model.largeFiles();
                        largeFiles.setFailures({});
                        std::vector<LargeFile> smaller = largeFiles.files();
                        std::erase_if(smaller, [](const LargeFile& file) { return file.bytes >= 1'000'000'000; });
                        largeFiles.setFiles(std::move(smaller));
                        largeFiles.setThreshold(1'000'000'000);
                    }});

    // The Duplicates screen: a comparison under way, the extra copies ticked, the confirmation when one set would lose every copy, a
    // refusal, and nothing found beside a photo library.
    list.push_back({QStringLiteral("duplicates-searching"), [](AppModel& model) {
                        model.setSection(AppModel::Section::duplicates);
                        model.duplicates()->setPhase(DuplicatesModel::Phase::searching);
                        model.duplicates()->setStage(DuplicateFinder::Comparing{1'208, 3'412});
                    }});
    list.push_back({QStringLiteral("duplicates-selected"), [](AppModel& model) {
                        model.duplicates()->setPhase(DuplicatesModel::Phase::ready);
                        model.duplicates()->selectExtraCopies();
                    }});
    list.push_back({QStringLiteral("duplicates-confirmation"), [](AppModel& model) {
                        DuplicatesModel& duplicates = *model.duplicates();
                        std::set<std::string> selection = duplicates.selection();
                        if (!duplicates.groups().empty())
                            selection.insert(duplicates.groups().back().files.front().path);
                        duplicates.setSelection(std::move(selection));
                        duplicates.setConfirming(true);
                    }});
    list.push_back({QStringLiteral("duplicates-failures"), [](AppModel& model) {
                        DuplicatesModel& duplicates = *model.duplicates();
                        duplicates.setConfirming(false);
                        duplicates.setSelection({});
                        duplicates.setFailures({{model.home() + "/Downloads/ubuntu-24.04.1-desktop-amd64.iso",
                                                 "Operation not permitted"}});
                    }});
    list.push_back({QStringLiteral("duplicates-empty"), [](AppModel& model) {
                        DuplicatesModel& duplicates = *model.duplicates();
                        duplicates.setFailures({});
                        duplicates.setGroups({});
                        duplicates.setHasPhotosLibrary(true);
                    }});

    // The Applications screen: the sizes still coming in, apps picked and the
    // sheet with a part spared, a removal under way, its result with an app
    // that would not quit, and a machine with no apps.
    using AppsPhase = ApplicationsModel::Phase;
    // What the listing measured, put back after the picture of it half done.
    auto measured = std::make_shared<std::map<std::string, std::vector<AppPart>>>();
    list.push_back({QStringLiteral("applications-measuring"), [measured](AppModel& model) {
                        model.setSection(AppModel::Section::applications);
                        ApplicationsModel& apps = *model.applications();
                        *measured = apps.parts();
                        std::map<std::string, std::vector<AppPart>> some;
                        for (std::size_t index = 0; index < apps.apps().size(); index += 3)
                            some[apps.apps()[index].path] = apps.parts().at(apps.apps()[index].path);
                        apps.setPhase(AppsPhase::scanning);
                        apps.setParts(std::move(some));
                    }});
    list.push_back({QStringLiteral("applications-confirmation"), [measured](AppModel& model) {
                        ApplicationsModel& apps = *model.applications();
                        apps.setParts(*measured);
                        apps.setPhase(AppsPhase::ready);
                    }, nullptr, [](QQuickWindow& window) {
                        auto* screen = window.findChild<ApplicationsScreen*>();
                        if (!screen)
                            return;
                        ApplicationsModel& apps = *screen->model();
                        std::set<std::string> chosen;
                        for (const InstalledApp& app : apps.apps()) {
                            if (app.name == "Docker" || app.name == "Postman")
                                chosen.insert(app.path);
                        }
                        apps.setSelection(std::move(chosen));
                        screen->askToUninstall();
                        for (const InstalledApp& app : apps.selectedApps()) {
                            const std::vector<AppPart>& parts = apps.parts().at(app.path);
                            if (app.name == "Postman" && parts.size() > 1)
                                screen->setPartKept(QString::fromStdString(parts[1].path), true);
                        }
                    }});
    list.push_back({QStringLiteral("applications-removing"), [](AppModel& model) {
                        ApplicationsModel& apps = *model.applications();
                        apps.setConfirming(false);
                        apps.setPhase(AppsPhase::removing);
                        apps.setRemovingName("Postman");
                    }});
    list.push_back({QStringLiteral("applications-summary"), [](AppModel& model) {
                        ApplicationsModel& apps = *model.applications();
                        apps.setRemovingName(std::nullopt);
                        apps.setPhase(AppsPhase::ready);
                        apps.setSelection({});
                        apps.setSummary(UninstallSummary{
                            .apps = {"Postman", "Figma"},
                            .trashed = 1'802'000'000,
                            .failures = {{"/Applications/Slack.app", "Slack is still open. Quit it, then try again.",
                                          CleanReport::Failure::Kind::failed}},
                        });
                    }});
    list.push_back({QStringLiteral("applications-empty"), [](AppModel& model) {
                        ApplicationsModel& apps = *model.applications();
                        apps.setSummary(std::nullopt);
                        apps.setApps({});
                        apps.setParts({});
                    }});

    // The Performance screen's other tabs: the developer tools with one dev
    // server idle for hours and one in use, the question before stopping
    // one, and the startup items with leftovers.
    list.push_back({QStringLiteral("performance-tools"), [](AppModel& model) {
                        model.setSection(AppModel::Section::performance);
                        model.setPerformanceTab(AppModel::PerformanceTab::developerTools);
                        std::map<std::string, double> idle = model.performance()->idleTimes();
                        idle["tree-3001"] = 5.3 * 3600;
                        model.performance()->setIdleTimes(std::move(idle));
                    }});
    list.push_back({QStringLiteral("performance-stop"), [](AppModel&) {}, nullptr, [](QQuickWindow& window) {
                        if (auto* screen = window.findChild<PerformanceScreen*>())
                            screen->askToStop(QStringLiteral("2310"));
                    }});
    list.push_back({QStringLiteral("performance-startup"), [](AppModel& model) {
                        model.setPerformanceTab(AppModel::PerformanceTab::startup);
                    }, [](const AppModel& model) {
                        return !model.performance()->startupItems().empty();
                    }, [](QQuickWindow& window) {
                        if (auto* screen = window.findChild<PerformanceScreen*>())
                            screen->cancel();
                    }});
    return list;
}

QStringList Snapshotter::names()
{
    QStringList list;
    for (const Shot& shot : shots())
        list.append(shot.name);
    return list;
}

void Snapshotter::start()
{
    if (!m_window || !m_model) {
        finish(false, QStringLiteral("There is no main window to render."));
        return;
    }
    if (!QDir().mkpath(m_folder)) {
        finish(false, QStringLiteral("Could not make the folder %1.").arg(m_folder));
        return;
    }
    m_shots = shots();
    m_next = 0;
    m_started = false;
    // The pictures show what the first scan found, so they wait for it.
    CleanupModel* cleanup = m_model->cleanup();
    if (cleanup->phase() == CleanupModel::Phase::ready) {
        begin();
        return;
    }
    connect(cleanup, &CleanupModel::phaseChanged, this, [this, cleanup] {
        if (cleanup->phase() == CleanupModel::Phase::ready)
            begin();
    });
    if (cleanup->phase() == CleanupModel::Phase::idle)
        cleanup->scan();
}

void Snapshotter::begin()
{
    if (m_started)
        return;
    m_started = true;
    disconnect(m_model->cleanup(), &CleanupModel::phaseChanged, this, nullptr);
    showNext();
}

void Snapshotter::showNext()
{
    if (m_next == m_shots.size()) {
        finish(true, {});
        return;
    }
    const Shot& shot = m_shots[m_next];
    shot.stage(*m_model);
    if (shot.stageView)
        shot.stageView(*m_window);
    if (shot.isReady && !shot.isReady(*m_model)) {
        // Asked again on each turn of the event loop, for at most a minute.
        auto waited = std::make_shared<QElapsedTimer>();
        waited->start();
        auto* poll = new QTimer(this);
        poll->setInterval(10);
        connect(poll, &QTimer::timeout, this, [this, poll, waited] {
            if (!m_model) {
                poll->deleteLater();
                finish(false, QStringLiteral("The model went away."));
                return;
            }
            if (m_shots[m_next].isReady(*m_model)) {
                poll->deleteLater();
                waitForFrames();
            } else if (waited->hasExpired(60'000)) {
                poll->deleteLater();
                finish(false, QStringLiteral("%1 was never ready.").arg(m_shots[m_next].name));
            }
        });
        poll->start();
        return;
    }
    waitForFrames();
}

void Snapshotter::waitForFrames()
{
    m_waitingForFrame = true;
    m_framesToWait = 2;
    m_frameTimeout.start();
    m_window->update();
}

void Snapshotter::capture()
{
    if (!m_waitingForFrame)
        return;
    m_waitingForFrame = false;
    m_frameTimeout.stop();
    if (!m_window) {
        finish(false, QStringLiteral("The main window went away."));
        return;
    }

    const QString path = QDir(m_folder).filePath(m_shots[m_next].name + QStringLiteral(".png"));
    const QImage image = m_window->grabWindow();
    if (image.isNull() || !image.save(path, "PNG")) {
        finish(false, QStringLiteral("Could not write %1.").arg(path));
        return;
    }
    ++m_next;
    // Leave the frame signal's delivery before the next section changes the scene.
    QTimer::singleShot(0, this, &Snapshotter::showNext);
}

void Snapshotter::finish(bool succeeded, const QString& message)
{
    Q_EMIT finished(succeeded, message);
}

} // namespace tarno
