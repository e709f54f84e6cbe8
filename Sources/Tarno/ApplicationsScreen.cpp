#include "Tarno/ApplicationsScreen.hpp"

#include "Tarno/ScreenText.hpp"

#include "TarnoCore/Foundation/RelativeDate.hpp"
#include "TarnoCore/Platform/Locations.hpp"

#include <QLocale>
#include <QUrl>
#include <QVariantMap>

#include <algorithm>
#include <chrono>

namespace tarno {
namespace {

using Phase = ApplicationsModel::Phase;

QString iconSource(const InstalledApp& app)
{
    return QStringLiteral("image://appicon/") + QString::fromLatin1(QUrl::toPercentEncoding(
                                                    ScreenText::text(app.icon.value_or(std::string()))));
}

QString kindText(const InstalledApp& app)
{
    switch (app.kind) {
    case AppKind::bundle: return {};
    case AppKind::flatpak: return QStringLiteral("Flatpak");
    case AppKind::appImage: return QStringLiteral("AppImage");
    }
    return {};
}

QString passwordToolTip(const InstalledApp& app)
{
    // Flatpak asks for itself; everything else takes the administrator's prompt.
    if (app.kind == AppKind::flatpak)
        return QStringLiteral("Installed for all users, so Flatpak asks for an administrator's password to remove it.");
    return QStringLiteral("Installed by the App Store or an installer, so Finder asks for your password to move it.");
}

QString namesInList(const std::vector<QString>& names)
{
    QStringList list(names.begin(), names.end());
    return QLocale().createSeparatedList(list);
}

} // namespace

ApplicationsScreen::ApplicationsScreen(QObject* parent)
    : QObject(parent)
    , m_rows(new ApplicationsRows(this))
{
}

void ApplicationsScreen::setModel(ApplicationsModel* model)
{
    if (m_model == model)
        return;
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model) {
        for (auto signal : {&ApplicationsModel::phaseChanged, &ApplicationsModel::appsChanged,
                            &ApplicationsModel::partsChanged, &ApplicationsModel::hasFullDiskAccessChanged,
                            &ApplicationsModel::orderChanged, &ApplicationsModel::selectionChanged,
                            &ApplicationsModel::keptPartsChanged, &ApplicationsModel::confirmingChanged,
                            &ApplicationsModel::summaryChanged, &ApplicationsModel::removingNameChanged})
            connect(m_model, signal, this, &ApplicationsScreen::refresh);
    }
    refresh();
    Q_EMIT modelChanged();
}

QStringList ApplicationsScreen::columnTitles() const
{
    return {QStringLiteral("Name"), QStringLiteral("Size"), QStringLiteral("Last Opened")};
}

QStringList ApplicationsScreen::orderNames() const
{
    QStringList names;
    for (const ApplicationsModel::Order order : ApplicationsModel::orders)
        names.append(ApplicationsModel::label(order));
    return names;
}

QString ApplicationsScreen::summarySymbol() const
{
    return summaryHasFailures() ? QStringLiteral("exclamationmark.triangle.fill") : QStringLiteral("checkmark.circle.fill");
}

QString ApplicationsScreen::partLabel(const std::string& path, const std::string& home)
{
    std::string_view rest;
    if (const std::size_t library = path.find("/Library/"); library != std::string::npos) {
        rest = std::string_view(path).substr(library + 9);
    } else {
        // Linux keeps what the Library holds in the home's base folders: named
        // from the home, or from the base folder itself where it was moved out.
        const auto isBelow = [&path](const std::string& folder) {
            return path.size() > folder.size() + 1 && path.starts_with(folder) && path[folder.size()] == '/';
        };
        const Platform::UserFolders folders = Platform::userFolders(home);
        for (const std::string& base : {folders.config, folders.data, folders.cache}) {
            if (!isBelow(base))
                continue;
            const std::size_t from = isBelow(home) ? home.size() + 1 : path.rfind('/', base.size() - 1) + 1;
            rest = std::string_view(path).substr(from);
            break;
        }
    }
    if (rest.empty())
        return ScreenText::tildePath(path, home);
    QString label;
    for (const QString& part : ScreenText::text(std::string(rest)).split(QLatin1Char('/'), Qt::SkipEmptyParts))
        label += (label.isEmpty() ? QString() : QStringLiteral(" › ")) + part;
    return label;
}

