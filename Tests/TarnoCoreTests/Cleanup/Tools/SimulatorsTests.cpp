#include "TarnoCore/Cleanup/Tools/Simulators.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <fstream>

#include <sys/stat.h>

namespace tarno {
namespace {

using Devices = std::vector<SimulatorDevice>;

const std::string listing = R"({
  "devices" : {
    "com.apple.CoreSimulator.SimRuntime.iOS-17-5" : [
      { "udid" : "B2", "name" : "iPhone 15", "state" : "Shutdown", "isAvailable" : true },
      { "udid" : "A1", "name" : "iPad Air", "isAvailable" : false,
        "availabilityError" : "runtime profile not found" }
    ],
    "com.apple.CoreSimulator.SimRuntime.watchOS-10-2-1" : [
      { "udid" : "C3", "name" : "Apple Watch", "isAvailable" : null }
    ],
    "com.apple.CoreSimulator.SimRuntime.tvOS-17-0" : [ ],
    "com.apple.CoreSimulator.SimRuntime.iOS-16-4" : [
      { "udid" : "D4", "name" : "iPhone 14" }
    ]
  }
})";

TEST(SimulatorsTests, ParseSortsRuntimesAndKeepsDeviceOrder)
{
    EXPECT_EQ(Simulators::parse(listing), (Devices{
                                              {"D4", "iPhone 14", "iOS 16.4", true},
                                              {"B2", "iPhone 15", "iOS 17.5", true},
                                              {"A1", "iPad Air", "iOS 17.5", false},
                                              {"C3", "Apple Watch", "watchOS 10.2.1", true},
                                          }));
    EXPECT_TRUE(Simulators::parse(R"({"devices":{}})").empty());
}

TEST(SimulatorsTests, RuntimeNameComesFromTheLastPieceOfTheIdentifier)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"com.apple.CoreSimulator.SimRuntime.iOS-17-5", "iOS 17.5"}, {"com.x.watchOS-10-2-1", "watchOS 10.2.1"},
        {"foo", "foo"}, {"a.visionOS", "visionOS"}, {"iOS-", "iOS "}, {"", ""},
        {"a.xrOS-1-0..", "xrOS 1.0"}, // empty pieces are left out
        {"...", "..."},               // no piece: the whole identifier
    };
    for (const auto& [identifier, name] : cases)
        EXPECT_EQ(Simulators::runtimeName(identifier), name) << identifier;
}

TEST(SimulatorsTests, AnythingThatDoesNotDecodeGivesAnEmptyList)
{
    const char* malformed[] = {
        "", "not json", "[]", "{}", R"({"devices":[]})",
        R"({"devices":{"r":{}}})",
        R"({"devices":{"r":[{"name":"no udid"}]}})",
        R"({"devices":{"r":[{"udid":"1","name":2}]}})",
        R"({"devices":{"r":[{"udid":"1","name":"x","isAvailable":"YES"}]}})",
        R"({"devices":{"a":[{"udid":"1","name":"x"}],"b":[7]}})",
        R"({"devices":{"r":[{"udid":"1","name":"x"}]}} trailing)",
        "{\"devices\":{\"r\":[{\"udid\":\"1\",\"name\":\"x\"}]}",
    };
    for (const char* text : malformed)
        EXPECT_TRUE(Simulators::parse(text).empty()) << text;
}

TEST(SimulatorsTests, ListRunsSimctlThroughXcrun)
{
    test::TemporaryFolder folder;
    const auto tool = [&folder](const std::string& name, const std::string& body) {
        const std::string path = folder.makeFile(name);
        std::ofstream(path) << "#!/bin/sh\n[ \"$*\" = 'simctl list devices -j' ] || exit 2\n" << body << "\n";
        ::chmod(path.c_str(), 0755);
        return path;
    };

    EXPECT_EQ(Simulators::list(tool("xcrun", "cat <<'EOF'\n" + listing + "\nEOF")).size(), 4U);
    EXPECT_TRUE(Simulators::list(tool("failing", "cat <<'EOF'\n" + listing + "\nEOF\nexit 1")).empty());
    EXPECT_TRUE(Simulators::list(folder / "missing").empty());
}

} // namespace
} // namespace tarno
