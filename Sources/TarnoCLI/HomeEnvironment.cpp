#include "HomeEnvironment.hpp"

#include "TarnoCore/Platform/Locations.hpp"

namespace tarno::cli {

CleanupEnvironment environmentFor(const ParsedArguments& arguments)
{
    return CleanupEnvironment::live(homeFor(arguments));
}

std::string homeFor(const ParsedArguments& arguments)
{
    if (const std::optional<std::string> home = arguments.option("--home"))
        return withoutTrailingSlash(*home);
    return Platform::homeFolder();
}

} // namespace tarno::cli
