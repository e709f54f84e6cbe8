#include "Tarno/ApplicationsModel.hpp"

#include "Tarno/ModelSupport.hpp"
#include "Tarno/TaskRunner.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

namespace tarno {

namespace {

struct Listing {
    bool hasFullDiskAccess = true;
    std::vector<InstalledApp> apps;
};

std::vector<std::string> identifiers(const std::vector<InstalledApp>& apps)
{
    std::vector<std::string> ids;
    for (const InstalledApp& app : apps)
        ids.push_back(app.bundleID);
    return ids;
}

} // namespace

QString ApplicationsModel::label(Order order)
{
    switch (order) {
    case Order::size: return QStringLiteral("Size");
    case Order::lastOpened: return QStringLiteral("Last Opened");
    case Order::name: return QStringLiteral("Name");
    }
    return {};
}

ApplicationsModel::ApplicationsModel(ApplicationsMachine machine, std::string home, const PathGuard& guardian,
                                     QObject* parent)
    : QObject(parent)
    , m_machine(std::move(machine))
    , m_home(std::move(home))
    , m_guardian(guardian)
    , m_listing(new TaskRunner(measuringWidth, this))
    , m_removal(new TaskRunner(1, this))
{
}

ApplicationsModel::~ApplicationsModel()
{
    // Stops and waits while the model's members still stand.
    delete m_listing;
    delete m_removal;
}

void ApplicationsModel::cancel()
{
    m_listing->cancel();
    m_removal->cancel();
}

// MARK: Listing and measuring

void ApplicationsModel::scan()
{
    if (m_phase != Phase::idle && m_phase != Phase::ready)
        return;
    setPhase(Phase::scanning);
    setApps({});
    setParts({});
    setSelection({});
    auto work = [machine = m_machine, home = m_home](const TaskRunner::Task&) {
        const std::string own = machine.ownBundleID();
        std::set<std::string> excluding;
        if (!own.empty())
            excluding.insert(own);
        return Listing{.hasFullDiskAccess = machine.hasFullDiskAccess(home), .apps = machine.list(home, excluding)};
    };
    m_listing->run(std::move(work), [this](Listing listing) {
        setHasFullDiskAccess(listing.hasFullDiskAccess);
        setApps(std::move(listing.apps));
        measure(m_apps);
    });
}

void ApplicationsModel::measure(const std::vector<InstalledApp>& apps)
{
    auto work = [machine = m_machine, home = m_home, apps, includeContainers = m_hasFullDiskAccess,
                 others = identifiers(apps)](std::size_t index, const TaskRunner::Task& task) {
        const InstalledApp& app = apps[index];
        std::vector<std::string> paths{app.path};
        for (std::string& path : machine.footprint(app, home, includeContainers, others))
            paths.push_back(std::move(path));
        // Each part by itself: a hard link shared by two parts counts in both.
        std::vector<AppPart> parts;
        for (std::string& path : paths) {
            const std::int64_t bytes = machine.measure(path, task.cancellation());
            parts.push_back({std::move(path), bytes});
        }
        return parts;
    };
    auto each = [this, apps](std::size_t index, std::vector<AppPart> parts) {
        std::map<std::string, std::vector<AppPart>> measured = m_parts;
        measured[apps[index].path] = std::move(parts);
        setParts(std::move(measured));
    };
    m_listing->runAtMost(measuringWidth, apps.size(), std::move(work), std::move(each),
                         [this] { setPhase(Phase::ready); });
}

// MARK: Removal

void ApplicationsModel::uninstall()
{
    const std::vector<InstalledApp> selected = selectedApps();
    if (m_phase != Phase::ready || selected.empty())
        return;
    setPhase(Phase::removing);
    setSummary(std::nullopt);

    auto work = [this, machine = m_machine, guardian = m_guardian, selected, parts = m_parts,
                 kept = m_keptParts](const TaskRunner::Task& task) {
        const AppUninstall::Machine uninstalling{
            .quit = machine.quit,
            .removeApps = [&](const std::vector<std::string>& paths) { return machine.removeApps(guardian, paths); },
            .trash = [&](const std::vector<std::string>& paths) { return machine.trash(guardian, paths); },
        };
        const AppUninstall::Progress progress{
            .working = [this, &task](const std::string& name) {
                task.onOwnerThread([this, name] { setRemovingName(name); });
            },
            .removed = [this, &task](const InstalledApp& app) { task.onOwnerThread([this, app] { removed(app); }); },
        };
        return AppUninstall::run(selected, parts, kept, uninstalling, progress, task.cancellation());
    };
    m_removal->run(std::move(work), [this](UninstallSummary summary) { finishRemoval(std::move(summary)); });
}

void ApplicationsModel::removed(const InstalledApp& app)
{
    std::vector<InstalledApp> apps = m_apps;
    std::erase_if(apps, [&](const InstalledApp& listed) { return listed.path == app.path; });
    std::map<std::string, std::vector<AppPart>> parts = m_parts;
    parts.erase(app.path);
    std::set<std::string> selection = m_selection;
    selection.erase(app.path);
    setApps(std::move(apps));
    setParts(std::move(parts));
    setSelection(std::move(selection));
}

void ApplicationsModel::finishRemoval(UninstallSummary summary)
{
    setRemovingName(std::nullopt);
    setKeptParts({});
    const bool removedAny = !summary.apps.empty();
    const CleanupRecord record = AppUninstall::record(summary, std::chrono::system_clock::now());
    setSummary(std::move(summary));
    setPhase(Phase::ready);
    if (removedAny && onRemoved)
        onRemoved(record);
    if (onDiskChanged)
        onDiskChanged();
}

// MARK: Derived values

std::optional<std::int64_t> ApplicationsModel::bytes(const InstalledApp& app) const
{
    const auto found = m_parts.find(app.path);
    if (found == m_parts.end())
        return std::nullopt;
    std::int64_t total = 0;
    for (const AppPart& part : found->second)
        total += part.bytes;
    return total;
}

std::vector<InstalledApp> ApplicationsModel::sortedApps() const
{
    std::vector<InstalledApp> sorted = m_apps;
    switch (m_order) {
    case Order::size:
        std::stable_sort(sorted.begin(), sorted.end(), [this](const InstalledApp& a, const InstalledApp& b) {
            return bytes(a).value_or(-1) > bytes(b).value_or(-1);
        });
        break;
    case Order::lastOpened:
        // Never opened first, then the longest ago.
        std::stable_sort(sorted.begin(), sorted.end(), [](const InstalledApp& a, const InstalledApp& b) {
            using Clock = std::chrono::system_clock;
            return a.lastOpened.value_or(Clock::time_point::min()) < b.lastOpened.value_or(Clock::time_point::min());
        });
        break;
    case Order::name:
        break;
    }
    return sorted;
}

std::vector<InstalledApp> ApplicationsModel::selectedApps() const
{
    std::vector<InstalledApp> selected;
    for (InstalledApp& app : sortedApps()) {
        if (m_selection.contains(app.path))
            selected.push_back(std::move(app));
    }
    return selected;
}

std::int64_t ApplicationsModel::selectedBytes() const
{
    std::int64_t total = 0;
    for (const InstalledApp& app : selectedApps()) {
        const auto found = m_parts.find(app.path);
        if (found == m_parts.end())
            continue;
        for (const AppPart& part : found->second) {
            if (!m_keptParts.contains(part.path))
                total += part.bytes;
        }
    }
    return total;
}

// MARK: State

void ApplicationsModel::setPhase(Phase phase)
{
    if (assign(m_phase, phase))
        Q_EMIT phaseChanged();
}

void ApplicationsModel::setApps(std::vector<InstalledApp> apps)
{
    if (assign(m_apps, std::move(apps)))
        Q_EMIT appsChanged();
}

void ApplicationsModel::setParts(std::map<std::string, std::vector<AppPart>> parts)
{
    if (assign(m_parts, std::move(parts)))
        Q_EMIT partsChanged();
}

void ApplicationsModel::setHasFullDiskAccess(bool hasAccess)
{
    if (assign(m_hasFullDiskAccess, hasAccess))
        Q_EMIT hasFullDiskAccessChanged();
}

void ApplicationsModel::setOrder(Order order)
{
    if (assign(m_order, order))
        Q_EMIT orderChanged();
}

void ApplicationsModel::setSelection(std::set<std::string> selection)
{
    if (assign(m_selection, std::move(selection)))
        Q_EMIT selectionChanged();
}

void ApplicationsModel::setKeptParts(std::set<std::string> kept)
{
    if (assign(m_keptParts, std::move(kept)))
        Q_EMIT keptPartsChanged();
}

void ApplicationsModel::setConfirming(bool confirming)
{
    if (assign(m_isConfirming, confirming))
        Q_EMIT confirmingChanged();
}

void ApplicationsModel::setSummary(std::optional<UninstallSummary> summary)
{
    if (assign(m_summary, std::move(summary)))
        Q_EMIT summaryChanged();
}

void ApplicationsModel::setRemovingName(std::optional<std::string> name)
{
    if (assign(m_removingName, std::move(name)))
        Q_EMIT removingNameChanged();
}

} // namespace tarno
