#include "Tarno/CleanupScreen.hpp"

#include "TarnoCore/Cleanup/AdminCleanup.hpp"
#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Foundation/TildePath.hpp"

#include <QClipboard>
#include <QGuiApplication>

#include <algorithm>
#include <numeric>

namespace tarno {
namespace {

QString bytesText(std::int64_t bytes)
{
    return QString::fromStdString(ByteFormat::string(bytes));
}

std::int64_t totalSize(const CleanupModel& model, const std::vector<CleanupItem>& items)
{
    return std::accumulate(items.begin(), items.end(), std::int64_t{0},
                           [&model](std::int64_t sum, const CleanupItem& item) { return sum + model.measuredBytes(item.id); });
}

bool isBusy(CleanupModel::Phase phase)
{
    return phase == CleanupModel::Phase::scanning || phase == CleanupModel::Phase::cleaning;
}


} // namespace

std::vector<CleanupRow> cleanupRows(const CleanupModel& model)
{
    std::vector<CleanupRow> rows;
    const bool isCleaning = model.phase() == CleanupModel::Phase::cleaning;
    for (CleanupCategory category : model.categories()) {
        const std::vector<CleanupItem> items = model.items(category);

        CleanupRow header;
        header.kind = CleanupRow::Kind::header;
        header.id = QString::fromUtf8(rawValue(category));
        header.key = QStringLiteral("header:") + header.id;
        header.title = QString::fromUtf8(title(category));
        header.symbol = QString::fromUtf8(symbol(category));
        header.categoryIndex = static_cast<int>(category);
        header.sizeText = bytesText(totalSize(model, items));
        const auto selectable = [](const CleanupItem& item) { return !item.requiresAdmin; };
        if (std::any_of(items.begin(), items.end(), selectable)) {
            const bool allSelected = std::all_of(items.begin(), items.end(), [&model](const CleanupItem& item) {
                return item.requiresAdmin || model.selection().contains(item.id);
            });
            header.selectionButton = allSelected ? QStringLiteral("Deselect All") : QStringLiteral("Select All");
        }
        rows.push_back(std::move(header));

        for (const CleanupItem& item : items) {
            CleanupRow row;
            row.kind = CleanupRow::Kind::item;
            row.id = QString::fromStdString(item.id);
            row.key = QStringLiteral("item:") + row.id;
            row.title = QString::fromStdString(item.title);
            row.categoryIndex = static_cast<int>(category);
            row.sizeText = bytesText(model.measuredBytes(item.id));
            row.detail = QString::fromStdString(item.consequence);
            if (item.requiresAdmin) {
                const bool hasPasswordRoad = AdminCleanup::command(item.action.paths()).has_value();
                row.symbol = QStringLiteral("lock");
                row.detail.prepend(hasPasswordRoad
                                       ? QStringLiteral("Belongs to the system, so macOS asks for your password. ")
                                       : QStringLiteral("Needs an administrator: paste the command into Terminal. "));
                row.adminButton = hasPasswordRoad ? QStringLiteral("Clean with Password…") : QStringLiteral("Copy Command");
                row.adminButtonEnabled = !hasPasswordRoad || model.phase() == CleanupModel::Phase::ready;
            } else {
                row.hasCheckbox = true;
                row.isChecked = model.selection().contains(item.id);
                row.checkboxEnabled = !isCleaning;
            }
            if (item.safety == Safety::review) {
                row.badges.append(QStringLiteral("Your call"));
                row.badgeTones.append(QStringLiteral("orange"));
            }
            if (item.action.as<CleanupAction::Trash>() != nullptr) {
                row.badges.append(QStringLiteral("To Trash"));
                row.badgeTones.append(QStringLiteral("blue"));
            }
            rows.push_back(std::move(row));
        }
    }
    return rows;
}

CleanupScreen::CleanupScreen(QObject* parent)
    : QObject(parent)
    , m_rows(new CleanupRows(this))
{
}

void CleanupScreen::setModel(CleanupModel* model)
{
    if (m_model == model)
        return;
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model) {
        for (auto signal : {&CleanupModel::phaseChanged, &CleanupModel::itemsChanged, &CleanupModel::sizesChanged,
                            &CleanupModel::selectionChanged, &CleanupModel::cleanSummaryChanged,
                            &CleanupModel::cleaningTitleChanged, &CleanupModel::dockerStatusChanged,
                            &CleanupModel::hasFullDiskAccessChanged})
            connect(m_model, signal, this, &CleanupScreen::refresh);
    }
    refresh();
    Q_EMIT modelChanged();
}

