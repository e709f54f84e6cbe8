#pragma once

#include "TarnoCore/Cleanup/CleanupCategory.hpp"

#include <chrono>
#include <string>
#include <string_view>

// The small texts the commands share.
namespace tarno::cli::TextFormat {

// ISO 8601 in UTC to the second: "2024-05-01T09:30:00Z".
std::string isoTimestamp(std::chrono::system_clock::time_point instant);

// The badge a user reads: "Safe" or "Your call".
std::string_view safetyLabel(Safety safety);

} // namespace tarno::cli::TextFormat
