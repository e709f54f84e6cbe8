#pragma once

#include <string>

namespace tarno {

// One iOS simulator as the simulator tool lists it.
struct SimulatorDevice {
    std::string udid;
    std::string name;
    std::string runtime; // display name, such as "iOS 17.5"
    bool isAvailable = false;

    bool operator==(const SimulatorDevice&) const = default;
};

} // namespace tarno
