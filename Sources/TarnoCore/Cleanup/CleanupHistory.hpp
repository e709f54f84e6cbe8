#pragma once

#include "TarnoCore/Cleanup/CleanupRecord.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarno {

// The history file: a JSON array of records, newest first, at most 500. The
// file is the only state. Processes share it safely: appends take turns on
// "history.json.lock" beside it, and every write replaces the file by a
// rename, so a reader needs no lock to see one whole version.
class CleanupHistory {
public:
    static constexpr std::size_t maximumRecords = 500;

    // The history of the user whose home folder this is.
    explicit CleanupHistory(std::string_view home);

    // The history kept in another file, for a machine that is not this one.
    static CleanupHistory inFile(std::string file);

    // home + "/Library/Application Support/Tarno/history.json"
    const std::string& file() const { return m_file; }

    // Newest first. A missing, unreadable or undecodable file gives nothing.
    std::vector<CleanupRecord> load() const;

    // Puts the record in front and writes the file atomically. A record that
    // freed nothing and names nothing leaves no line. A file that does not
    // decode is first kept beside it as "history.json.corrupt-<UTC time>"
    // (with "-2", "-3", … when that name is taken), so that what the user had
    // is not silently lost. Waits up to ten seconds for other writers, then
    // writes anyway. Failures are ignored: the record is then lost.
    void append(const CleanupRecord& record) const;

    // The sum of freedBytes over load(): at most the last 500 operations.
    std::int64_t totalFreed() const;

    // The file's text for these records: pretty-printed, keys sorted, dates
    // as ISO 8601 UTC to the second ("2024-05-01T09:30:00Z").
    static std::string encode(const std::vector<CleanupRecord>& records);

    // The records of a file's text; none unless it is an array of which
    // every element has all five keys with values of the right kind.
    static std::optional<std::vector<CleanupRecord>> decode(std::string_view text);

private:
    CleanupHistory() = default;

    std::string m_file;
};

} // namespace tarno
