// brew cleanup --dry-run: its standard output and error, as one text.

#include "FuzzSupport.hpp"

#include "TarnoCore/Cleanup/Tools/Homebrew.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = Fuzz::text(data, size);
    const std::optional<std::int64_t> estimate = Homebrew::parseEstimate(text);
    if (!estimate)
        return 0;
    Fuzz::require(*estimate >= 0);
    Fuzz::require(text.find("approximately ") != std::string_view::npos);
    return 0;
}