QString CleanupScreen::dockerDetail() const
{
    return QStringLiteral("Its images, containers and volumes sit inside Docker's own disk, which only Docker can tidy. "
                          "Start it, then rescan.");
}

QString CleanupScreen::openDockerLabel() const
{
    return m_model && m_model->machine().dockerApplication ? QStringLiteral("Open Docker") : QString();
}

CleanupScreen::State CleanupScreen::currentState() const
{
    State state;
    if (!m_model)
        return state;
    const CleanupModel& model = *m_model;
    const CleanupModel::Phase phase = model.phase();
    const std::vector<CleanupItem> visible = model.visibleItems();
    const std::vector<CleanupItem> selected = model.selectedItems();
    const std::optional<CleanSummary>& summary = model.cleanSummary();

    if (visible.empty() && !summary) {
        if (phase == CleanupModel::Phase::ready) {
            state.content = Content::Empty;
            state.stateTitle = QStringLiteral("Nothing to clean");
            state.stateSymbol = QStringLiteral("checkmark.circle");
            state.stateText = QStringLiteral("Tarno found no caches or leftovers worth removing.");
        } else {
            state.content = Content::Spinner;
            state.stateText = QStringLiteral("Looking for things to clean…");
        }
    } else {
        state.content = Content::List;
    }
    state.rescanEnabled = !isBusy(phase);

    if (summary) {
        state.showsSummary = true;
        state.summaryTitle = summaryTitle(*summary);
        state.summaryDetail = summaryDetail(*summary);
        state.summarySymbol = summary->failures.empty() ? QStringLiteral("checkmark.circle.fill")
                                                        : QStringLiteral("exclamationmark.triangle.fill");
        if (!summary->failures.empty()) {
            state.failuresTitle = QStringLiteral("%1 could not be removed").arg(summary->failures.size());
            for (const CleanReport::Failure& failure : summary->failures)
                state.failureLines.append(failureLine(failure, model.home()));
        }
    }
    state.showsFullDiskAccessBanner = !model.hasFullDiskAccess();
    state.showsDockerBanner = model.dockerStatus().isNotRunning();

    switch (phase) {
    case CleanupModel::Phase::idle:
    case CleanupModel::Phase::scanning:
        state.footerIsBusy = true;
        state.footerText = QStringLiteral("Measuring %1 of %2…").arg(model.sizes().size()).arg(model.items().size());
        break;
    case CleanupModel::Phase::ready:
        state.footerText = selected.size() == 1 ? QStringLiteral("1 item selected")
                                                : QStringLiteral("%1 items selected").arg(selected.size());
        break;
    case CleanupModel::Phase::cleaning:
        state.footerIsBusy = true;
        state.footerText = QStringLiteral("Cleaning %1…").arg(model.cleaningTitle().value_or(QString()));
        break;
    }
    const std::int64_t selectedBytes = totalSize(model, selected);
    if (selectedBytes > 0)
        state.selectedBytesText = bytesText(selectedBytes);
    state.cleanEnabled = phase == CleanupModel::Phase::ready && !selected.empty();

    state.confirmationTitle = QStringLiteral("Clean %1?").arg(bytesText(selectedBytes));
    const bool allToTrash = std::all_of(selected.begin(), selected.end(), [](const CleanupItem& item) {
        return item.action.as<CleanupAction::Trash>() != nullptr;
    });
    state.confirmationText = allToTrash ? QStringLiteral("These items are moved to the Trash.")
                                        : QStringLiteral("These items are deleted for good and cannot be restored. "
                                                         "Here is what each one costs you.");
    for (const CleanupItem& item : selected) {
        state.confirmationItems.append(QVariantMap{
            {QStringLiteral("title"), QString::fromStdString(item.title)},
            {QStringLiteral("consequence"), QString::fromStdString(item.consequence)},
            {QStringLiteral("sizeText"), bytesText(model.measuredBytes(item.id))},
        });
    }
    return state;
}

void CleanupScreen::refresh()
{
    State state = currentState();
    m_rows->update(m_model ? cleanupRows(*m_model) : std::vector<CleanupRow>{});
    if (state == m_state)
        return;
    m_state = std::move(state);
    Q_EMIT changed();
}

