#include "TarnoCore/Cleanup/Tools/Simulators.hpp"

#include "TarnoCore/Foundation/Shell.hpp"
#include "TarnoCore/Platform/ToolLocations.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace tarno::Simulators {

namespace {

constexpr std::chrono::seconds listTimeout{60};

const nlohmann::json* stringMember(const nlohmann::json& object, const char* key)
{
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? &*found : nullptr;
}

// One device, or nothing when it lacks a string udid or name, or its
// "isAvailable" is there but is not a bool (null counts as not there).
std::optional<SimulatorDevice> decodeDevice(const nlohmann::json& device, const std::string& runtime)
{
    if (!device.is_object())
        return std::nullopt;
    const nlohmann::json* udid = stringMember(device, "udid");
    const nlohmann::json* name = stringMember(device, "name");
    if (udid == nullptr || name == nullptr)
        return std::nullopt;
    bool isAvailable = true;
    if (const auto available = device.find("isAvailable"); available != device.end() && !available->is_null()) {
        if (!available->is_boolean())
            return std::nullopt;
        isAvailable = available->get<bool>();
    }
    return SimulatorDevice{udid->get<std::string>(), name->get<std::string>(), runtime, isAvailable};
}

} // namespace

std::vector<SimulatorDevice> list()
{
    return list(Platform::xcrun());
}

std::vector<SimulatorDevice> list(const std::string& xcrun)
{
    const std::optional<Shell::Output> output = Shell::run(xcrun, {"simctl", "list", "devices", "-j"}, {}, listTimeout);
    if (!output || !output->succeeded())
        return {};
    return parse(output->standardOutput);
}

std::vector<SimulatorDevice> parse(std::string_view json)
{
    const nlohmann::json document = nlohmann::json::parse(json, nullptr, /*allow_exceptions=*/false);
    if (!document.is_object())
        return {};
    const auto runtimes = document.find("devices");
    if (runtimes == document.end() || !runtimes->is_object())
        return {};
    // A JSON object keeps its keys in plain string order: the order wanted.
    std::vector<SimulatorDevice> devices;
    for (const auto& [identifier, runtimeDevices] : runtimes->items()) {
        if (!runtimeDevices.is_array())
            return {};
        const std::string runtime = runtimeName(identifier);
        for (const nlohmann::json& entry : runtimeDevices) {
            std::optional<SimulatorDevice> device = decodeDevice(entry, runtime);
            if (!device)
                return {};
            devices.push_back(std::move(*device));
        }
    }
    return devices;
}

std::string runtimeName(std::string_view identifier)
{
    // The last non-empty piece between points, or the whole identifier.
    std::string_view last = identifier;
    const std::size_t end = identifier.find_last_not_of('.');
    if (end != std::string_view::npos) {
        const std::size_t start = identifier.rfind('.', end);
        last = identifier.substr(start == std::string_view::npos ? 0 : start + 1,
                                 start == std::string_view::npos ? end + 1 : end - start);
    }
    const std::size_t dash = last.find('-');
    if (dash == std::string_view::npos)
        return std::string(last);
    std::string version(last.substr(dash + 1));
    std::replace(version.begin(), version.end(), '-', '.');
    return std::string(last.substr(0, dash)) + " " + version;
}

} // namespace tarno::Simulators
