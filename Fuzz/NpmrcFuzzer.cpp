// ~/.npmrc and the global npmrc files, written by hand or by npm config.

#include "FuzzSupport.hpp"

#include "TarnoCore/Cleanup/Rules/RuleFamilies.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string home = "/home/fuzz";
    const std::optional<std::string> folder = RuleFamilies::npmrcCacheSetting(Fuzz::text(data, size), home);
    if (!folder)
        return 0;
    // One line's value, without its quotes, with the home put in.
    Fuzz::require(folder->find_first_of("\r\n") == std::string::npos);
    Fuzz::require(folder->empty() || (folder->front() != '"' && folder->front() != '\''));
    Fuzz::require(folder->find("${HOME}") == std::string::npos);
    return 0;
}
