#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace tarno {

// A folder measured as one owner of space; the folders below it in
// `excluding` belong to someone else and are left out.
struct SpaceOwner {
    std::string path;
    std::set<std::string> excluding;

    bool operator==(const SpaceOwner&) const = default;
    auto operator<=>(const SpaceOwner&) const = default;
};

// What a set of owners takes and what deleting any of them gives back. Owners
// are known by their index in the list that was measured.
struct SpaceAccount {
    std::vector<std::int64_t> apparent;      // allocated bytes, as a plain size counts them
    std::vector<std::int64_t> sharedOutside; // data that stays alive elsewhere when the owner goes
    // Bytes held by exactly that set of owners (sorted indices); one index is
    // what the owner holds alone.
    std::map<std::vector<std::int32_t>, std::int64_t> combinations;

    bool operator==(const SpaceAccount&) const = default;

    // What deleting these owners frees: data shared by several owners counts
    // only when all of them go.
    std::int64_t freed(const std::set<std::int32_t>& deleting) const;
};

namespace SpaceAccounting {

// Measures every owner in one parallel pass, each shared file counted once.
// Data that also lives in one of the `caches` (a package store the owners
// link or clone from) is shared outside. `progress` gets the running number
// of folder entries seen; it and `isCancelled` are called from worker
// threads. A cancelled measure returns what it gathered, for the caller to drop.
SpaceAccount measure(const std::vector<SpaceOwner>& owners,
                     const std::vector<std::string>& caches,
                     const std::function<void(std::int64_t)>& progress,
                     const std::function<bool()>& isCancelled);

} // namespace SpaceAccounting
} // namespace tarno
