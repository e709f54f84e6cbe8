#pragma once

#include <set>
#include <string>

namespace tarno::PrivacyAccess {

// Whether the process may read what the system hides from apps without Full
// Disk Access; found out by trying to list the platform's probe folder.
bool hasFullDiskAccess(const std::string& home);

// The folders a search must keep away from without that access.
std::set<std::string> appContainerFolders(const std::string& home);

} // namespace tarno::PrivacyAccess
