#include "Tarno/ProjectsScreen.hpp"

#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Foundation/Overloaded.hpp"
#include "TarnoCore/Foundation/RelativeDate.hpp"
#include "TarnoCore/Foundation/TildePath.hpp"
#include "TarnoCore/Projects/ProjectRemoval.hpp"

#include <QLocale>

#include <algorithm>

namespace tarno {
namespace {

using Clock = std::chrono::system_clock;

QString bytesText(std::int64_t bytes)
{
    return QString::fromStdString(ByteFormat::string(bytes));
}

QString text(const std::string& value)
{
    return QString::fromStdString(value);
}

QString changed(const std::optional<Clock::time_point>& date, Clock::time_point now)
{
    return date ? QStringLiteral("changed ") + text(RelativeDate::named(*date, now)) : QString();
}

QString selectionButton(const std::vector<std::string>& paths, const std::set<std::string>& selection)
{
    const bool all = std::all_of(paths.begin(), paths.end(), [&](const auto& path) { return selection.contains(path); });
    return all ? QStringLiteral("Deselect All") : QStringLiteral("Select All");
}

// The header of a section of rows that can be picked.
ProjectsRow header(QString key, QString title, QString symbol, const std::vector<std::string>& paths,
                   const std::set<std::string>& selection, std::int64_t bytes)
{
    ProjectsRow row;
    row.kind = ProjectsRow::Kind::header;
    row.key = std::move(key);
    row.title = std::move(title);
    row.symbol = std::move(symbol);
    row.sizeText = bytesText(bytes);
    row.selectionButton = selectionButton(paths, selection);
    return row;
}

QString ignoredFilesLine(const std::vector<std::string>& files)
{
    if (files.empty())
        return {};
    QStringList shown;
    for (std::size_t index = 0; index < std::min<std::size_t>(files.size(), 4); ++index)
        shown.append(text(files[index]));
    QString line = QStringLiteral("Also deletes ignored files: ") + shown.join(QStringLiteral(", "));
    if (files.size() > 4)
        line += QStringLiteral(" and %1 more").arg(files.size() - 4);
    return line;
}

ProjectsRow worktreeRow(const ProjectScan::WorktreeRow& scanned, const ProjectsModel& model, Clock::time_point now)
{
    const Worktree& worktree = scanned.worktree;
    ProjectsRow row;
    row.kind = ProjectsRow::Kind::worktree;
    row.key = QStringLiteral("worktree:") + text(worktree.path);
    row.path = text(worktree.path);
    row.title = text(ProjectRemoval::name(scanned));
    if (worktree.canRemove()) {
        row.hasCheckbox = true;
        row.isChecked = model.selectedWorktrees().contains(worktree.path);
        row.checkboxEnabled = model.isReady();
    } else {
        row.symbol = QStringLiteral("lock");
    }
    if (scanned.isInUse) {
        row.badges.append(QStringLiteral("In use"));
        row.badgeTones.append(QStringLiteral("secondary"));
    }
    if (worktree.canRemove() && !worktree.isFinished()) {
        row.badges.append(QStringLiteral("Your call"));
        row.badgeTones.append(QStringLiteral("orange"));
    }
    QStringList details;
    if (worktree.branch)
        details.append(text(*worktree.branch));
    details.append(text(worktree.summary()));
    if (scanned.lastChange)
        details.append(changed(scanned.lastChange, now));
    if (worktree.canRemove())
        details.append(QStringLiteral("its commits stay on the branch"));
    row.detail = details.join(QStringLiteral(" · "));
    row.extra = ignoredFilesLine(worktree.ignoredFiles);
    row.sizeText = bytesText(scanned.realBytes);
    row.finderText = ProjectsScreen::finderText(scanned.realBytes, scanned.apparentBytes);
    return row;
}

ProjectsRow artifactRow(const ProjectScan::ArtifactRow& scanned, const ProjectsModel& model)
{
    ProjectsRow row;
    row.kind = ProjectsRow::Kind::artifact;
    row.key = QStringLiteral("artifact:") + text(scanned.path);
    row.path = text(scanned.path);
    row.title = text(scanned.relativePath());
    row.hasCheckbox = true;
    row.isChecked = model.selectedArtifacts().contains(scanned.path);
    row.checkboxEnabled = model.isReady();
    if (scanned.kind.safety == Safety::review) {
        row.badges.append(QStringLiteral("Your call"));
        row.badgeTones.append(QStringLiteral("orange"));
    }
    row.detail = text(scanned.kind.label + ". " + scanned.kind.restore);
    row.sizeText = bytesText(scanned.realBytes);
    row.finderText = ProjectsScreen::finderText(scanned.realBytes, scanned.apparentBytes);
    return row;
}

std::string lastComponent(const std::string& path)
{
    return path.substr(path.find_last_of('/') + 1);
}

// The paths of a section's rows, for its header.
std::vector<std::string> worktreePaths(const std::vector<ProjectScan::WorktreeRow>& rows)
{
    std::vector<std::string> paths;
    for (const auto& row : rows)
        paths.push_back(row.worktree.path);
    return paths;
}

std::vector<std::string> artifactPaths(const std::vector<ProjectScan::ArtifactRow>& rows)
{
    std::vector<std::string> paths;
    for (const auto& row : rows)
        paths.push_back(row.path);
    return paths;
}

const QString projectKeyPrefix = QStringLiteral("project:");

} // namespace

QString ProjectsRow::kindName() const
{
    switch (kind) {
    case Kind::header: return QStringLiteral("header");
    case Kind::label: return QStringLiteral("label");
    case Kind::worktree: return QStringLiteral("worktree");
    case Kind::artifact: return QStringLiteral("artifact");
    }
    return {};
}

std::vector<ProjectsRow> projectsRows(const ProjectsModel& model, Clock::time_point now)
{
    std::vector<ProjectsRow> rows;
    const std::optional<ProjectScan>& scan = model.scan();
    if (!scan)
        return rows;

    if (const auto removable = model.removableWorktrees(); !removable.empty()) {
        const std::vector<std::string> paths = worktreePaths(removable);
        rows.push_back(header(QStringLiteral("worktrees"), QStringLiteral("Git worktrees"),
                              QStringLiteral("arrow.triangle.branch"), paths, model.selectedWorktrees(),
                              scan->freed({}, {paths.begin(), paths.end()})));
        for (const auto& row : removable)
            rows.push_back(worktreeRow(row, model, now));
    }
    if (const auto kept = model.keptWorktrees(); !kept.empty()) {
        ProjectsRow label;
        label.kind = ProjectsRow::Kind::label;
        label.key = QStringLiteral("kept");
        label.title = QStringLiteral("Worktrees with work in them");
        label.symbol = QStringLiteral("lock");
        rows.push_back(std::move(label));
        for (const auto& row : kept)
            rows.push_back(worktreeRow(row, model, now));
    }
    for (const ProjectsModel::ProjectGroup& group : model.projectGroups()) {
        const std::vector<std::string> paths = artifactPaths(group.rows);
        ProjectsRow head = header(projectKeyPrefix + text(group.path), text(lastComponent(group.path)),
                                  QStringLiteral("folder"), paths, model.selectedArtifacts(),
                                  scan->freed({paths.begin(), paths.end()}, {}));
        head.path = text(group.path);
        head.detail = changed(group.lastChange, now);
        rows.push_back(std::move(head));
        for (const auto& row : group.rows)
            rows.push_back(artifactRow(row, model));
    }
    return rows;
}

ProjectsScreen::ProjectsScreen(QObject* parent)
    : QObject(parent)
    , m_rows(new ProjectsRows(this))
{
}

void ProjectsScreen::setModel(ProjectsModel* model)
{
    if (m_model == model)
        return;
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model) {
        for (auto signal : {&ProjectsModel::phaseChanged, &ProjectsModel::scanChanged, &ProjectsModel::rootsChanged,
                            &ProjectsModel::selectionChanged, &ProjectsModel::summaryChanged})
            connect(m_model, signal, this, &ProjectsScreen::refresh);
    }
    refresh();
    Q_EMIT modelChanged();
}

