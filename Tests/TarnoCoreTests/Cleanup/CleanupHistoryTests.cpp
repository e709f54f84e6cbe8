#include "TarnoCore/Cleanup/CleanupHistory.hpp"

#include "Support/FileChecks.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace tarno {
namespace {

using std::chrono::system_clock;
using test::contentsOf;

constexpr std::time_t mayFirst = 1714555800; // 2024-05-01T09:30:00Z

CleanupRecord recordAt(std::time_t seconds, std::int64_t freedBytes, std::vector<std::string> items = {"Caches"},
                       int failures = 0)
{
    return CleanupRecord{system_clock::from_time_t(seconds), "Cleanup", freedBytes, std::move(items), failures};
}

void write(const std::string& path, std::string_view text)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

std::vector<std::string> entriesOf(const std::string& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// The names in the folder that start with `prefix`, sorted.
std::vector<std::string> entriesStartingWith(const std::string& folder, std::string_view prefix)
{
    std::vector<std::string> names = entriesOf(folder);
    std::erase_if(names, [&](const std::string& name) { return name.rfind(prefix, 0) != 0; });
    return names;
}

// Starts `body` in a forked child that waits for `gate` to be written before it
// runs; the child's exit status says whether the body succeeded.
pid_t forkWaiting(int gate, const std::function<bool()>& body)
{
    const pid_t child = ::fork();
    if (child == 0) {
        char go = 0;
        const bool started = ::read(gate, &go, 1) == 1;
        ::_exit(started && body() ? 0 : 1);
    }
    return child;
}

bool endedWell(pid_t child)
{
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(CleanupHistoryTests, AMissingFileIsAnEmptyHistoryAndAppendCreatesIt)
{
    EXPECT_EQ(CleanupHistory("/Users/ada").file(), "/Users/ada/Library/Application Support/Tarno/history.json");
    test::TemporaryFolder home;
    const CleanupHistory history(home.path());
    EXPECT_TRUE(history.load().empty());
    EXPECT_EQ(history.totalFreed(), 0);
    EXPECT_FALSE(std::filesystem::exists(home / "Library"));

    const CleanupRecord record = recordAt(mayFirst, 1500, {"Build data (DerivedData)", "Archives"}, 2);
    history.append(record);
    EXPECT_EQ(history.load(), std::vector<CleanupRecord>{record});
    EXPECT_EQ(history.totalFreed(), 1500);
}

TEST(CleanupHistoryTests, OnlyARecordThatFreedNothingAndNamesNothingIsDropped)
{
    test::TemporaryFolder home;
    const CleanupHistory history(home.path());
    history.append(recordAt(mayFirst, 0, {}));
    history.append(recordAt(mayFirst, -20, {}));
    EXPECT_FALSE(std::filesystem::exists(history.file())) << "an operation that did nothing leaves no line";

    history.append(recordAt(mayFirst + 1, 0, {"Trash"}));
    history.append(recordAt(mayFirst + 2, 5, {}));
    EXPECT_EQ(history.load(), (std::vector<CleanupRecord>{recordAt(mayFirst + 2, 5, {}),
                                                          recordAt(mayFirst + 1, 0, {"Trash"})}));
    EXPECT_EQ(history.totalFreed(), 5);
}

TEST(CleanupHistoryTests, TheFileIsPrettyPrintedWithSortedKeysAndSecondsInUtc)
{
    test::TemporaryFolder home;
    const CleanupHistory history(home.path());
    // Fractions of a second are dropped.
    history.append(CleanupRecord{system_clock::from_time_t(mayFirst) + std::chrono::milliseconds(750), "Cleanup",
                                 2048, {"Trash", "Quote \" and \\ back"}, 1});
    EXPECT_EQ(contentsOf(history.file()), R"([
  {
    "date": "2024-05-01T09:30:00Z",
    "failures": 1,
    "freedBytes": 2048,
    "items": [
      "Trash",
      "Quote \" and \\ back"
    ],
    "source": "Cleanup"
  }
])");
    EXPECT_EQ(history.load().at(0).date, system_clock::from_time_t(mayFirst));
}

TEST(CleanupHistoryTests, NewestComeFirstAndThe501stAppendDropsTheOldest)
{
    test::TemporaryFolder home;
    const CleanupHistory history(home.path());
    std::vector<CleanupRecord> existing;
    for (int index = 0; index < 500; ++index)
        existing.push_back(recordAt(mayFirst - index, index + 1)); // newest first: freed 1 is the newest
    write(history.file(), CleanupHistory::encode(existing));
    ASSERT_EQ(history.load().size(), 500U);

    const CleanupRecord newest = recordAt(mayFirst + 60, 1'000'000);
    history.append(newest);
    const std::vector<CleanupRecord> records = history.load();
    ASSERT_EQ(records.size(), CleanupHistory::maximumRecords);
    EXPECT_EQ(records.front(), newest);
    EXPECT_EQ(records[1], existing[0]);
    EXPECT_EQ(records.back(), existing[498]);
    EXPECT_EQ(history.totalFreed(), 1'000'000 + 499 * 500 / 2); // the oldest (500) is gone
}

TEST(CleanupHistoryTests, ARecordMissingAnyKeyOrOfTheWrongKindMakesTheFileUndecodable)
{
    const auto record = [](std::string date, std::string source, std::string freed, std::string items,
                           std::string failures) {
        return R"([{"date": )" + date + R"(, "source": )" + source + R"(, "freedBytes": )" + freed +
               R"(, "items": )" + items + R"(, "failures": )" + failures + "}]";
    };
    const std::string date = R"("2024-05-01T09:30:00Z")";
    const std::string complete = record(date, R"("Cleanup")", "10", R"(["A"])", "0");
    ASSERT_TRUE(CleanupHistory::decode(complete));
    EXPECT_EQ(CleanupHistory::decode("[]"), std::vector<CleanupRecord>{});
    EXPECT_EQ(CleanupHistory::decode(R"([{"date": "2024-05-01T11:30:00+02:00", "source": "Apps", "freedBytes": 1,
                                          "items": [], "failures": 0, "extra": true}])"),
              (std::vector<CleanupRecord>{CleanupRecord{system_clock::from_time_t(mayFirst), "Apps", 1, {}, 0}}))
        << "an offset is honoured and unknown keys are ignored";

