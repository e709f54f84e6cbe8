#pragma once

#include <string>

// Why a machine is slow, and the number formats its findings share with the
// screens and alerts.
namespace tarno::SlownessCheck {

// The value rounded to a whole number, halves away from zero: "50 %".
std::string percent(double value);

// A span in the largest whole unit that fits: "59 minutes", "2 hours", "2 days".
std::string duration(double seconds);

} // namespace tarno::SlownessCheck
