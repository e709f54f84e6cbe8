#include "Tarno/LargeFilesScreen.hpp"

#include "Tarno/ScreenText.hpp"

#include <QUrl>

#include <algorithm>
#include <numeric>

namespace tarno {
namespace {

std::int64_t totalBytes(const std::vector<LargeFile>& files)
{
    return std::accumulate(files.begin(), files.end(), std::int64_t{0},
                           [](std::int64_t sum, const LargeFile& file) { return sum + file.bytes; });
}

// The icon of the file's type: the extension is all that decides it.
QString typeIconSource(const std::string& name)
{
    const std::size_t dot = name.rfind('.');
    const QString extension = dot == std::string::npos || dot == 0 ? QString()
                                                                   : ScreenText::text(name.substr(dot)).toLower();
    return QStringLiteral("image://filetype/file") + QString::fromLatin1(QUrl::toPercentEncoding(extension));
}

} // namespace

LargeFilesScreen::LargeFilesScreen(QObject* parent)
    : QObject(parent)
    , m_rows(new LargeFilesRows(this))
{
}

void LargeFilesScreen::setModel(LargeFilesModel* model)
{
    if (m_model == model)
        return;
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model) {
        for (auto signal : {&LargeFilesModel::phaseChanged, &LargeFilesModel::filesChanged,
                            &LargeFilesModel::filesExaminedChanged, &LargeFilesModel::thresholdChanged,
                            &LargeFilesModel::failuresChanged, &LargeFilesModel::hasFullDiskAccessChanged})
            connect(m_model, signal, this, &LargeFilesScreen::refresh);
    }
    refresh();
    Q_EMIT modelChanged();
}

QStringList LargeFilesScreen::columnTitles() const
{
    return {QStringLiteral("Name"), QStringLiteral("Size"), QStringLiteral("Last Changed"), QStringLiteral("Folder")};
}

std::vector<LargeFile> LargeFilesScreen::selectedFiles() const
{
    std::vector<LargeFile> selected;
    if (!m_model)
        return selected;
    for (const LargeFile& file : m_model->visibleFiles()) {
        if (m_selection.contains(file.path))
            selected.push_back(file);
    }
    return selected;
}

LargeFilesScreen::State LargeFilesScreen::currentState() const
{
    State state;
    if (!m_model)
        return state;
    const LargeFilesModel& model = *m_model;
    state.thresholdIndex = sizeChoiceIndex(thresholds, model.threshold());
    state.searchAgainEnabled = model.phase() != LargeFilesModel::Phase::searching;

    const std::vector<LargeFile> visible = model.visibleFiles();
    if (model.phase() != LargeFilesModel::Phase::ready) {
        state.content = Content::Progress;
        state.progressText = QStringLiteral("Searching your home folder…");
        if (model.filesExamined() > 0)
            state.progressText += QLatin1Char(' ') + ScreenText::count(model.filesExamined())
                                  + QStringLiteral(" files so far");
        return state;
    }
    if (visible.empty()) {
        state.content = Content::Empty;
        return state;
    }
    state.content = Content::List;
    if (!model.failures().empty()) {
        state.failuresTitle = ScreenText::trashFailuresTitle(model.failures());
        state.failuresDetail = ScreenText::trashFailuresDetail(model.failures(), model.home());
    }
    state.footerText = QStringLiteral("%1 files, ").arg(visible.size()) + ScreenText::bytes(totalBytes(visible))
                       + QStringLiteral(" in total");
    if (!model.hasFullDiskAccess())
        state.accessNote = QStringLiteral("Other apps' private data is not searched without Full Disk Access.");

    const std::vector<LargeFile> selected = selectedFiles();
    if (!selected.empty()) {
        const QString size = ScreenText::bytes(totalBytes(selected));
        state.selectedText = QStringLiteral("%1 selected, ").arg(selected.size()) + size;
        state.confirmationTitle = selected.size() == 1
                                      ? QStringLiteral("Move ") + ScreenText::quoted(selected.front().name())
                                            + QStringLiteral(" (") + size + QStringLiteral(") to the Trash?")
                                      : QStringLiteral("Move %1 files (").arg(selected.size()) + size
                                            + QStringLiteral(") to the Trash?");
    }
    return state;
}

