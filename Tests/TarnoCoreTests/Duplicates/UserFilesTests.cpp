#include "TarnoCore/Duplicates/UserFiles.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace tarno {
namespace {

using test::TemporaryFolder;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAreArray;

constexpr std::int64_t floor = 64 * 1024;

std::vector<std::string> pathsOf(const std::vector<UserFiles::File>& files, const std::string& below)
{
    std::vector<std::string> paths;
    for (const UserFiles::File& file : files)
        paths.push_back(file.path.substr(below.size() + 1));
    return paths;
}

TEST(UserFilesTests, ListsOnlyThePersonsOwnFiles)
{
    TemporaryFolder home;
    const std::vector<std::string> listed = {
        "Documents/report.pdf", "Documents/Trip.APP.notes/inside.bin", "Documents/build/output.bin",
        "Pictures/exact-floor.bin",
    };
    for (const std::string& path : listed)
        home.makeFile(path, floor + 1);
    home.makeFile("Pictures/exact-floor.bin", floor); // the floor itself stays
    const std::vector<std::string> leftOut = {
        "Documents/.hidden.bin",                 // a hidden name
        "Documents/.secret/inside.bin",          // a hidden folder
        "Documents/repo/src/code.bin",           // a repository
        "Documents/node_modules/pkg/big.bin",    // a skipped name
        "Documents/__pycache__/big.bin",
        "Documents/Photos Library.photoslibrary/master.bin", // a package
        "Documents/Old.APP/Contents/big.bin",                // upper-case extension
        "Documents/app/build/out.bin",                       // build output beside its marker
        "Documents/small.bin",
    };
    for (const std::string& path : leftOut)
        home.makeFile(path, path.ends_with("small.bin") ? 4096 : floor + 1);
    home.makeFolder("Documents/repo/.git");
    home.makeFile("Documents/app/pubspec.yaml", 10);
    // The same file hard-linked under both roots is listed once.
    home.makeHardLink("Documents/report.pdf", "Pictures/report-link.pdf");
    // A sparse file is judged by what it occupies.
    const int sparse = ::open((home / "Pictures/sparse.bin").c_str(), O_WRONLY | O_CREAT, 0644);
    ASSERT_EQ(::ftruncate(sparse, 50'000'000), 0);
    ::close(sparse);

    std::vector<std::int64_t> reports;
    const std::vector<UserFiles::File> files = UserFiles::list(
        {home / "Documents", home / "Pictures", home / "missing"}, floor, [](std::string_view) { return true; },
        [&](std::int64_t examined) { reports.push_back(examined); }, [] { return false; });

    EXPECT_THAT(pathsOf(files, home.path()), UnorderedElementsAreArray(listed));
    for (const UserFiles::File& file : files) {
        EXPECT_GE(file.bytes, floor) << file.path;
        EXPECT_EQ(file.length, file.path.ends_with("exact-floor.bin") ? floor : floor + 1) << file.path;
        EXPECT_NE(file.cloneID, 0u);
    }
    // Files inside a repository are not even examined; the last report is the total.
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.back(), 9);

    // `accept` is asked about names, after the size test.
    std::vector<std::string> asked;
    UserFiles::list({home / "Pictures"}, floor, [&](std::string_view name) {
        asked.emplace_back(name);
        return false;
    }, {}, [] { return false; });
    EXPECT_THAT(asked, ::testing::UnorderedElementsAre("exact-floor.bin", "report-link.pdf"));
}

TEST(UserFilesTests, FreedCountsEachCloneOnceAndNotWhileOneStays)
{
    struct Share {
        std::string path;
        std::int64_t bytes;
        std::uint64_t cloneID;
    };
    const std::vector<Share> files = {{"a", 100, 1}, {"b", 100, 1}, {"c", 300, 2}, {"d", 50, 3}};
    const struct {
        std::set<std::string> removing;
        std::int64_t freed;
    } cases[] = {
        {{}, 0}, {{"a"}, 0}, {{"a", "b"}, 100}, {{"c", "d"}, 350}, {{"a", "b", "c", "d"}, 450}, {{"x"}, 0},
    };
    for (const auto& each : cases)
        EXPECT_EQ(UserFiles::freed(files, each.removing), each.freed) << ::testing::PrintToString(each.removing);
}

} // namespace
} // namespace tarno