QString ProjectsScreen::emptyText() const
{
    return QStringLiteral("Finds dependencies and build output you can regenerate, and git worktrees you have "
                          "finished with. Sizes count files shared between folders once, so they show what deleting "
                          "really frees.");
}

QString ProjectsScreen::noteText() const
{
    return QStringLiteral("Bun and pnpm share files between projects, so the same folders look several times bigger "
                          "in Finder.");
}

QString ProjectsScreen::confirmationText() const
{
    return QStringLiteral("Deleted for good. Worktrees are removed with git, which refuses if they hold uncommitted "
                          "work, and their branches and commits stay. Generated folders come back when you next build "
                          "or install.");
}

QString ProjectsScreen::describe(const ProjectScanner::Stage& stage)
{
    return std::visit(Overloaded{
                          [](const ProjectScanner::FindingProjects&) { return QStringLiteral("Finding projects…"); },
                          [](const ProjectScanner::Measuring& measuring) {
                              return QStringLiteral("Measuring %1 files and folders…")
                                  .arg(QLocale().toString(static_cast<qlonglong>(measuring.files)));
                          },
                          [](const ProjectScanner::CheckingWorktrees& checking) {
                              return checking.repositories == 1
                                         ? QStringLiteral("Checking worktrees in 1 repository…")
                                         : QStringLiteral("Checking worktrees in %1 repositories…")
                                               .arg(checking.repositories);
                          },
                      },
                      stage);
}