ApplicationsScreen::State ApplicationsScreen::currentState() const
{
    State state;
    if (!m_model)
        return state;
    const ApplicationsModel& model = *m_model;
    const Phase phase = model.phase();
    const auto order = std::find(std::begin(ApplicationsModel::orders), std::end(ApplicationsModel::orders),
                                 model.order());
    state.orderIndex = static_cast<int>(order - std::begin(ApplicationsModel::orders));
    state.rescanEnabled = phase != Phase::scanning && phase != Phase::removing;

    if (model.apps().empty() && !model.summary())
        state.content = phase == Phase::ready ? Content::Empty : Content::Progress;
    else
        state.content = Content::List;

    if (const std::optional<UninstallSummary>& summary = model.summary()) {
        const std::size_t count = summary->apps.size();
        state.summaryTitle = count == 0 ? QStringLiteral("Nothing was uninstalled")
                             : count == 1
                                 ? QStringLiteral("Moved ") + ScreenText::text(summary->apps.front())
                                       + QStringLiteral(" to the Trash")
                                 : QStringLiteral("Moved %1 apps to the Trash").arg(count);
        if (summary->trashed >= 1)
            state.summaryDetail = ScreenText::bytes(summary->trashed) + QStringLiteral(" comes back when you empty the Trash.");
        if (!summary->failures.empty()) {
            state.failuresTitle = summary->failures.size() == 1
                                      ? QStringLiteral("1 item stayed")
                                      : QStringLiteral("%1 items stayed").arg(summary->failures.size());
            for (const CleanReport::Failure& failure : summary->failures)
                state.failureLines.append(ScreenText::tildePath(failure.path, model.home()) + QStringLiteral(": ")
                                          + ScreenText::text(failure.reason));
        }
    }
    state.showsAccessBanner = state.content == Content::List && !model.hasFullDiskAccess();

    switch (phase) {
    case Phase::idle:
    case Phase::scanning:
        state.footerIsBusy = true;
        state.footerText = model.apps().empty()
                               ? progressText()
                               : QStringLiteral("Measuring %1 of %2…").arg(model.parts().size()).arg(model.apps().size());
        break;
    case Phase::removing:
        state.footerIsBusy = true;
        state.footerText = QStringLiteral("Uninstalling ") + ScreenText::text(model.removingName().value_or(std::string()))
                           + QStringLiteral("…");
        break;
    case Phase::ready: {
        std::int64_t total = 0;
        for (const InstalledApp& app : model.apps())
            total += model.bytes(app).value_or(0);
        state.footerText = QStringLiteral("%1 apps, ").arg(model.apps().size()) + ScreenText::bytes(total)
                           + QStringLiteral(" with their data");
        state.showsLeftoversLink = true;
        break;
    }
    }
    // Summed once: the footer and the sheet say the same.
    if (!model.selection().empty())
        state.selectedBytesText = ScreenText::bytes(model.selectedBytes());
    state.uninstallEnabled = phase == Phase::ready && !model.selection().empty();

    state.isConfirming = model.isConfirming();
    const std::vector<InstalledApp> selected = model.selectedApps();
    if (!selected.empty()) {
        const bool one = selected.size() == 1;
        state.confirmationTitle = one ? QStringLiteral("Uninstall ") + ScreenText::text(selected.front().name)
                                            + QStringLiteral("?")
                                      : QStringLiteral("Uninstall %1 apps?").arg(selected.size());
        state.confirmationText = (one ? QStringLiteral("The app") : QStringLiteral("Each app"))
                                 + QStringLiteral(" and what it keeps in your Library move to the Trash, ")
                                 + state.selectedBytesText
                                 + QStringLiteral(" in all. Open apps are asked to quit first. Untick anything you "
                                                  "want to keep.");
        std::vector<QString> locked;
        for (const InstalledApp& app : selected) {
            if (app.needsPassword)
                locked.push_back(ScreenText::text(app.name));
        }
        if (!locked.empty())
            state.passwordNote = QStringLiteral("Finder asks for your password to move ") + namesInList(locked)
                                 + QStringLiteral(": ")
                                 + (locked.size() == 1 ? QStringLiteral("it belongs") : QStringLiteral("they belong"))
                                 + QStringLiteral(" to the system.");
        for (const InstalledApp& app : selected) {
            state.confirmationItems.append(QVariantMap{{QStringLiteral("isHeader"), true},
                                                       {QStringLiteral("name"), ScreenText::text(app.name)},
                                                       {QStringLiteral("iconSource"), iconSource(app)}});
            const auto found = model.parts().find(app.path);
            if (found == model.parts().end())
                continue;
            for (std::size_t index = 0; index < found->second.size(); ++index) {
                const AppPart& part = found->second[index];
                const bool isApp = index == 0;
                const std::size_t slash = part.path.rfind('/');
                state.confirmationItems.append(QVariantMap{
                    {QStringLiteral("isHeader"), false},
                    {QStringLiteral("path"), ScreenText::text(part.path)},
                    {QStringLiteral("isApp"), isApp},
                    {QStringLiteral("label"), isApp ? ScreenText::text(part.path.substr(slash + 1))
                                                    : partLabel(part.path, model.home())},
                    {QStringLiteral("toolTip"), isApp ? QStringLiteral("The app itself")
                                                      : ScreenText::tildePath(part.path, model.home())},
                    {QStringLiteral("sizeText"), ScreenText::bytes(part.bytes)},
                    {QStringLiteral("ticked"), isApp || !model.keptParts().contains(part.path)},
                });
            }
        }
    }
    return state;
}