    const std::string whole = complete.substr(1, complete.size() - 2);
    const std::vector<std::pair<std::string, std::string>> fields = {
        {"date", date}, {"source", R"("Cleanup")"}, {"freedBytes", "10"}, {"items", R"(["A"])"}, {"failures", "0"}};
    for (const auto& [left, unused] : fields) {
        std::string partial;
        for (const auto& [key, value] : fields)
            partial += key == left ? "" : (partial.empty() ? "{" : ", ") + ("\"" + key + "\": ") + value;
        EXPECT_FALSE(CleanupHistory::decode("[" + whole + ", " + partial + "}]")) << "without " << left;
    }
    const std::string c = R"("C")";
    const std::vector<std::string> malformed = {
        "", "{}", "[1]", complete.substr(0, complete.size() - 1), "[\"\xff\"]",
        record(R"("2024-05-01 09:30:00")", c, "1", "[]", "0"), record(R"("2024-02-30T09:30:00Z")", c, "1", "[]", "0"),
        record(R"("2024-05-01T09:30:00.5Z")", c, "1", "[]", "0"), record("1714555800", c, "1", "[]", "0"),
        record(date, "7", "1", "[]", "0"), record(date, c, R"("1")", "[]", "0"), record(date, c, "1.5", "[]", "0"),
        record(date, c, "18446744073709551615", "[]", "0"), record(date, c, "1", "[3]", "0"),
        record(date, c, "1", R"("A")", "0"), record(date, c, "1", "[]", "null"),
    };
    for (const std::string& text : malformed)
        EXPECT_FALSE(CleanupHistory::decode(text)) << text;

    test::TemporaryFolder home;
    const CleanupHistory history(home.path());
    write(history.file(), "[" + whole + R"(, {"date": "2024-05-01T09:30:00Z", "source": "Cleanup"}])");
    EXPECT_TRUE(history.load().empty());
    EXPECT_EQ(history.totalFreed(), 0);
}

