#include "TarnoCore/Projects/SpaceAccounting.hpp"

#include "TarnoCore/Foundation/BulkWalker.hpp"
#include "TarnoCore/Foundation/ConcurrentPerform.hpp"

#include <algorithm>
#include <limits>
#include <mutex>
#include <unordered_set>

namespace tarno {

std::int64_t SpaceAccount::freed(const std::set<std::int32_t>& deleting) const
{
    std::int64_t total = 0;
    for (const auto& [holders, bytes] : combinations) {
        if (std::all_of(holders.begin(), holders.end(), [&](std::int32_t owner) { return deleting.contains(owner); }))
            total += bytes;
    }
    return total;
}

namespace SpaceAccounting {

namespace {

constexpr std::int32_t cacheOwner = -1;
// Files this small with one link and no clone are taken to be their owner's
// alone, which keeps the entry list to a fraction of all files.
constexpr std::int64_t smallFile = 16384;
constexpr std::int64_t progressStep = 20000;

struct Unit {
    std::string path;
    std::int32_t owner = cacheOwner;
    std::set<std::string> excluding;
    bool looseFilesOnly = false;
};

// One file whose data may be shared.
struct Entry {
    std::int64_t key;
    std::int32_t owner;
    std::int64_t bytes;
    std::uint16_t links;
};

// Hard links and clones in one signed number, so that one sort groups both:
// a hard-linked file's key is always negative, a clone's never.
std::int64_t hardLinkKey(std::uint64_t fileID)
{
    return static_cast<std::int64_t>(~fileID | 0xC000000000000000ULL);
}

std::int64_t cloneKey(std::uint64_t cloneID)
{
    return static_cast<std::int64_t>(cloneID & 0x7FFFFFFFFFFFFFFFULL);
}

std::uint16_t limitedLinks(std::int64_t links)
{
    return static_cast<std::uint16_t>(std::clamp<std::int64_t>(links, 0, std::numeric_limits<std::uint16_t>::max()));
}

// One folder becomes a unit for its loose files and one for each subfolder,
// so that a single huge folder spreads over all cores.
std::vector<Unit> split(const std::string& path, std::int32_t owner, const std::set<std::string>& excluding)
{
    std::vector<Unit> units;
    bool listed = false;
    BulkWalker::walk(
        path,
        [&](BulkFolder& folder) {
            listed = true;
            units.push_back(Unit{path, owner, excluding, true});
            for (const BulkEntry& entry : folder.entries) {
                if (entry.kind != BulkEntry::Kind::directory)
                    continue;
                std::string child = folder.pathOf(entry);
                if (!excluding.contains(child))
                    units.push_back(Unit{std::move(child), owner, excluding, false});
            }
            return false;
        },
        [](const std::string&) {});
    if (!listed)
        units.push_back(Unit{path, owner, excluding, false});
    return units;
}

std::vector<Unit> splitAll(const std::vector<std::string>& paths, const std::vector<std::set<std::string>>& excluding)
{
    std::vector<Unit> units;
    for (std::size_t index = 0; index < paths.size(); ++index) {
        const auto owner = excluding.empty() ? cacheOwner : static_cast<std::int32_t>(index);
        std::vector<Unit> more = split(paths[index], owner, excluding.empty() ? std::set<std::string>{} : excluding[index]);
        std::move(more.begin(), more.end(), std::back_inserter(units));
    }
    return units;
}

class Walks {
public:
    Walks(const std::function<void(std::int64_t)>& progress, const std::function<bool()>& isCancelled)
        : m_progress(progress)
        , m_isCancelled(isCancelled)
    {
    }

    // Hands each file with blocks of its own to `visit`.
    void walk(const Unit& unit, const std::function<void(const BulkEntry&)>& visit)
    {
        std::int64_t seen = 0;
        BulkWalker::walk(
            unit.path,
            [&](BulkFolder& folder) {
                for (std::size_t index = 0; index < folder.entries.size(); ++index) {
                    const BulkEntry& entry = folder.entries[index];
                    if (entry.kind == BulkEntry::Kind::file && entry.allocatedBytes >= 1)
                        visit(entry);
                    else if (entry.kind == BulkEntry::Kind::directory
                             && (unit.looseFilesOnly
                                 || (!unit.excluding.empty() && unit.excluding.contains(folder.pathOf(entry)))))
                        folder.skipped.insert(index);
                }
                seen += static_cast<std::int64_t>(folder.entries.size());
                if (seen < progressStep)
                    return true;
                report(seen);
                seen = 0;
                return !m_isCancelled();
            },
            [](const std::string&) {});
        report(seen);
    }

private:
    void report(std::int64_t seen)
    {
        std::int64_t total = 0;
        m_total.change([&](std::int64_t& value) { total = value += seen; });
        if (m_progress)
            m_progress(total);
    }

