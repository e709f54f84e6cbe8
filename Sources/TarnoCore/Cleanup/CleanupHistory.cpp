#include "TarnoCore/Cleanup/CleanupHistory.hpp"

#include "TarnoCore/Platform/FileLock.hpp"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarno {

namespace {

// std::map underneath, so every object is written with its keys sorted.
using Json = nlohmann::json;

constexpr std::string_view historyPath = "/Library/Application Support/Tarno/history.json";

// A writer holds the lock for one read, encode and write of a small file:
// milliseconds. Ten seconds means the holder is stopped or its disk hangs.
constexpr std::chrono::seconds lockPatience{10};

// A temporary file this old belongs to a writer that died before its rename;
// a live writer renames its own within moments.
constexpr std::chrono::minutes abandonedAge{1};

// ---- Dates: ISO 8601 in UTC, to the second ---------------------------------

std::string utcString(std::chrono::system_clock::time_point date, const char* format)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count();
    const std::time_t instant = static_cast<std::time_t>(seconds);
    std::tm parts{};
    if (::gmtime_r(&instant, &parts) == nullptr)
        return {};
    char text[64];
    const std::size_t length = std::strftime(text, sizeof text, format, &parts);
    return std::string(text, length);
}

std::string isoString(std::chrono::system_clock::time_point date)
{
    return utcString(date, "%Y-%m-%dT%H:%M:%SZ");
}

// Reads `count` digits at `position`; false when any is not a digit.
bool readNumber(std::string_view text, std::size_t position, std::size_t count, int& value)
{
    if (position + count > text.size())
        return false;
    value = 0;
    for (std::size_t index = position; index < position + count; ++index) {
        const char digit = text[index];
        if (digit < '0' || digit > '9')
            return false;
        value = value * 10 + (digit - '0');
    }
    return true;
}

// "2024-05-01T09:30:00Z", or with an offset such as "+02:00" in place of the
// "Z", as an internet date-time without fractions. Impossible dates (a 30th of
// February) are refused rather than rolled over.
std::optional<std::chrono::system_clock::time_point> isoDate(std::string_view text)
{
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (text.size() < 20 || !readNumber(text, 0, 4, year) || text[4] != '-' || !readNumber(text, 5, 2, month)
        || text[7] != '-' || !readNumber(text, 8, 2, day) || text[10] != 'T' || !readNumber(text, 11, 2, hour)
        || text[13] != ':' || !readNumber(text, 14, 2, minute) || text[16] != ':' || !readNumber(text, 17, 2, second))
        return std::nullopt;

    long offsetSeconds = 0;
    const std::string_view zone = text.substr(19);
    if (zone != "Z") {
        int offsetHours = 0, offsetMinutes = 0;
        if (zone.size() != 6 || (zone[0] != '+' && zone[0] != '-') || !readNumber(zone, 1, 2, offsetHours)
            || zone[3] != ':' || !readNumber(zone, 4, 2, offsetMinutes) || offsetHours > 23 || offsetMinutes > 59)
            return std::nullopt;
        offsetSeconds = (zone[0] == '-' ? -1L : 1L) * (offsetHours * 3600L + offsetMinutes * 60L);
    }

    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = hour;
    parts.tm_min = minute;
    parts.tm_sec = second;
    const std::tm asGiven = parts;
    const std::time_t instant = ::timegm(&parts);
    if (parts.tm_year != asGiven.tm_year || parts.tm_mon != asGiven.tm_mon || parts.tm_mday != asGiven.tm_mday
        || parts.tm_hour != asGiven.tm_hour || parts.tm_min != asGiven.tm_min || parts.tm_sec != asGiven.tm_sec)
        return std::nullopt;
    // The clock counts nanoseconds in 64 bits, about 1678 to 2262: a date
    // beyond that cannot be held, and converting it would overflow.
    using Clock = std::chrono::system_clock;
    const std::int64_t seconds = static_cast<std::int64_t>(instant) - offsetSeconds;
    if (seconds < std::chrono::floor<std::chrono::seconds>(Clock::time_point::min()).time_since_epoch().count() + 1
        || seconds > std::chrono::floor<std::chrono::seconds>(Clock::time_point::max()).time_since_epoch().count())
        return std::nullopt;
    return Clock::time_point(std::chrono::seconds(seconds));
}

// ---- Records as JSON --------------------------------------------------------

