#include "Tarno/DuplicatesScreen.hpp"

#include "Tarno/ScreenText.hpp"

#include "TarnoCore/Foundation/Overloaded.hpp"

#include <QUrl>

#include <numeric>

namespace tarno {

DuplicatesScreen::DuplicatesScreen(QObject* parent)
    : QObject(parent)
    , m_rows(new DuplicatesRows(this))
{
}

void DuplicatesScreen::setModel(DuplicatesModel* model)
{
    if (m_model == model)
        return;
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model) {
        for (auto signal : {&DuplicatesModel::phaseChanged, &DuplicatesModel::stageChanged,
                            &DuplicatesModel::groupsChanged, &DuplicatesModel::thresholdChanged,
                            &DuplicatesModel::selectionChanged, &DuplicatesModel::failuresChanged,
                            &DuplicatesModel::hasPhotosLibraryChanged})
            connect(m_model, signal, this, &DuplicatesScreen::refresh);
        connect(m_model, &DuplicatesModel::thumbnailLoaded, this, &DuplicatesScreen::thumbnailLoaded);
    }
    refresh();
    Q_EMIT modelChanged();
}

QString DuplicatesScreen::photosLibraryText() const
{
    return QStringLiteral("In Photos, open Duplicates under Utilities to merge them. Tarno leaves your Photos library "
                          "alone: changing files inside it would damage it.");
}

QString DuplicatesScreen::selectExtraToolTip() const
{
    return QStringLiteral("Keeps one copy in each set: the oldest, preferring one outside Downloads whose name "
                          "doesn't end in “copy” or “(1)”.");
}

QString DuplicatesScreen::describe(const DuplicateFinder::Stage& stage)
{
    return std::visit(Overloaded{
                          [](const DuplicateFinder::Looking& looking) {
                              QString label = QStringLiteral("Looking through your folders…");
                              if (looking.files > 0)
                                  label += QLatin1Char(' ') + ScreenText::count(looking.files)
                                           + QStringLiteral(" files so far");
                              return label;
                          },
                          [](const DuplicateFinder::Comparing& comparing) {
                              return QStringLiteral("Comparing files that could be the same… ")
                                     + ScreenText::count(comparing.done) + QStringLiteral(" of ")
                                     + ScreenText::count(comparing.of);
                          },
                      },
                      stage);
}

DuplicatesScreen::State DuplicatesScreen::currentState() const
{
    State state;
    if (!m_model)
        return state;
    const DuplicatesModel& model = *m_model;
    state.thresholdIndex = sizeChoiceIndex(thresholds, model.threshold());
    state.searchAgainEnabled = model.phase() != DuplicatesModel::Phase::searching;
    if (model.phase() != DuplicatesModel::Phase::ready) {
        state.content = Content::Progress;
        state.progressText = describe(model.stage());
        return state;
    }

    if (!model.failures().empty()) {
        state.failuresTitle = ScreenText::trashFailuresTitle(model.failures());
        state.failuresDetail = ScreenText::trashFailuresDetail(model.failures(), model.home());
    }
    state.showsPhotosLibrary = model.hasPhotosLibrary();
    const std::vector<DuplicateGroup> visible = model.visibleGroups();
    if (visible.empty()) {
        state.content = Content::Empty;
        return state;
    }
    state.content = Content::List;
    const std::int64_t reclaimable =
        std::accumulate(visible.begin(), visible.end(), std::int64_t{0},
                        [](std::int64_t sum, const DuplicateGroup& group) { return sum + group.reclaimable(); });
    state.footerText =
        QStringLiteral("%1 sets, ").arg(visible.size()) + ScreenText::bytes(reclaimable) + QStringLiteral(" to free");

    const std::vector<DuplicateFile> selected = model.selectedFiles();
    if (selected.empty())
        return state;
    const QString size = ScreenText::bytes(model.selectedBytes());
    state.selectedText = QStringLiteral("%1 selected, frees ").arg(selected.size()) + size;
    state.confirmationTitle = selected.size() == 1
                                  ? QStringLiteral("Move ") + ScreenText::quoted(selected.front().name())
                                        + QStringLiteral(" to the Trash?")
                                  : QStringLiteral("Move %1 files to the Trash?").arg(selected.size());
    state.confirmationText = QStringLiteral("That frees ") + size
                             + QStringLiteral(" once you empty the Trash, and you can put them back until then.");
    if (const int losing = model.setsLosingEveryCopy(); losing == 1)
        state.confirmationText += QStringLiteral(" Every copy of one file is selected, so none would stay outside "
                                                 "the Trash.");
    else if (losing > 1)
        state.confirmationText += QStringLiteral(" Every copy of %1 files is selected, so none would stay outside "
                                                 "the Trash.")
                                      .arg(losing);
    return state;
}

