#pragma once

#include "Tarno/ProjectsMachine.hpp"

#include "TarnoCore/Projects/ProjectScanner.hpp"

#include <chrono>

// The demo developer's projects: a web shop with pnpm-linked packages and its
// worktrees (finished, merged an hour ago, pushed with ignored files, one
// with work in it), a dashboard touched this week, a Rust service, a Flutter
// app, an Android library and a Python tool.
namespace tarno::Demo {

// What scanning the demo home finds, with dates counted back from `now`.
ProjectScan projectScan(std::chrono::system_clock::time_point now);

// The Projects section's part: the scan above, removals in memory.
ProjectsMachine projectsMachine();

} // namespace tarno::Demo
