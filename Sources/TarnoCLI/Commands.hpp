#pragma once

#include "CommandLine.hpp"

#include <string>
#include <vector>

// Each command takes the arguments after its name and gives the exit status.
namespace tarno::cli {

int runMeasure(const std::vector<std::string>& arguments);
int runCatalog(const std::vector<std::string>& arguments);
int runScan(const std::vector<std::string>& arguments);
int runGuard(const std::vector<std::string>& arguments);
int runClean(const std::vector<std::string>& arguments);
int runHistory(const std::vector<std::string>& arguments);
int runMemory(const std::vector<std::string>& arguments);
int runDisk(const std::vector<std::string>& arguments);
int runProcesses(const std::vector<std::string>& arguments);
int runProjects(const std::vector<std::string>& arguments);
int runDuplicates(const std::vector<std::string>& arguments);
int runLarge(const std::vector<std::string>& arguments);
int runApps(const std::vector<std::string>& arguments);
int runUninstall(const std::vector<std::string>& arguments);
int runTools(const std::vector<std::string>& arguments);
int runStop(const std::vector<std::string>& arguments);
int runStartup(const std::vector<std::string>& arguments);

// A command: its grammar and what runs it.
struct Command {
    const CommandSyntax* syntax;
    int (*run)(const std::vector<std::string>& arguments);
};

// Every command, in the order --help lists them.
const std::vector<Command>& commands();

// The whole command line after the program's name: --version, --help, help
// [COMMAND], or a command with its arguments ("COMMAND --help" prints that
// command's help). Gives the exit status.
int runCommandLine(const std::vector<std::string>& arguments);

} // namespace tarno::cli
