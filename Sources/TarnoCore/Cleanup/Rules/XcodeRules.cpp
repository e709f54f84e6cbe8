#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

#include "TarnoCore/Platform/ToolLocations.hpp"

#include <algorithm>
#include <set>

namespace tarno::RuleFamilies {

namespace {

using CleanupCatalog::Builder;

// A udid is one folder name; anything else from the tool must not steer a path elsewhere.
bool isFolderName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

std::string joined(const std::set<std::string>& parts, std::string_view separator)
{
    std::string text;
    for (const std::string& part : parts) {
        if (!text.empty())
            text += separator;
        text += part;
    }
    return text;
}

// One item for every simulator whose system version is gone. simctl removes
// them itself; the item's size is that of their folders.
void addUnavailableSimulators(Builder& builder)
{
    const CleanupEnvironment& env = builder.env();
    if (!env.simulators)
        return;
    std::vector<SimulatorDevice> unavailable = env.simulators();
    std::erase_if(unavailable, [](const SimulatorDevice& device) { return device.isAvailable; });
    if (unavailable.empty())
        return;

    std::set<std::string> runtimes;
    std::vector<std::string> affects;
    for (const SimulatorDevice& device : unavailable) {
        runtimes.insert(device.runtime);
        if (isFolderName(device.udid))
            affects.push_back(env.home + "/Library/Developer/CoreSimulator/Devices/" + device.udid);
    }
    // The count is of the devices, whether or not their folders are still there.
    const std::string count =
        unavailable.size() == 1 ? "1 device" : std::to_string(unavailable.size()) + " devices";
    builder.addRun("xcode.simulators.unavailable", "Simulators for " + joined(runtimes, ", ") + " (" + count + ")",
                   CleanupCategory::xcode,
                   "None. Those system versions are no longer installed, so these simulators cannot start.",
                   Safety::safe, CleanupAction::Run{Platform::xcrun(), {"simctl", "delete", "unavailable"}, affects});
}

} // namespace

void xcode(Builder& builder)
{
    const std::string& home = builder.env().home;
    const std::string xcodeFolder = home + "/Library/Developer/Xcode";
    const CleanupCategory category = CleanupCategory::xcode;

    builder.add("xcode.derivedData", "Build data (DerivedData)", category,
                "The next build of each project starts from scratch.", Safety::safe,
                CleanupAction::DeleteContents{{xcodeFolder + "/DerivedData"}});
    builder.add("xcode.deviceSupport", "Device support files", category,
                "Xcode copies them again the next time you connect a device.", Safety::safe,
                CleanupAction::DeleteContents{{
                    xcodeFolder + "/iOS DeviceSupport",
                    xcodeFolder + "/watchOS DeviceSupport",
                    xcodeFolder + "/tvOS DeviceSupport",
                    xcodeFolder + "/visionOS DeviceSupport",
                }});
    builder.add("xcode.ibSupport", "Interface Builder simulators", category,
                "Xcode recreates them when it next needs them.", Safety::safe,
                CleanupAction::Delete{{xcodeFolder + "/UserData/IB Support"}});
    builder.add("xcode.previews", "SwiftUI preview data", category, "Previews rebuild the next time you open one.",
                Safety::safe, CleanupAction::Delete{{xcodeFolder + "/UserData/Previews"}});
    addUnavailableSimulators(builder);
    builder.add("xcode.simulatorCaches", "Simulator caches", category, "Simulators rebuild them on their next launch.",
                Safety::safe, CleanupAction::DeleteContents{{home + "/Library/Developer/CoreSimulator/Caches"}});
    builder.add("xcode.cocoapods", "CocoaPods cache", category, "Pods download again on the next pod install.",
                Safety::safe, CleanupAction::Delete{{home + "/Library/Caches/CocoaPods"}});
    builder.add("xcode.archives", "Archives", category,
                "You can no longer re-export these builds or symbolicate their crash reports.", Safety::review,
                CleanupAction::DeleteContents{{xcodeFolder + "/Archives"}});
}

} // namespace tarno::RuleFamilies