QString ProjectsScreen::finderText(std::int64_t real, std::int64_t apparent)
{
    if (real + real / 5 < apparent && apparent - real >= 50'000'001)
        return QStringLiteral("Finder: ") + bytesText(apparent);
    return {};
}

QString ProjectsScreen::failuresText(const CleanSummary& summary, const std::string& home)
{
    QStringList named;
    for (std::size_t index = 0; index < std::min<std::size_t>(summary.failures.size(), 2); ++index) {
        const CleanReport::Failure& failure = summary.failures[index];
        named.append(text(withTilde(failure.path, home) + ": " + failure.reason));
    }
    return QStringLiteral("%1 could not be removed. ").arg(summary.failures.size()) + named.join(QLatin1Char(' '));
}

ProjectsScreen::State ProjectsScreen::currentState() const
{
    State state;
    if (!m_model)
        return state;
    const ProjectsModel& model = *m_model;
    const std::optional<ProjectScan>& scan = model.scan();

    QStringList shortRoots, fullRoots;
    for (const std::string& root : model.roots()) {
        shortRoots.append(text(withTilde(root, model.home())));
        fullRoots.append(text(root));
    }
    state.rootsText = shortRoots.join(QStringLiteral(", "));
    state.rootsToolTip = fullRoots.join(QLatin1Char('\n'));
    state.foldersEnabled = !model.isScanning();
    state.scanAgainEnabled = !model.isScanning() && scan.has_value();

    if (const auto* scanning = std::get_if<ProjectsModel::Scanning>(&model.phase())) {
        state.content = Content::Progress;
        state.progressText = describe(scanning->stage);
    } else if (std::holds_alternative<ProjectsModel::Idle>(model.phase()) && !scan) {
        state.content = Content::Empty;
    } else {
        state.content = Content::List;
    }

    if (const std::optional<CleanSummary>& summary = model.summary()) {
        state.showsSummary = true;
        state.summaryTitle = QStringLiteral("Freed ") + bytesText(summary->freed);
        state.summarySymbol = summary->failures.empty() ? QStringLiteral("checkmark.circle.fill")
                                                        : QStringLiteral("exclamationmark.triangle.fill");
        if (!summary->failures.empty())
            state.summaryDetail = failuresText(*summary, model.home());
    }
    state.showsNote = model.sizesDifferFromFinder();

    const std::vector<ProjectScan::WorktreeRow> worktrees = model.selectedWorktreeRows();
    const std::vector<ProjectScan::ArtifactRow> artifacts = model.selectedArtifactRows();
    const std::size_t count = worktrees.size() + artifacts.size();
    const std::int64_t selectedBytes = model.selectedBytes();
    state.showsFooter = scan.has_value();
    if (const auto* cleaning = std::get_if<ProjectsModel::Cleaning>(&model.phase())) {
        state.footerIsBusy = true;
        state.footerText = QStringLiteral("Removing ") + text(cleaning->name) + QStringLiteral("…");
    } else {
        state.footerText = count == 1 ? QStringLiteral("1 item selected") : QStringLiteral("%1 items selected").arg(count);
    }
    if (selectedBytes >= 1)
        state.selectedBytesText = bytesText(selectedBytes);
    state.removeEnabled = model.isReady() && count > 0;

    state.confirmationTitle = QStringLiteral("Remove ") + bytesText(selectedBytes);
    for (const auto& row : worktrees) {
        QString detail = text(row.worktree.summary());
        if (!row.worktree.ignoredFiles.empty()) {
            QStringList files;
            for (const std::string& file : row.worktree.ignoredFiles)
                files.append(text(file));
            detail += QStringLiteral(". Also deletes ") + files.join(QStringLiteral(", ")) + QLatin1Char('.');
        }
        state.confirmationItems.append(QVariantMap{
            {QStringLiteral("title"), QStringLiteral("Worktree ") + text(ProjectRemoval::name(row))},
            {QStringLiteral("sizeText"), bytesText(row.realBytes)},
            {QStringLiteral("detail"), detail},
        });
    }
    for (const auto& row : artifacts) {
        state.confirmationItems.append(QVariantMap{
            {QStringLiteral("title"), text(ProjectRemoval::name(row))},
            {QStringLiteral("sizeText"), bytesText(row.realBytes)},
            {QStringLiteral("detail"), text(row.kind.restore)},
        });
    }
    return state;
}

