#pragma once

#include "CommandLine.hpp"

#include "TarnoCore/Cleanup/CleanupEnvironment.hpp"

namespace tarno::cli {

// This machine, looking at the home that --home names when it is given.
CleanupEnvironment environmentFor(const ParsedArguments& arguments);

} // namespace tarno::cli
