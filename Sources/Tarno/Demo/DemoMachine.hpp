#pragma once

#include "Tarno/AppMachine.hpp"

// A made-up developer's machine with fixed data, standing in for the real one
// in `tarno --demo` and in the pictures of the screens: the same on every
// computer, and nothing on the real disk is read or touched. Each section's
// demo data is made here, in one place.
namespace tarno::Demo {

// The made-up developer's home folder.
inline constexpr const char* home = "/home/alex";

// The whole machine: history, disk and every section.
AppMachine machine();

// The Cleanup section's part: the catalog, its sizes and removals in memory.
CleanupMachine cleanupMachine();

} // namespace tarno::Demo