void LargeFilesScreen::refresh()
{
    std::vector<LargeFilesRow> rows;
    if (m_model && m_model->phase() == LargeFilesModel::Phase::ready) {
        const std::vector<std::string> appFolders =
            m_model->machine().appDataFolders ? m_model->machine().appDataFolders(m_model->home())
                                              : std::vector<std::string>{};
        for (const LargeFile& file : m_model->visibleFiles()) {
            LargeFilesRow row;
            row.key = row.path = ScreenText::text(file.path);
            row.name = ScreenText::text(file.name());
            row.iconSource = typeIconSource(file.name());
            row.belongsToApp = LargeFileFinder::isInside(file.path, appFolders);
            row.sizeText = ScreenText::bytes(file.bytes);
            row.modifiedText = ScreenText::day(file.modified);
            row.folderText = ScreenText::tildePath(file.folder(), m_model->home());
            row.folderToolTip = ScreenText::text(file.folder());
            row.isSelected = m_selection.contains(file.path);
            rows.push_back(std::move(row));
        }
    }
    m_rows->update(std::move(rows));

    State state = currentState();
    if (state == m_state)
        return;
    m_state = std::move(state);
    Q_EMIT changed();
}

void LargeFilesScreen::setSelection(std::set<std::string> selection)
{
    if (selection == m_selection)
        return;
    m_selection = std::move(selection);
    refresh();
}

void LargeFilesScreen::setConfirming(bool confirming)
{
    if (confirming == m_isConfirming)
        return;
    m_isConfirming = confirming;
    Q_EMIT changed();
}

// MARK: Actions

void LargeFilesScreen::appeared()
{
    if (m_model && m_model->phase() == LargeFilesModel::Phase::idle)
        m_model->findLargeFiles();
}

void LargeFilesScreen::searchAgain()
{
    if (m_model)
        m_model->findLargeFiles();
}

void LargeFilesScreen::setThresholdIndex(int index)
{
    if (m_model && index >= 0 && index < static_cast<int>(std::size(thresholds)))
        m_model->setThreshold(thresholds[index].bytes);
}

void LargeFilesScreen::setSelected(const QString& path, bool selected)
{
    std::set<std::string> selection = m_selection;
    if (selected)
        selection.insert(path.toStdString());
    else
        selection.erase(path.toStdString());
    setSelection(std::move(selection));
}

void LargeFilesScreen::click(const QString& clicked, int modifiers)
{
    const std::string path = clicked.toStdString();
    if ((modifiers & Qt::ShiftModifier) && !m_anchor.empty() && m_model) {
        const std::vector<LargeFile> visible = m_model->visibleFiles();
        const auto position = [&](const std::string& wanted) {
            return std::find_if(visible.begin(), visible.end(), [&](const LargeFile& file) { return file.path == wanted; });
        };
        auto from = position(m_anchor), to = position(path);
        if (from != visible.end() && to != visible.end()) {
            if (to < from)
                std::swap(from, to);
            std::set<std::string> range;
            for (auto file = from; file <= to; ++file)
                range.insert(file->path);
            setSelection(std::move(range));
            return;
        }
    }
    m_anchor = path;
    if (modifiers & Qt::ControlModifier)
        setSelected(clicked, !m_selection.contains(path));
    else
        setSelection({path});
}

void LargeFilesScreen::rightClick(const QString& clicked)
{
    if (!m_selection.contains(clicked.toStdString()))
        click(clicked, Qt::NoModifier);
}

void LargeFilesScreen::selectAll()
{
    std::set<std::string> all;
    if (m_model) {
        for (const LargeFile& file : m_model->visibleFiles())
            all.insert(file.path);
    }
    setSelection(std::move(all));
}

void LargeFilesScreen::revealSelection()
{
    std::vector<std::string> paths;
    for (const LargeFile& file : selectedFiles())
        paths.push_back(file.path);
    if (m_model && !paths.empty() && m_model->machine().reveal)
        m_model->machine().reveal(paths);
}

void LargeFilesScreen::askToTrashSelection()
{
    if (!selectedFiles().empty())
        setConfirming(true);
}

void LargeFilesScreen::cancelTrash()
{
    setConfirming(false);
}

void LargeFilesScreen::confirmTrash()
{
    setConfirming(false);
    if (!m_model)
        return;
    const std::vector<LargeFile> files = selectedFiles();
    if (files.empty())
        return;
    m_model->moveToTrash(files);
    setSelection({});
}

void LargeFilesScreen::dismissFailures()
{
    if (m_model)
        m_model->setFailures({});
}

} // namespace tarno