void ApplicationsScreen::refresh()
{
    std::vector<ApplicationsRow> rows;
    if (m_model) {
        const auto now = std::chrono::system_clock::now();
        for (const InstalledApp& app : m_model->sortedApps()) {
            ApplicationsRow row;
            row.key = ScreenText::text(app.path);
            row.name = ScreenText::text(app.name);
            row.version = ScreenText::text(app.version.value_or(std::string()));
            row.kindText = kindText(app);
            row.iconSource = iconSource(app);
            row.needsPassword = app.needsPassword;
            row.passwordToolTip = app.needsPassword ? passwordToolTip(app) : QString();
            const std::optional<std::int64_t> bytes = m_model->bytes(app);
            row.isMeasured = bytes.has_value();
            row.sizeText = bytes ? ScreenText::bytes(*bytes) : QString();
            row.lastOpenedText = app.lastOpened ? ScreenText::text(RelativeDate::named(*app.lastOpened, now))
                                                : QStringLiteral("Unknown");
            row.lastOpenedToolTip = app.lastOpened ? QString() : QStringLiteral("Spotlight has no record of it being opened.");
            row.isSelected = m_model->selection().contains(app.path);
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

// MARK: Actions

void ApplicationsScreen::appeared()
{
    if (m_model && m_model->phase() == Phase::idle)
        m_model->scan();
}

void ApplicationsScreen::rescan()
{
    if (m_model)
        m_model->scan();
}

void ApplicationsScreen::setOrderIndex(int index)
{
    if (m_model && index >= 0 && index < static_cast<int>(std::size(ApplicationsModel::orders)))
        m_model->setOrder(ApplicationsModel::orders[index]);
}

void ApplicationsScreen::click(const QString& clicked, int modifiers)
{
    if (!m_model)
        return;
    const std::string path = clicked.toStdString();
    if ((modifiers & Qt::ShiftModifier) && !m_anchor.empty()) {
        const std::vector<InstalledApp> shown = m_model->sortedApps();
        const auto position = [&](const std::string& wanted) {
            return std::find_if(shown.begin(), shown.end(), [&](const InstalledApp& app) { return app.path == wanted; });
        };
        auto from = position(m_anchor), to = position(path);
        if (from != shown.end() && to != shown.end()) {
            if (to < from)
                std::swap(from, to);
            std::set<std::string> range;
            for (auto app = from; app <= to; ++app)
                range.insert(app->path);
            m_model->setSelection(std::move(range));
            return;
        }
    }
    m_anchor = path;
    std::set<std::string> selection = m_model->selection();
    if (!(modifiers & Qt::ControlModifier))
        selection = {path};
    else if (!selection.erase(path))
        selection.insert(path);
    m_model->setSelection(std::move(selection));
}

void ApplicationsScreen::rightClick(const QString& clicked)
{
    if (m_model && !m_model->selection().contains(clicked.toStdString()))
        click(clicked, Qt::NoModifier);
}

void ApplicationsScreen::selectAll()
{
    if (!m_model)
        return;
    std::set<std::string> all;
    for (const InstalledApp& app : m_model->apps())
        all.insert(app.path);
    m_model->setSelection(std::move(all));
}

void ApplicationsScreen::revealSelection()
{
    if (!m_model || !m_model->machine().reveal)
        return;
    std::vector<std::string> paths;
    for (const InstalledApp& app : m_model->selectedApps())
        paths.push_back(app.path);
    if (!paths.empty())
        m_model->machine().reveal(paths);
}

void ApplicationsScreen::askToUninstall()
{
    if (!m_model || !m_state.uninstallEnabled)
        return;
    m_model->setKeptParts({});
    m_model->setConfirming(true);
}

void ApplicationsScreen::setPartKept(const QString& path, bool kept)
{
    if (!m_model)
        return;
    // The app itself is never spared: it is what is being uninstalled.
    const std::string part = path.toStdString();
    for (const auto& [app, parts] : m_model->parts()) {
        if (app == part)
            return;
    }
    std::set<std::string> keptParts = m_model->keptParts();
    if (kept)
        keptParts.insert(part);
    else
        keptParts.erase(part);
    m_model->setKeptParts(std::move(keptParts));
}

void ApplicationsScreen::cancelUninstall()
{
    if (m_model)
        m_model->setConfirming(false);
}

void ApplicationsScreen::confirmUninstall()
{
    if (!m_model || !m_model->isConfirming())
        return;
    m_model->setConfirming(false);
    m_model->uninstall();
}

void ApplicationsScreen::dismissSummary()
{
    if (m_model)
        m_model->setSummary(std::nullopt);
}

} // namespace tarno
