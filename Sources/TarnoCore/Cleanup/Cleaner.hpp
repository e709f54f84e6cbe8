#pragma once

#include "TarnoCore/Cleanup/CleanupAction.hpp"
#include "TarnoCore/Foundation/PathGuard.hpp"

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace tarno {

// What an action did.
struct CleanReport {
    struct Failure {
        enum class Kind {
            refused, // the guard would not let it be touched
            failed,  // tried, and the system or the tool said no
            cancelled, // the user dismissed the password prompt
        };
        std::string path;   // or the tool of a run action
        std::string reason; // words for the user
        Kind kind = Kind::failed;
        bool operator==(const Failure&) const = default;
    };

    int removed = 0; // paths removed, moved or acted on
    std::vector<Failure> failures;
    bool wasCancelled = false; // stopped short: what is left was not tried

    // The paths of the failures.
    std::set<std::string> failedPaths() const;

    bool operator==(const CleanReport&) const = default;
};

// The one place that removes things. Every path is put to the guard just
// before it is touched; each path gets its own attempt and report line.
// Cancellation is looked at before each path and inside a tree's removal:
// what was not reached is left alone and the report says it was cut short.
struct Cleaner {
    PathGuard guardian;

    // Blocks: call it off the main thread.
    CleanReport perform(const CleanupAction& action,
                        const std::function<bool()>& isCancelled = [] { return false; }) const;
};

} // namespace tarno
