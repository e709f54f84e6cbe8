// /proc/<pid>/cmdline, which a process may rewrite as it likes.

#include "FuzzSupport.hpp"

#include "TarnoCore/Platform/ProcessTable.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = Fuzz::text(data, size);
    const std::vector<std::string> arguments = Platform::ProcessTable::parseArguments(text);
    // Nothing is lost or invented: the arguments joined by NULs are the file,
    // less the NUL that ends the last.
    std::string joined;
    for (std::size_t index = 0; index < arguments.size(); ++index)
        joined += (index == 0 ? "" : std::string(1, '\0')) + arguments[index];
    if (text.ends_with('\0'))
        joined += '\0';
    Fuzz::require(joined == text);
    return 0;
}
