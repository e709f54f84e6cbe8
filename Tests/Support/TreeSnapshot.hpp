#pragma once

#include "Support/FileChecks.hpp"

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarno::test {

// Every entry below a folder as it is on disk, links never followed: what a
// removal test compares before and after to see that nothing it did not mean
// to touch was lost, changed or half-removed.
class TreeSnapshot {
public:
    struct Entry {
        enum class Type { file, folder, link, other };
        Type type = Type::other;
        std::string content; // a file's bytes, a link's target
        bool operator==(const Entry&) const = default;
    };

    // `skip` is asked for each full path; a skipped folder is not entered.
    static TreeSnapshot of(const std::string& root, const std::function<bool(const std::string&)>& skip)
    {
        TreeSnapshot snapshot;
        snapshot.walk(root, skip);
        return snapshot;
    }

    const std::map<std::string, Entry>& entries() const { return m_entries; }

    int files() const
    {
        int count = 0;
        for (const auto& [path, entry] : m_entries)
            count += entry.type == Entry::Type::file ? 1 : 0;
        return count;
    }

    // The paths of this snapshot that `later` lacks or holds otherwise.
    std::vector<std::string> lostOrChangedIn(const TreeSnapshot& later) const
    {
        std::vector<std::string> paths;
        for (const auto& [path, entry] : m_entries) {
            const auto found = later.m_entries.find(path);
            if (found == later.m_entries.end() || found->second != entry)
                paths.push_back(path);
        }
        return paths;
    }

    // The paths of `later` that this snapshot does not hold.
    std::vector<std::string> addedIn(const TreeSnapshot& later) const
    {
        std::vector<std::string> paths;
        for (const auto& [path, entry] : later.m_entries)
            if (!m_entries.contains(path))
                paths.push_back(path);
        return paths;
    }

private:
    void walk(const std::string& folder, const std::function<bool(const std::string&)>& skip)
    {
        DIR* listing = ::opendir(folder.c_str());
        if (listing == nullptr)
            return;
        std::vector<std::string> names;
        while (const dirent* entry = ::readdir(listing)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..")
                names.push_back(name);
        }
        ::closedir(listing);
        for (const std::string& name : names) {
            const std::string path = folder + "/" + name;
            if (skip(path))
                continue;
            struct stat status;
            if (::lstat(path.c_str(), &status) != 0)
                continue;
            Entry entry;
            if (S_ISREG(status.st_mode)) {
                entry = {Entry::Type::file, contentsOf(path)};
            } else if (S_ISLNK(status.st_mode)) {
                std::string target(static_cast<std::size_t>(status.st_size) + 1, '\0');
                const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
                target.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
                entry = {Entry::Type::link, target};
            } else if (S_ISDIR(status.st_mode)) {
                entry = {Entry::Type::folder, {}};
            }
            m_entries[path] = entry;
            if (S_ISDIR(status.st_mode))
                walk(path, skip);
        }
    }

    std::map<std::string, Entry> m_entries;
};

} // namespace tarno::test
