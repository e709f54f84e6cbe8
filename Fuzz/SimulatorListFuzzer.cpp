// xcrun simctl list devices -j.

#include "FuzzSupport.hpp"

#include "TarnoCore/Cleanup/Tools/Simulators.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = Fuzz::text(data, size);
    // A runtime's name is made of the identifier's last piece: never longer than it, plus one blank.
    Fuzz::require(Simulators::runtimeName(text).size() <= size + 1);
    const std::vector<SimulatorDevice> devices = Simulators::parse(text);
    for (const SimulatorDevice& device : devices)
        Fuzz::require(device.udid.size() <= size && device.name.size() <= size);
    return 0;
}
