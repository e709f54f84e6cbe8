#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarno {

// One iOS simulator as the simulator tool lists it.
struct SimulatorDevice {
    std::string udid;
    std::string name;
    std::string runtime; // display name, such as "iOS 17.5"
    bool isAvailable = false;

    bool operator==(const SimulatorDevice&) const = default;
};

// Asks the simulator tool which iOS simulators exist.
namespace Simulators {

// "xcrun simctl list devices -j" from the platform's xcrun; empty when the tool
// is missing (always on Linux) or fails. Blocks for up to 60 seconds.
std::vector<SimulatorDevice> list();

// The same with the given xcrun.
std::vector<SimulatorDevice> list(const std::string& xcrun);

// The tool's JSON: runtimes in ascending order of their identifiers, devices
// in the order of the file. Anything that does not decode gives an empty list.
std::vector<SimulatorDevice> parse(std::string_view json);

// "com.apple.CoreSimulator.SimRuntime.iOS-17-5" → "iOS 17.5".
std::string runtimeName(std::string_view identifier);

} // namespace Simulators

} // namespace tarno
