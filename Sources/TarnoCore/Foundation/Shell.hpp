#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarno::Shell {

// What a tool printed and how it ended.
struct Output {
    int status = 0;             // exit status, or 128 + signal for a killed tool
    std::string standardOutput; // UTF-8, invalid sequences repaired
    std::string standardError;  // UTF-8, invalid sequences repaired
    bool wasCancelled = false;  // stopped on the caller's request, not by itself

    bool succeeded() const { return status == 0; }
    bool operator==(const Output&) const = default;
};

// Runs the tool at an absolute path with the arguments as given: no command
// interpreter, no search along PATH, standard input at end of file. The
// environment entries are laid over the process's own (an empty map changes
// nothing). At the time-out the tool's process group is asked to terminate,
// and killed 5 seconds later if it is still there; `isCancelled` is asked at
// least every 100 ms and, once it answers yes, does the same at once. Blocks
// until the tool has ended and its output has been read; a child it left
// behind holding a pipe open is not waited for. std::nullopt when it could not
// start: missing, not executable, or a path that is not absolute. Safe to call
// from any thread.
std::optional<Output> run(const std::string& tool,
                          const std::vector<std::string>& arguments,
                          const std::map<std::string, std::string>& environment,
                          std::chrono::duration<double> timeout,
                          const std::function<bool()>& isCancelled = {});

} // namespace tarno::Shell
