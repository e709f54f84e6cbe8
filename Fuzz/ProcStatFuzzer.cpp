// /proc/<pid>/stat: a process picks its own short name, so the line carries
// text that anyone may choose, parentheses and blanks included.

#include "FuzzSupport.hpp"

#include "TarnoCore/Platform/ProcessTable.hpp"

using namespace tarno;
using Status = Platform::ProcessTable::Status;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::optional<Status> status = Platform::ProcessTable::parseStat(Fuzz::text(data, size));
    if (!status)
        return 0;
    Fuzz::require(status->command.size() < size);
    // The kernel's own line for what was read gives the same back.
    const std::string line = "1 (" + status->command + ") " + (status->hasEnded ? "Z " : "R ")
        + std::to_string(status->parentPID) + " " + std::to_string(status->processGroup) + " 0 0 0 0 0 0 0 0 "
        + std::to_string(status->processorTicks) + " 0 0 0 0 0 0 0 " + std::to_string(status->startTicks) + "\n";
    Fuzz::require(Platform::ProcessTable::parseStat(line) == status);
    return 0;
}
