#pragma once

#include <string>

namespace tarno {

// The path as a user reads it, with the home folder as "~": "~/code/app".
// Paths outside the home, and any path for a home of "/" or "", stay whole.
std::string withTilde(const std::string& path, const std::string& home);

} // namespace tarno
