#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarno {

// How long each running dev server has gone unused. A server is in use while
// something outside its process tree is connected to one of its listening
// ports, and while a person edits a file in its folder; nothing else counts,
// processor use least of all (a watcher recompiling on its own is not being
// used). Holds no clock: every operation is given the time. A plain value,
// used from one thread.
struct IdleServers {
    using TimePoint = std::chrono::system_clock::time_point;

    // What the rules read of a DeveloperTool. Callers pass dev servers only
    // (DeveloperTool::Kind::devServer): other kinds are never idle here.
    struct Server {
        std::string id; // DeveloperTool::id: "tree-" and the root pid
        std::optional<TimePoint> started;
        std::optional<std::string> folder;
        int clients = 0; // connections from outside the server's process tree

        bool operator==(const Server&) const = default;
    };

    // One run of a server: the pair of id and `started` names it, since a pid
    // can be reused. A watch under the id with another `started` belongs to a
    // dead server and counts as absent.
    struct Watch {
        std::optional<TimePoint> started; // the server's, fixed for the watch's life
        TimePoint idleSince;              // last seen in use, or when the watch began
        bool reported = false;            // this idle spell was handed out by takeIdle
        bool kept = false;                // the user said to leave it running

        bool operator==(const Watch&) const = default;
    };

    std::map<std::string, Watch> watches; // by server id

    // Brings the watches up to date with the servers running now: a new run
    // starts idle from `now`, use (a client, or a change in `folderChanges`
    // under the server's folder later than its idleSince) restarts the clock
    // and allows one more report; servers that are gone are forgotten.
    void observe(const std::vector<Server>& servers, const std::map<std::string, TimePoint>& folderChanges,
                 TimePoint now);

    // Time since the server was last in use, never negative; absent when this
    // run of the server is not watched.
    std::optional<std::chrono::duration<double>> idleTime(const Server& server, TimePoint now) const;

    // The ids of the servers, in order, that have been idle for `threshold`
    // or more and were not yet handed out for this idle spell; kept servers
    // never are.
    std::vector<std::string> takeIdle(const std::vector<Server>& servers, std::chrono::duration<double> threshold,
                                      TimePoint now);

    // Leaves this server running for the rest of its run; an unknown id
    // changes nothing.
    void keep(const std::string& id);

    bool operator==(const IdleServers&) const = default;
};

} // namespace tarno