TEST(CleanupHistoryTests, ADateTheClockCannotHoldMakesTheFileUndecodableAndOneItCanRoundTrips)
{
    const auto withDate = [](const std::string& date) {
        return R"([{"date": ")" + date + R"(", "source": "C", "freedBytes": 1, "items": [], "failures": 0}])";
    };
    // The clock counts nanoseconds in 64 bits: from 1677-09-21T00:12:44Z to 2262-04-11T23:47:16Z.
    for (const std::string date : {"0000-01-01T00:30:00+01:00", "1600-01-01T00:00:00Z", "1677-09-21T00:12:43Z",
                                   "2262-04-11T23:47:17Z", "2262-04-12T00:00:00-01:00", "9999-12-31T23:59:59Z"})
        EXPECT_FALSE(CleanupHistory::decode(withDate(date))) << date;
    for (const std::string date : {"1677-09-21T00:12:44Z", "1970-01-01T00:00:00Z", "2262-04-11T23:47:16Z"}) {
        const std::optional<std::vector<CleanupRecord>> records = CleanupHistory::decode(withDate(date));
        ASSERT_TRUE(records) << date;
        EXPECT_EQ(CleanupHistory::decode(CleanupHistory::encode(*records)), records) << date;
    }
}

TEST(CleanupHistoryTests, AppendKeepsEveryFileThatDoesNotDecodeUnderItsOwnDatedName)
{
    test::TemporaryFolder home;
    const CleanupHistory history(home.path());
    const std::string folder = std::filesystem::path(history.file()).parent_path().string();
    write(history.file(), "[{\"date\": \"yesterday\"}]");

    history.append(recordAt(mayFirst, 0, {})); // leaves no line: the file is not touched
    EXPECT_EQ(contentsOf(history.file()), "[{\"date\": \"yesterday\"}]");
    EXPECT_TRUE(entriesStartingWith(folder, "history.json.corrupt").empty());

    const auto before = system_clock::now();
    history.append(recordAt(mayFirst, 10));
    const auto after = system_clock::now();
    const std::vector<std::string> first = entriesStartingWith(folder, "history.json.corrupt");
    ASSERT_EQ(first.size(), 1U);
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(first[0], parts,
                                 std::regex(R"(history\.json\.corrupt-(\d{4})-(\d\d)-(\d\d)T(\d\d)-(\d\d)-(\d\d)Z)")))
        << first[0];
    // The name tells when the file was set aside, in UTC.
    std::tm utc{};
    utc.tm_year = std::stoi(parts[1]) - 1900;
    utc.tm_mon = std::stoi(parts[2]) - 1;
    utc.tm_mday = std::stoi(parts[3]);
    utc.tm_hour = std::stoi(parts[4]);
    utc.tm_min = std::stoi(parts[5]);
    utc.tm_sec = std::stoi(parts[6]);
    const auto named = system_clock::from_time_t(::timegm(&utc));
    EXPECT_LE(std::chrono::floor<std::chrono::seconds>(before), named);
    EXPECT_LE(named, after);
    EXPECT_EQ(contentsOf(folder + "/" + first[0]), "[{\"date\": \"yesterday\"}]");
    EXPECT_EQ(history.load(), std::vector<CleanupRecord>{recordAt(mayFirst, 10)});

    // A good file is not set aside; later corruptions, even within the same
    // second, each get their own copy and never replace an earlier one.
    history.append(recordAt(mayFirst + 1, 20));
    EXPECT_EQ(entriesStartingWith(folder, "history.json.corrupt"), first);
    const std::vector<std::string> damaged = {"truncat", "", "{\"not\": \"a list\"}"};
    for (std::size_t index = 0; index < damaged.size(); ++index) {
        write(history.file(), damaged[index]);
        history.append(recordAt(mayFirst + 2, 30));
    }
    std::vector<std::string> kept;
    for (const std::string& name : entriesStartingWith(folder, "history.json.corrupt"))
        kept.push_back(contentsOf(folder + "/" + name));
    std::sort(kept.begin(), kept.end());
    EXPECT_EQ(kept, (std::vector<std::string>{"", "[{\"date\": \"yesterday\"}]", "truncat", "{\"not\": \"a list\"}"}));
    EXPECT_EQ(history.load(), std::vector<CleanupRecord>{recordAt(mayFirst + 2, 30)});

    // The names this second and the next are taken, by a file and by a
    // dangling link: the copy takes a numbered name and leaves both alone.
    const auto stamp = [](system_clock::time_point when) {
        char text[32];
        const std::time_t instant = system_clock::to_time_t(when);
        std::tm fields{};
        ::gmtime_r(&instant, &fields);
        return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H-%M-%SZ", &fields));
    };
    for (const std::string& name : entriesStartingWith(folder, "history.json.corrupt"))
        std::filesystem::remove(folder + "/" + name);
    const auto now = system_clock::now();
    const std::string taken = history.file() + ".corrupt-" + stamp(now);
    const std::string next = history.file() + ".corrupt-" + stamp(now + std::chrono::seconds(1));
    write(taken, "earlier copy");
    std::filesystem::create_symlink(home / "nowhere", next);
    write(history.file(), "[1]");
    history.append(recordAt(mayFirst + 3, 40));
    EXPECT_EQ(contentsOf(taken), "earlier copy");
    EXPECT_TRUE(std::filesystem::is_symlink(next));
    const bool numbered = contentsOf(taken + "-2") == "[1]" || contentsOf(next + "-2") == "[1]";
    EXPECT_TRUE(numbered) << "the newest corrupt file was not kept under a numbered name";
    EXPECT_EQ(history.load(), std::vector<CleanupRecord>{recordAt(mayFirst + 3, 40)});
}

