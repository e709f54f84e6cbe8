#pragma once

#include "Tarno/PerformanceMachine.hpp"

// The demo developer's running machine: memory under some load, the apps a
// developer keeps open, a developer tool of each kind (one dev server idle
// for hours, one in use) and startup items with a leftover.
namespace tarno::Demo {

PerformanceMachine performanceMachine();

} // namespace tarno::Demo
