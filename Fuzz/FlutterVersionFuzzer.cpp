// An SDK's bin/cache/flutter.version.json, which its own tool writes.

#include "FuzzSupport.hpp"

#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::optional<std::string> version = RuleFamilies::flutterVersionInJson(Fuzz::text(data, size));
    // The version is one string of the file, escapes decoded: never longer.
    Fuzz::require(!version || version->size() <= size);
    return 0;
}