Json encodeRecord(const CleanupRecord& record)
{
    Json object = Json::object();
    object["date"] = isoString(record.date);
    object["failures"] = record.failures;
    object["freedBytes"] = record.freedBytes;
    object["items"] = record.items;
    object["source"] = record.source;
    return object;
}

std::optional<std::int64_t> integer(const Json& value)
{
    if (value.is_number_integer() && !value.is_number_unsigned())
        return value.get<std::int64_t>();
    if (value.is_number_unsigned() && value.get<std::uint64_t>() <= std::numeric_limits<std::int64_t>::max())
        return static_cast<std::int64_t>(value.get<std::uint64_t>());
    return std::nullopt;
}

const Json* member(const Json& object, const char* key)
{
    const auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

// All five keys, each with a value of its kind; other keys are ignored.
std::optional<CleanupRecord> decodeRecord(const Json& object)
{
    if (!object.is_object())
        return std::nullopt;
    const Json* date = member(object, "date");
    const Json* source = member(object, "source");
    const Json* freedBytes = member(object, "freedBytes");
    const Json* items = member(object, "items");
    const Json* failures = member(object, "failures");
    if (date == nullptr || source == nullptr || freedBytes == nullptr || items == nullptr || failures == nullptr)
        return std::nullopt;
    if (!date->is_string() || !source->is_string() || !items->is_array())
        return std::nullopt;

    CleanupRecord record;
    const std::optional<std::chrono::system_clock::time_point> instant = isoDate(date->get_ref<const std::string&>());
    const std::optional<std::int64_t> bytes = integer(*freedBytes);
    const std::optional<std::int64_t> failureCount = integer(*failures);
    if (!instant || !bytes || !failureCount || *failureCount < std::numeric_limits<int>::min()
        || *failureCount > std::numeric_limits<int>::max())
        return std::nullopt;
    record.date = *instant;
    record.source = source->get<std::string>();
    record.freedBytes = *bytes;
    record.failures = static_cast<int>(*failureCount);
    for (const Json& title : *items) {
        if (!title.is_string())
            return std::nullopt;
        record.items.push_back(title.get<std::string>());
    }
    return record;
}

// ---- The file ----------------------------------------------------------------

enum class FileState { missing, readable, unreadable };

struct FileText {
    FileState state = FileState::missing;
    std::string text;
};

FileText readFile(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return {errno == ENOENT ? FileState::missing : FileState::unreadable, {}};
    FileText result{FileState::readable, {}};
    char chunk[16384];
    for (;;) {
        const ssize_t count = ::read(descriptor, chunk, sizeof chunk);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            result = {FileState::unreadable, {}};
        if (count <= 0)
            break;
        result.text.append(chunk, static_cast<std::size_t>(count));
    }
    ::close(descriptor);
    return result;
}

bool writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// Writes the text to a fresh file in the target's folder and syncs it; the
// caller renames it into place, so a reader sees the old file or the new one,
// never half of either. The file is private to the user.
std::optional<std::string> writeTemporary(const std::filesystem::path& target, std::string_view text)
{
    std::string temporary = (target.parent_path() / ("." + target.filename().string() + "-XXXXXX")).string();
    const int descriptor = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor < 0)
        return std::nullopt;
    const bool written = writeAll(descriptor, text) && ::fsync(descriptor) == 0;
    if (::close(descriptor) != 0 || !written) {
        ::unlink(temporary.c_str());
        return std::nullopt;
    }
    return temporary;
}

// Temporary files are named after the target, as writeTemporary makes them.
bool isTemporaryOf(const std::filesystem::path& target, const std::string& name)
{
    const std::string prefix = "." + target.filename().string() + "-";
    return name.size() == prefix.size() + 6 && name.compare(0, prefix.size(), prefix) == 0;
}

// What writers killed between writing and renaming left behind. Readers never
// look at these names, so they are only clutter; the age spares a writer that
// is working right now without the lock.
void removeAbandonedTemporaries(const std::filesystem::path& target, std::chrono::system_clock::time_point now)
{
    std::error_code error;
    for (std::filesystem::directory_iterator entry(target.parent_path(), error), end; !error && entry != end;
         entry.increment(error)) {
        struct stat status {};
        if (!isTemporaryOf(target, entry->path().filename().string())
            || ::lstat(entry->path().c_str(), &status) != 0 || !S_ISREG(status.st_mode))
            continue;
        const auto modified = std::chrono::system_clock::from_time_t(status.st_mtim.tv_sec);
        if (now - modified > abandonedAge)
            ::unlink(entry->path().c_str());
    }
}

