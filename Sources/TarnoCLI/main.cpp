#include "CommandLine.hpp"
#include "Commands.hpp"

#include <fmt/core.h>

#include <string>
#include <vector>

int main(int argc, char** argv)
{
    using namespace tarno::cli;
    constexpr std::string_view commands =
        "tarno-cli measure|catalog|scan|guard|clean|history|memory|disk|processes ... (tarno-cli --help for more)";

    if (argc < 2)
        return reportUsageError("missing command", commands);
    const std::string command = argv[1];
    const std::vector<std::string> arguments(argv + 2, argv + argc);

    if (command == "--help" || command == "-h" || command == "help") {
        fmt::print("{}", helpText());
        return 0;
    }
    if (command == measureSyntax.name)
        return runMeasure(arguments);
    if (command == catalogSyntax.name)
        return runCatalog(arguments);
    if (command == scanSyntax.name)
        return runScan(arguments);
    if (command == guardSyntax.name)
        return runGuard(arguments);
    if (command == cleanSyntax.name)
        return runClean(arguments);
    if (command == historySyntax.name)
        return runHistory(arguments);
    if (command == memorySyntax.name)
        return runMemory(arguments);
    if (command == diskSyntax.name)
        return runDisk(arguments);
    if (command == processesSyntax.name)
        return runProcesses(arguments);
    return reportUsageError(fmt::format("unknown command '{}'", command), commands);
}
