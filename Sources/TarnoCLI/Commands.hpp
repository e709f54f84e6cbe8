#pragma once

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

} // namespace tarno::cli