// "history.json.corrupt-2026-11-23T10-04-05Z", then "…Z-2", "…Z-3": a name
// not yet taken, so every corruption keeps its own copy. Colons would trouble
// other systems' file names, hence the hyphens in the time.
std::string keptAsideName(const std::string& file, std::chrono::system_clock::time_point now)
{
    const std::string dated = file + ".corrupt-" + utcString(now, "%Y-%m-%dT%H-%M-%SZ");
    std::string name = dated;
    struct stat status {};
    for (int suffix = 2; ::lstat(name.c_str(), &status) == 0; ++suffix)
        name = dated + "-" + std::to_string(suffix);
    return name;
}

// The rename itself is made durable by syncing the folder that holds it.
void syncFolder(const std::filesystem::path& folder)
{
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    ::fsync(descriptor);
    ::close(descriptor);
}

} // namespace

CleanupHistory::CleanupHistory(std::string_view home) : m_file(std::string(home) + std::string(historyPath)) {}

CleanupHistory CleanupHistory::inFile(std::string file)
{
    CleanupHistory history;
    history.m_file = std::move(file);
    return history;
}

std::vector<CleanupRecord> CleanupHistory::load() const
{
    const FileText file = readFile(m_file);
    if (file.state != FileState::readable)
        return {};
    return decode(file.text).value_or(std::vector<CleanupRecord>{});
}

void CleanupHistory::append(const CleanupRecord& record) const
{
    if (record.freedBytes < 1 && record.items.empty())
        return;

    const std::filesystem::path target(m_file);
    std::error_code error;
    std::filesystem::create_directories(target.parent_path(), error);

    // The application and the command line may append at once: without the
    // lock, each would write its own record over the list the other read. A
    // lock that cannot be had is no reason to drop the record, so the write
    // goes ahead then, at the small risk of a stalled holder writing over it.
    const std::optional<Platform::FileLock> lock = Platform::FileLock::acquire(m_file + ".lock", lockPatience);
    const auto now = std::chrono::system_clock::now();
    if (lock)
        removeAbandonedTemporaries(target, now);

    // A file that is there but gives no list is set aside before it is replaced.
    const FileText existing = readFile(m_file);
    std::optional<std::vector<CleanupRecord>> decoded;
    if (existing.state == FileState::readable)
        decoded = decode(existing.text);
    const bool keepAside =
        existing.state == FileState::unreadable || (existing.state == FileState::readable && !decoded);

    std::vector<CleanupRecord> records{record};
    if (decoded)
        records.insert(records.end(), decoded->begin(), decoded->end());
    if (records.size() > maximumRecords)
        records.resize(maximumRecords);

    const std::optional<std::string> temporary = writeTemporary(target, encode(records));
    if (!temporary)
        return;
    // If the old file cannot be kept, it is not overwritten either: this record is lost instead.
    if ((keepAside && ::rename(m_file.c_str(), keptAsideName(m_file, now).c_str()) != 0)
        || ::rename(temporary->c_str(), m_file.c_str()) != 0) {
        ::unlink(temporary->c_str());
        return;
    }
    syncFolder(target.parent_path());
}

std::int64_t CleanupHistory::totalFreed() const
{
    std::int64_t total = 0;
    for (const CleanupRecord& record : load()) {
        // A hand-edited file must not overflow the sum.
        if (__builtin_add_overflow(total, record.freedBytes, &total))
            total = record.freedBytes > 0 ? std::numeric_limits<std::int64_t>::max()
                                          : std::numeric_limits<std::int64_t>::min();
    }
    return total;
}

std::string CleanupHistory::encode(const std::vector<CleanupRecord>& records)
{
    Json list = Json::array();
    for (const CleanupRecord& record : records)
        list.push_back(encodeRecord(record));
    // Titles come from folder names, which need not be valid UTF-8.
    return list.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::optional<std::vector<CleanupRecord>> CleanupHistory::decode(std::string_view text)
{
    const Json parsed = Json::parse(text, nullptr, false);
    if (parsed.is_discarded() || !parsed.is_array())
        return std::nullopt;
    std::vector<CleanupRecord> records;
    records.reserve(parsed.size());
    for (const Json& element : parsed) {
        std::optional<CleanupRecord> record = decodeRecord(element);
        if (!record)
            return std::nullopt;
        records.push_back(std::move(*record));
    }
    return records;
}

} // namespace tarno
