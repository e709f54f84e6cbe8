// An Android emulator's config.ini, which the emulator and users edit.

#include "FuzzSupport.hpp"

#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::optional<std::string> image = RuleFamilies::avdSystemImage(Fuzz::text(data, size));
    if (!image)
        return 0;
    // The image is looked for below the SDK: an empty one would name the SDK itself.
    Fuzz::require(!image->empty());
    Fuzz::require(image->find_first_of("\r\n") == std::string::npos);
    return 0;
}