TEST(CleanupHistoryTests, AppendWritesAtomicallyAndLeavesNoTemporaryFileBehind)
{
    test::TemporaryFolder home;
    const CleanupHistory history(home.path());
    const std::string folder = std::filesystem::path(history.file()).parent_path().string();
    for (int index = 0; index < 3; ++index)
        history.append(recordAt(mayFirst + index, 100));
    EXPECT_EQ(entriesOf(folder), (std::vector<std::string>{"history.json", "history.json.lock"}));
    EXPECT_EQ(history.load().size(), 3U);

    // The new file replaces the old by name: a link there is replaced, not written through.
    const std::string elsewhere = home.makeFile("elsewhere.json");
    std::filesystem::remove(history.file());
    std::filesystem::create_symlink(elsewhere, history.file());
    history.append(recordAt(mayFirst + 10, 100));
    EXPECT_EQ(contentsOf(elsewhere), "");
    EXPECT_FALSE(std::filesystem::is_symlink(history.file()));
    EXPECT_EQ(entriesStartingWith(folder, "history.json.corrupt").size(), 1U)
        << "the empty file behind the link did not decode";
}

TEST(CleanupHistoryTests, TwoProcessesAppendingAtOnceLoseNoRecordAndReadersSeeWholeFiles)
{
    test::TemporaryFolder home;
    const CleanupHistory history(home.path());
    constexpr int each = 60;
    // Each writer marks its records with its source and a running number.
    const auto appendAll = [&history](const std::string& source) {
        bool whole = true;
        for (int index = 1; index <= each; ++index) {
            history.append(CleanupRecord{system_clock::from_time_t(mayFirst + index), source, index, {"Caches"}, 0});
            // The file is always one whole version, holding at least this writer's records.
            const std::vector<CleanupRecord> seen = history.load();
            whole = whole && std::count_if(seen.begin(), seen.end(), [&](const CleanupRecord& record) {
                                 return record.source == source;
                             }) == index;
        }
        return whole;
    };

    int gate[2];
    ASSERT_EQ(::pipe(gate), 0);
    const pid_t first = forkWaiting(gate[0], [&] { return appendAll("Cleanup"); });
    const pid_t second = forkWaiting(gate[0], [&] { return appendAll("Projects"); });
    ASSERT_GT(first, 0);
    ASSERT_GT(second, 0);
    // Both start together, so their read-modify-write cycles overlap.
    ASSERT_EQ(::write(gate[1], "gg", 2), 2);
    ::close(gate[0]);
    ::close(gate[1]);
    EXPECT_TRUE(endedWell(first)) << "a writer saw a history without its own records";
    EXPECT_TRUE(endedWell(second)) << "a writer saw a history without its own records";

    const std::vector<CleanupRecord> records = history.load();
    ASSERT_EQ(records.size(), 2U * each);
    for (const std::string source : {"Cleanup", "Projects"}) {
        // Each writer's records stand newest first, none missing.
        std::vector<std::int64_t> numbers;
        for (const CleanupRecord& record : records)
            if (record.source == source)
                numbers.push_back(record.freedBytes);
        std::vector<std::int64_t> expected(each);
        std::generate(expected.begin(), expected.end(), [number = std::int64_t{each}]() mutable { return number--; });
        EXPECT_EQ(numbers, expected) << source;
    }
}

