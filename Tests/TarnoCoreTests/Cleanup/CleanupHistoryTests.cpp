#include "TarnoCore/Cleanup/CleanupHistory.hpp"

#include "Support/FileChecks.hpp"
#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

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

TEST(CleanupHistoryTests, AppendKeepsAFileThatDoesNotDecodeBesideIt)
{
    test::TemporaryFolder home;
    const CleanupHistory history(home.path());
    const std::string corrupt = history.file() + ".corrupt";
    write(history.file(), "[{\"date\": \"yesterday\"}]");

    history.append(recordAt(mayFirst, 0, {})); // leaves no line: the file is not touched
    EXPECT_EQ(contentsOf(history.file()), "[{\"date\": \"yesterday\"}]");
    EXPECT_FALSE(std::filesystem::exists(corrupt));

    history.append(recordAt(mayFirst, 10));
    EXPECT_EQ(contentsOf(corrupt), "[{\"date\": \"yesterday\"}]");
    EXPECT_EQ(history.load(), std::vector<CleanupRecord>{recordAt(mayFirst, 10)});

    // A good file is not set aside; a later corruption replaces the kept one.
    history.append(recordAt(mayFirst + 1, 20));
    EXPECT_EQ(contentsOf(corrupt), "[{\"date\": \"yesterday\"}]");
    write(history.file(), "truncat");
    history.append(recordAt(mayFirst + 2, 30));
    EXPECT_EQ(contentsOf(corrupt), "truncat");
    EXPECT_EQ(history.load(), std::vector<CleanupRecord>{recordAt(mayFirst + 2, 30)});
}

TEST(CleanupHistoryTests, AppendWritesAtomicallyAndLeavesNoTemporaryFileBehind)
{
    test::TemporaryFolder home;
    const CleanupHistory history(home.path());
    const std::string folder = std::filesystem::path(history.file()).parent_path().string();
    for (int index = 0; index < 3; ++index)
        history.append(recordAt(mayFirst + index, 100));
    EXPECT_EQ(entriesOf(folder), std::vector<std::string>{"history.json"});
    EXPECT_EQ(history.load().size(), 3U);

    // The new file replaces the old by name: a link there is replaced, not written through.
    const std::string elsewhere = home.makeFile("elsewhere.json");
    std::filesystem::remove(history.file());
    std::filesystem::create_symlink(elsewhere, history.file());
    history.append(recordAt(mayFirst + 10, 100));
    EXPECT_EQ(contentsOf(elsewhere), "");
    EXPECT_FALSE(std::filesystem::is_symlink(history.file()));
    EXPECT_EQ(entriesOf(folder), (std::vector<std::string>{"history.json", "history.json.corrupt"}))
        << "the empty file behind the link did not decode";
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
