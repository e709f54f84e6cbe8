// The names of the IDEs' settings folders, as any program may make them.

#include "FuzzSupport.hpp"

#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string name(Fuzz::text(data, size));
    const std::optional<RuleFamilies::IdeVersion> parsed = RuleFamilies::ideVersion(name);
    if (!parsed)
        return 0;
    // The product is the name up to its first digit; a version has a part.
    Fuzz::require(!parsed->product.empty() && name.starts_with(parsed->product));
    Fuzz::require(parsed->product.find_first_of("0123456789") == std::string::npos);
    Fuzz::require(!parsed->version.empty());
    return 0;
}