TEST(CleanupHistoryTests, AWriterKilledMidWayLeavesThePreviousHistoryWhole)
{
    test::TemporaryFolder home;
    const CleanupHistory history(home.path());
    const std::string folder = std::filesystem::path(history.file()).parent_path().string();
    history.append(recordAt(mayFirst + 1, 1));

    // A writer that keeps appending numbered records is killed at moments
    // that fall anywhere in its cycle. Each time, the file holds every record
    // up to some number, whole: the one in flight is either in or out.
    std::int64_t highest = 1;
    for (int round = 0; round < 8; ++round) {
        int gate[2];
        ASSERT_EQ(::pipe(gate), 0);
        const pid_t writer = forkWaiting(gate[0], [&] {
            for (std::int64_t number = highest + 1;; ++number)
                history.append(recordAt(mayFirst + number, number));
            return true;
        });
        ASSERT_GT(writer, 0);
        ASSERT_EQ(::write(gate[1], "g", 1), 1);
        ::close(gate[0]);
        ::close(gate[1]);
        std::this_thread::sleep_for(std::chrono::milliseconds(20 + 7 * round));
        ::kill(writer, SIGKILL);
        EXPECT_FALSE(endedWell(writer));

        const std::vector<CleanupRecord> records = history.load();
        ASSERT_FALSE(records.empty()) << "round " << round << ": the file no longer decodes";
        const std::int64_t newest = records.front().freedBytes;
        EXPECT_GE(newest, highest);
        ASSERT_EQ(records.size(), std::min<std::size_t>(static_cast<std::size_t>(newest), 500U));
        for (std::size_t index = 0; index < records.size(); ++index)
            EXPECT_EQ(records[index], recordAt(mayFirst + newest - static_cast<std::int64_t>(index),
                                               newest - static_cast<std::int64_t>(index)));
        highest = newest;
    }

    // What a killed writer may leave is a temporary file cut off anywhere.
    // Readers never look at it; the next append removes it once it is too old
    // to belong to a writer still at work, and spares a fresh one.
    const std::string abandoned = folder + "/.history.json-Ab12Cd";
    const std::string fresh = folder + "/.history.json-Ef34Gh";
    write(abandoned, CleanupHistory::encode({recordAt(mayFirst, 1)}).substr(0, 40));
    write(fresh, "[");
    std::filesystem::last_write_time(abandoned, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    const std::string neighbour = home.makeFile("Library/Application Support/Tarno/.history.json-notes", 3);
    const std::vector<CleanupRecord> before = history.load();
    EXPECT_EQ(before.front().freedBytes, highest);
    history.append(recordAt(mayFirst + highest + 1, highest + 1));
    EXPECT_FALSE(test::exists(abandoned));
    EXPECT_EQ(contentsOf(fresh), "[");
    EXPECT_EQ(contentsOf(neighbour), "xxx") << "only names a writer makes are removed";
    const std::vector<CleanupRecord> after = history.load();
    ASSERT_EQ(after.size(), std::min<std::size_t>(before.size() + 1, 500U));
    EXPECT_TRUE(std::equal(after.begin() + 1, after.end(), before.begin()));
}

TEST(CleanupHistoryTests, AFolderThatCannotBeCreatedLosesTheRecordQuietly)
{
    test::TemporaryFolder home;
    home.makeFile("Library", 10); // a file where the folder should be
    const CleanupHistory history(home.path());
    history.append(recordAt(mayFirst, 100));
    EXPECT_TRUE(history.load().empty());
    EXPECT_EQ(entriesOf(home.path()), std::vector<std::string>{"Library"});
}

} // namespace
} // namespace tarno