void CleanupScreen::appeared()
{
    if (m_model && m_model->phase() == CleanupModel::Phase::idle)
        m_model->scan();
}

void CleanupScreen::rescan()
{
    if (m_model)
        m_model->scan();
}

void CleanupScreen::setItemSelected(const QString& id, bool selected)
{
    if (!m_model)
        return;
    const CleanupItem* item = m_model->item(id.toStdString());
    if (!item || item->requiresAdmin || m_model->phase() == CleanupModel::Phase::cleaning)
        return;
    std::set<std::string> selection = m_model->selection();
    if (selected)
        selection.insert(item->id);
    else
        selection.erase(item->id);
    m_model->setSelection(std::move(selection));
}

void CleanupScreen::toggleCategory(const QString& raw)
{
    if (!m_model)
        return;
    const std::optional<CleanupCategory> category = cleanupCategory(raw.toStdString());
    if (!category)
        return;
    std::vector<std::string> selectable;
    for (const CleanupItem& item : m_model->items(*category)) {
        if (!item.requiresAdmin)
            selectable.push_back(item.id);
    }
    std::set<std::string> selection = m_model->selection();
    const bool allSelected = std::all_of(selectable.begin(), selectable.end(),
                                         [&selection](const std::string& id) { return selection.contains(id); });
    for (const std::string& id : selectable) {
        if (allSelected)
            selection.erase(id);
        else
            selection.insert(id);
    }
    m_model->setSelection(std::move(selection));
}

void CleanupScreen::adminAction(const QString& id)
{
    if (!m_model)
        return;
    const CleanupItem* item = m_model->item(id.toStdString());
    if (!item || !item->requiresAdmin)
        return;
    if (AdminCleanup::command(item->action.paths())) {
        m_model->cleanWithPassword(*item);
        return;
    }
    QGuiApplication::clipboard()->clear();
    QGuiApplication::clipboard()->setText(commandToCopy(id));
}

QString CleanupScreen::commandToCopy(const QString& id) const
{
    const CleanupItem* item = m_model ? m_model->item(id.toStdString()) : nullptr;
    return item ? removalCommand(item->action.paths()) : QString();
}

void CleanupScreen::openDocker()
{
    if (m_model && m_model->machine().dockerApplication && m_model->machine().launch)
        m_model->machine().launch(*m_model->machine().dockerApplication);
}

void CleanupScreen::dismissSummary()
{
    if (m_model)
        m_model->setCleanSummary(std::nullopt);
}

void CleanupScreen::askToClean()
{
    if (m_model && m_state.cleanEnabled)
        m_model->setConfirmingClean(true);
}

void CleanupScreen::cancelClean()
{
    if (m_model)
        m_model->setConfirmingClean(false);
}

void CleanupScreen::confirmClean()
{
    if (!m_model)
        return;
    m_model->setConfirmingClean(false);
    m_model->clean();
}

QString CleanupScreen::summaryTitle(const CleanSummary& summary)
{
    if (summary.freed < 1 && summary.trashed != 0)
        return QStringLiteral("Moved %1 to the Trash").arg(bytesText(summary.trashed));
    return QStringLiteral("Freed %1").arg(bytesText(summary.freed));
}

QString CleanupScreen::summaryDetail(const CleanSummary& summary)
{
    QStringList sentences;
    if (summary.freed > 0 && summary.trashed > 0)
        sentences.append(QStringLiteral("Another %1 is in the Trash. Empty it to get that space back.")
                             .arg(bytesText(summary.trashed)));
    if (summary.insideDocker > 0)
        sentences.append(QStringLiteral("%1 of it was inside Docker, which hands the space back to macOS over the next "
                                        "few minutes.")
                             .arg(bytesText(summary.insideDocker)));
    return sentences.join(QLatin1Char(' '));
}

QString CleanupScreen::failureLine(const CleanReport::Failure& failure, const std::string& home)
{
    return QString::fromStdString(withTilde(failure.path, home) + ": " + failure.reason);
}

QString CleanupScreen::removalCommand(const std::vector<std::string>& paths)
{
    std::string command = "sudo rm -rf";
    for (const std::string& path : paths)
        command += " " + AdminCleanup::quotedForShell(path);
    return QString::fromStdString(command);
}

} // namespace tarno