void DuplicatesScreen::refresh()
{
    std::vector<DuplicatesRow> rows;
    if (m_model && m_model->phase() == DuplicatesModel::Phase::ready) {
        for (const DuplicateGroup& group : m_model->visibleGroups()) {
            if (group.files.empty())
                continue;
            DuplicatesRow header;
            header.key = QStringLiteral("set:") + ScreenText::text(group.hash);
            header.isHeader = true;
            header.name = ScreenText::text(group.files.front().name());
            header.countText = QStringLiteral("%1 copies").arg(group.files.size());
            header.sizeText = ScreenText::bytes(group.files.front().bytes) + QStringLiteral(" each");
            rows.push_back(std::move(header));
            for (const DuplicateFile& file : group.files) {
                DuplicatesRow row;
                row.key = QStringLiteral("file:") + ScreenText::text(file.path);
                row.path = ScreenText::text(file.path);
                row.name = ScreenText::text(file.name());
                row.folderText = ScreenText::tildePath(file.folder(), m_model->home());
                row.folderToolTip = ScreenText::text(file.folder());
                row.modifiedText = ScreenText::day(file.modified);
                row.isChecked = m_model->selection().contains(file.path);
                row.isKeeper = &file == &group.files.front();
                rows.push_back(std::move(row));
            }
        }
    }
    m_rows->update(std::move(rows));

    State state = currentState();
    if (state == m_state)
        return;
    m_state = std::move(state);
    Q_EMIT changed();
}

// MARK: Actions

void DuplicatesScreen::appeared()
{
    if (m_model && m_model->phase() == DuplicatesModel::Phase::idle)
        m_model->find();
}

void DuplicatesScreen::searchAgain()
{
    if (m_model)
        m_model->find();
}

void DuplicatesScreen::setThresholdIndex(int index)
{
    if (m_model && index >= 0 && index < static_cast<int>(std::size(thresholds)))
        m_model->setThreshold(thresholds[index].bytes);
}

void DuplicatesScreen::setSelected(const QString& path, bool selected)
{
    if (!m_model)
        return;
    std::set<std::string> selection = m_model->selection();
    if (selected)
        selection.insert(path.toStdString());
    else
        selection.erase(path.toStdString());
    m_model->setSelection(std::move(selection));
}

void DuplicatesScreen::selectExtraCopies()
{
    if (m_model)
        m_model->selectExtraCopies();
}

void DuplicatesScreen::askToTrash()
{
    if (m_model && !m_state.selectedText.isEmpty())
        m_model->setConfirming(true);
}

void DuplicatesScreen::cancelTrash()
{
    if (m_model)
        m_model->setConfirming(false);
}

void DuplicatesScreen::confirmTrash()
{
    if (!m_model)
        return;
    m_model->setConfirming(false);
    m_model->moveToTrash();
}

void DuplicatesScreen::dismissFailures()
{
    if (m_model)
        m_model->setFailures({});
}

void DuplicatesScreen::openPhotos()
{
    if (canOpenPhotos())
        m_model->machine().openPhotos();
}

void DuplicatesScreen::reveal(const QString& path)
{
    if (m_model && m_model->machine().reveal)
        m_model->machine().reveal({path.toStdString()});
}

void DuplicatesScreen::loadThumbnail(const QString& path)
{
    if (m_model)
        m_model->loadThumbnail(path.toStdString());
}

bool DuplicatesScreen::hasThumbnail(const QString& path) const
{
    return m_model && !m_model->thumbnail(path.toStdString()).isNull();
}

QString DuplicatesScreen::thumbnailSource(const QString& path) const
{
    return QStringLiteral("image://thumbnail/") + QString::fromLatin1(QUrl::toPercentEncoding(path));
}

} // namespace tarno
