#include "HomeEnvironment.hpp"

namespace tarno::cli {

CleanupEnvironment environmentFor(const ParsedArguments& arguments)
{
    if (const std::optional<std::string> home = arguments.option("--home"))
        return CleanupEnvironment::live(withoutTrailingSlash(*home));
    return CleanupEnvironment::live();
}

} // namespace tarno::cli
