#pragma once

#include "CommandLine.hpp"

#include "TarnoCore/Cleanup/CleanupEnvironment.hpp"

namespace tarno::cli {

// This machine, looking at the home that --home names when it is given.
CleanupEnvironment environmentFor(const ParsedArguments& arguments);

// The home that --home names, or the user's own; without a trailing slash.
std::string homeFor(const ParsedArguments& arguments);

} // namespace tarno::cli
