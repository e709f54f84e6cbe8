#include "TarnoCore/Performance/IdleServers.hpp"

#include <algorithm>

namespace tarno {

namespace {

// The watch for this run of the server, if any.
template <typename Watches>
auto* watchOf(Watches& watches, const IdleServers::Server& server)
{
    const auto it = watches.find(server.id);
    return it != watches.end() && it->second.started == server.started ? &it->second : nullptr;
}

} // namespace

void IdleServers::observe(const std::vector<Server>& servers, const std::map<std::string, TimePoint>& folderChanges,
                          TimePoint now)
{
    std::map<std::string, Watch> next;
    for (const Server& server : servers) {
        const Watch* previous = watchOf(watches, server);
        Watch watch = previous != nullptr ? *previous : Watch{server.started, now, false, false};

        std::optional<TimePoint> activity;
        if (server.clients > 0)
            activity = now;
        if (server.folder) {
            // A change older than the last use says nothing new.
            if (const auto change = folderChanges.find(*server.folder);
                change != folderChanges.end() && change->second > watch.idleSince)
                activity = activity ? std::max(*activity, change->second) : change->second;
        }
        if (activity) {
            watch.idleSince = *activity;
            watch.reported = false;
        }
        next.insert_or_assign(server.id, watch);
    }
    watches = std::move(next);
}

std::optional<std::chrono::duration<double>> IdleServers::idleTime(const Server& server, TimePoint now) const
{
    const Watch* watch = watchOf(watches, server);
    if (watch == nullptr)
        return std::nullopt;
    return std::max(std::chrono::duration<double>(now - watch->idleSince), std::chrono::duration<double>(0));
}

std::vector<std::string> IdleServers::takeIdle(const std::vector<Server>& servers,
                                               std::chrono::duration<double> threshold, TimePoint now)
{
    std::vector<std::string> idle;
    for (const Server& server : servers) {
        Watch* watch = watchOf(watches, server);
        if (watch == nullptr || watch->kept || watch->reported)
            continue;
        if (std::chrono::duration<double>(now - watch->idleSince) >= threshold) {
            watch->reported = true;
            idle.push_back(server.id);
        }
    }
    return idle;
}

void IdleServers::keep(const std::string& id)
{
    if (const auto it = watches.find(id); it != watches.end())
        it->second.kept = true;
}

} // namespace tarno
