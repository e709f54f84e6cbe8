#pragma once

#include <span>
#include <string_view>

// Where this platform keeps the programs of the system itself, as opposed to
// what the user installed. A process whose executable lies there is a system
// service; one whose executable cannot be read (a kernel thread has none)
// counts as one too.
namespace tarno::Platform {

// Folders whose name anywhere in a path marks a system program.
std::span<const std::string_view> systemPathInfixes();

// Folders that mark a system program when a path begins with them.
std::span<const std::string_view> systemPathPrefixes();

// True when `path` is empty, holds an infix or begins with a prefix.
bool isSystemPath(std::string_view path);

} // namespace tarno::Platform