    const std::function<void(std::int64_t)>& m_progress;
    const std::function<bool()>& m_isCancelled;
    Locked<std::int64_t> m_total;
};

} // namespace

SpaceAccount measure(const std::vector<SpaceOwner>& owners,
                     const std::vector<std::string>& caches,
                     const std::function<void(std::int64_t)>& progress,
                     const std::function<bool()>& isCancelled)
{
    Walks walks(progress, isCancelled);

    // Every key met in a cache; only read once the owners are walked.
    const std::vector<Unit> cacheUnits = splitAll(caches, {});
    Locked<std::unordered_set<std::int64_t>> lockedCacheKeys;
    concurrentPerform(cacheUnits.size(), [&](std::size_t index) {
        std::vector<std::int64_t> keys;
        walks.walk(cacheUnits[index], [&](const BulkEntry& entry) {
            if (entry.linkCount >= 2)
                keys.push_back(hardLinkKey(entry.fileID));
            else if (entry.cloneID != 0)
                keys.push_back(cloneKey(entry.cloneID));
        });
        lockedCacheKeys.change([&](auto& set) { set.insert(keys.begin(), keys.end()); });
    });
    const std::unordered_set<std::int64_t> cacheKeys = lockedCacheKeys.take();

    std::vector<std::string> ownerPaths;
    std::vector<std::set<std::string>> ownerExcluding;
    for (const SpaceOwner& owner : owners) {
        ownerPaths.push_back(owner.path);
        ownerExcluding.push_back(owner.excluding);
    }
    const std::vector<Unit> units = owners.empty() ? std::vector<Unit>{} : splitAll(ownerPaths, ownerExcluding);

    struct Sums {
        std::vector<std::int64_t> apparent, sharedOutside, privateBytes;
        std::vector<Entry> entries;
    };
    Locked<Sums> lockedSums;
    lockedSums.change([&](Sums& sums) {
        sums.apparent.assign(owners.size(), 0);
        sums.sharedOutside.assign(owners.size(), 0);
        sums.privateBytes.assign(owners.size(), 0);
    });
    concurrentPerform(units.size(), [&](std::size_t index) {
        const Unit& unit = units[index];
        std::int64_t apparent = 0, sharedOutside = 0, privateBytes = 0;
        std::vector<Entry> entries;
        std::unordered_set<std::uint64_t> linkedFiles;
        walks.walk(unit, [&](const BulkEntry& file) {
            const std::uint16_t links = limitedLinks(file.linkCount);
            const std::int64_t bytes = file.allocatedBytes;
            if (links >= 2 && !linkedFiles.insert(file.fileID).second) {
                // A further link of a file this unit has counted: only the
                // number of links met matters now.
                const std::int64_t key = hardLinkKey(file.fileID);
                if (!cacheKeys.contains(key))
                    entries.push_back(Entry{key, unit.owner, bytes, links});
                return;
            }
            apparent += bytes;
            if (links >= 2 || file.isClone()) {
                const std::int64_t key = links >= 2 ? hardLinkKey(file.fileID) : cloneKey(file.cloneID);
                if (cacheKeys.contains(key))
                    sharedOutside += bytes;
                else
                    entries.push_back(Entry{key, unit.owner, bytes, links});
                return;
            }
            // A large original may be what others were cloned from, so it is
            // kept under its clone key for them to meet.
            if (file.cloneID == 0 || bytes < smallFile)
                privateBytes += bytes;
            else
                entries.push_back(Entry{cloneKey(file.cloneID), unit.owner, bytes, 1});
        });
        const auto owner = static_cast<std::size_t>(unit.owner);
        lockedSums.change([&](Sums& sums) {
            sums.apparent[owner] += apparent;
            sums.sharedOutside[owner] += sharedOutside;
            sums.privateBytes[owner] += privateBytes;
            sums.entries.insert(sums.entries.end(), entries.begin(), entries.end());
        });
    });
    Sums sums = lockedSums.take();

    SpaceAccount account;
    account.apparent = std::move(sums.apparent);
    account.sharedOutside = std::move(sums.sharedOutside);
    std::stable_sort(sums.entries.begin(), sums.entries.end(),
                     [](const Entry& left, const Entry& right) { return left.key < right.key; });
    for (auto run = sums.entries.begin(); run != sums.entries.end();) {
        const auto end = std::find_if(run, sums.entries.end(), [&](const Entry& entry) { return entry.key != run->key; });
        const auto count = end - run;
        std::vector<std::int32_t> holders;
        for (auto entry = run; entry != end; ++entry)
            holders.push_back(entry->owner);
        std::sort(holders.begin(), holders.end());
        holders.erase(std::unique(holders.begin(), holders.end()), holders.end());
        if (run->key < 0 && run->links >= 2 && count < run->links) {
            // Links that were not met among the owners keep the data alive.
            for (const std::int32_t owner : holders)
                account.sharedOutside[static_cast<std::size_t>(owner)] += run->bytes;
        } else if (holders.size() == 1) {
            sums.privateBytes[static_cast<std::size_t>(holders.front())] += run->bytes;
        } else {
            account.combinations[holders] += run->bytes;
        }
        run = end;
    }
    for (std::size_t owner = 0; owner < sums.privateBytes.size(); ++owner) {
        if (sums.privateBytes[owner] >= 1)
            account.combinations[{static_cast<std::int32_t>(owner)}] += sums.privateBytes[owner];
    }
    return account;
}

} // namespace SpaceAccounting
} // namespace tarno