void ProjectsScreen::refresh()
{
    State state = currentState();
    m_rows->update(m_model ? projectsRows(*m_model, Clock::now()) : std::vector<ProjectsRow>{});
    if (state == m_state)
        return;
    m_state = std::move(state);
    Q_EMIT changed();
}

// MARK: Actions

void ProjectsScreen::scan()
{
    if (m_model)
        m_model->scanProjects();
}

void ProjectsScreen::stop()
{
    if (m_model)
        m_model->stopScan();
}

void ProjectsScreen::changeFolders()
{
    if (m_model)
        m_model->chooseRoots();
}

void ProjectsScreen::useUsualFolders()
{
    if (m_model && !m_model->isScanning())
        m_model->setRoots(m_model->machine().defaultRoots(m_model->home()));
}

void ProjectsScreen::setWorktreeSelected(const QString& path, bool selected)
{
    if (!m_model || !m_model->isReady())
        return;
    std::set<std::string> selection = m_model->selectedWorktrees();
    if (selected)
        selection.insert(path.toStdString());
    else
        selection.erase(path.toStdString());
    m_model->setSelectedWorktrees(std::move(selection));
}

void ProjectsScreen::setArtifactSelected(const QString& path, bool selected)
{
    if (!m_model || !m_model->isReady())
        return;
    std::set<std::string> selection = m_model->selectedArtifacts();
    if (selected)
        selection.insert(path.toStdString());
    else
        selection.erase(path.toStdString());
    m_model->setSelectedArtifacts(std::move(selection));
}

void ProjectsScreen::toggleSection(const QString& key)
{
    if (!m_model || !m_model->isReady())
        return;
    const auto toggle = [](std::set<std::string> selection, const std::vector<std::string>& paths) {
        const bool all = std::all_of(paths.begin(), paths.end(), [&](const auto& path) { return selection.contains(path); });
        for (const std::string& path : paths) {
            if (all)
                selection.erase(path);
            else
                selection.insert(path);
        }
        return selection;
    };
    if (key == QStringLiteral("worktrees")) {
        m_model->setSelectedWorktrees(toggle(m_model->selectedWorktrees(), worktreePaths(m_model->removableWorktrees())));
        return;
    }
    if (!key.startsWith(projectKeyPrefix))
        return;
    const std::string project = key.mid(projectKeyPrefix.size()).toStdString();
    for (const ProjectsModel::ProjectGroup& group : m_model->projectGroups()) {
        if (group.path == project)
            m_model->setSelectedArtifacts(toggle(m_model->selectedArtifacts(), artifactPaths(group.rows)));
    }
}

void ProjectsScreen::reveal(const QString& path)
{
    if (m_model && m_model->machine().reveal)
        m_model->machine().reveal(path.toStdString());
}

void ProjectsScreen::dismissSummary()
{
    if (m_model)
        m_model->setSummary(std::nullopt);
}

void ProjectsScreen::askToRemove()
{
    if (m_model && m_state.removeEnabled)
        m_model->setConfirming(true);
}

void ProjectsScreen::cancelRemove()
{
    if (m_model)
        m_model->setConfirming(false);
}

void ProjectsScreen::confirmRemove()
{
    if (!m_model)
        return;
    m_model->setConfirming(false);
    m_model->clean();
}

} // namespace tarno
