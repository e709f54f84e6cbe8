#include "TarnoCore/Cleanup/Tools/Docker.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>

#include <sys/stat.h>

namespace tarno {
namespace {

using Arguments = std::vector<std::string>;

const std::string dfOutput = R"json({"Active":"2","Reclaimable":"1.2GB (30%)","Size":"4GB","TotalCount":"7","Type":"Images"}
{"Active":"1","Reclaimable":"512kB (50%)","Size":"1MB","TotalCount":"3","Type":"Containers"}
{"Active":"0","Reclaimable":"300MB","Size":"300MB","TotalCount":"2","Type":"Local Volumes"}
{"Active":"0","Reclaimable":"2.5GB","Size":"2.5GB","TotalCount":"40","Type":"Build Cache"}
)json";

std::string writeTool(const test::TemporaryFolder& folder, const std::string& name, const std::string& body,
                      mode_t mode = 0755)
{
    const std::string path = folder.makeFile(name);
    std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
    ::chmod(path.c_str(), mode);
    return path;
}

std::string answeringDocker(const test::TemporaryFolder& folder, const std::string& name)
{
    // Answers "system df" like Docker; any other arguments fail, so the call itself is checked.
    return writeTool(folder, name,
                     "[ \"$*\" = 'system df --format {{json .}}' ] || exit 2\ncat <<'EOF'\n" + dfOutput + "EOF");
}

TEST(DockerTests, ParseSizeReadsDecimalUnits)
{
    const std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    const std::vector<std::pair<std::string, std::int64_t>> cases = {
        {"1.2GB (30%)", 1'200'000'000}, {"0B", 0}, {"512kB", 512'000}, {"3.5MB", 3'500'000},
        {"2TB", 2'000'000'000'000}, {"  42B  (1%)", 42},
        {"1.9999B", 1},                  // truncated towards zero
        {"17", 17}, {"5PB", 5},          // no unit or an unknown one counts as bytes
        {"N/A", 0}, {"", 0}, {"1.2.3GB", 0}, {".GB", 0}, {"-5GB", 0},
        {"99999999999TB", largest}, {std::string(400, '9') + "B", largest}, {"9223372036854775807B", largest},
        {"9223372036854775808B", largest}, {std::string(1'000'000, '9') + "TB", largest},
        {"0." + std::string(1'000, '0') + "1TB", 0},
    };
    for (const auto& [text, bytes] : cases)
        EXPECT_EQ(Docker::parseSize(text), bytes) << text;
}

TEST(DockerTests, ParseUsageReadsOneObjectALine)
{
    EXPECT_EQ(Docker::parseUsage(dfOutput), (DockerUsage{512'000, 1'200'000'000, 300'000'000, 2'500'000'000}));

    EXPECT_FALSE(Docker::parseUsage(""));
    EXPECT_FALSE(Docker::parseUsage("\n\n\n"));
    EXPECT_FALSE(Docker::parseUsage("not json\n[1,2]\n{\"Type\":\"Images\"}\n{\"Type\":1,\"Reclaimable\":\"1B\"}"));
    EXPECT_EQ(Docker::parseUsage(R"({"Type":"Networks","Reclaimable":"5GB"})"), DockerUsage{})
        << "an unknown type still counts as a decoded line";
    EXPECT_EQ(Docker::parseUsage("{\"Type\":\"Images\",\"Reclaimable\":\"1kB\"}\nnot json\n"
                                 "{\"Type\":\"Containers\",\"Reclaimable\":\"2kB\"}"),
              (DockerUsage{2000, 1000, 0, 0}));
    EXPECT_EQ(Docker::parseUsage("{\"Type\":\"Images\",\"Reclaimable\":\"1kB\"}\n"
                                 "{\"Type\":\"Images\",\"Reclaimable\":\"7kB\"}\r\n"),
              (DockerUsage{0, 7000, 0, 0}))
        << "the last line of a type wins";
}

TEST(DockerTests, CleanupItemsOnlyForARunningTool)
{
    EXPECT_TRUE(Docker::cleanupItems(DockerStatus::notInstalled()).empty());
    EXPECT_TRUE(Docker::cleanupItems(DockerStatus::notRunning()).empty());

    const std::string cli = "/usr/local/bin/docker";
    const auto item = [&cli](std::string id, std::string title, std::string consequence, Safety safety,
                             Arguments arguments, std::int64_t bytes) {
        return CleanupItem{std::move(id), std::move(title), CleanupCategory::docker, std::move(consequence), safety,
                           CleanupAction::Run{cli, std::move(arguments), {}}, false, 1'000'000, bytes};
    };
    EXPECT_EQ(Docker::cleanupItems(DockerStatus::running(cli, DockerUsage{1, 2, 3, 4})),
              (std::vector<CleanupItem>{
                  item("docker.containers", "Stopped containers", "Anything written inside those containers is lost.",
                       Safety::review, {"container", "prune", "--force"}, 1),
                  item("docker.images", "Images no container uses",
                       "They are pulled or built again the next time you need them.", Safety::review,
                       {"image", "prune", "--all", "--force"}, 2),
                  item("docker.volumes", "Volumes no container uses",
                       "Erases the data stored in them, such as databases, for good.", Safety::review,
                       {"volume", "prune", "--all", "--force"}, 3),
                  item("docker.buildCache", "Build cache", "The next image build starts from scratch.", Safety::safe,
                       {"builder", "prune", "--all", "--force"}, 4),
              }));
}

TEST(DockerTests, CandidatesKeepTheMacOrderThenLinux)
{
    EXPECT_EQ(Docker::cliCandidates("/Users/ann"),
              (Arguments{"/usr/local/bin/docker", "/opt/homebrew/bin/docker", "/Users/ann/.docker/bin/docker",
                         "/Applications/Docker.app/Contents/Resources/bin/docker", "/usr/bin/docker",
                         "/snap/bin/docker"}));
}

TEST(DockerTests, StatusAsksTheFirstExecutableCandidateOnly)
{
    test::TemporaryFolder folder;
    const std::string answering = answeringDocker(folder, "answering");
    const std::string daemonDown = writeTool(folder, "down", "echo 'Cannot connect to the Docker daemon' >&2; exit 1");
    const std::string silent = writeTool(folder, "silent", "echo 'nothing useful'");
    const std::string notExecutable = answeringDocker(folder, "plain");
    ::chmod(notExecutable.c_str(), 0644);
    const std::string folderCandidate = folder.makeFolder("a-folder");

    EXPECT_EQ(Docker::status({folder / "missing", notExecutable, folderCandidate, answering}),
              DockerStatus::running(answering, DockerUsage{512'000, 1'200'000'000, 300'000'000, 2'500'000'000}));
    EXPECT_EQ(Docker::status({daemonDown, answering}), DockerStatus::notRunning())
        << "later candidates are not tried, and the failing path is not reported";
    EXPECT_EQ(Docker::status({silent}), DockerStatus::notRunning());
    EXPECT_EQ(Docker::status({}), DockerStatus::notInstalled());

    // None executable: nothing runs, not even a candidate that would leave a mark.
    const std::string marker = folder / "ran";
    const std::string marking = writeTool(folder, "marking", "touch '" + marker + "'", 0644);
    EXPECT_EQ(Docker::status({folder / "missing", marking, folderCandidate}), DockerStatus::notInstalled());
    EXPECT_FALSE(std::filesystem::exists(marker));
}

} // namespace
} // namespace tarno
