#pragma once

#include <string>
#include <vector>

namespace tarno::Platform {

// The names in the folder, without the hidden ones (a leading "."), in plain
// byte order; nothing when it cannot be listed. One level, no link followed
// below the folder itself.
std::vector<std::string> visibleNames(const std::string& folder);

} // namespace tarno::Platform
