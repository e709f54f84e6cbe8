#pragma once

#include <string>
#include <vector>

namespace tarno::FileViewer {

// Opens the desktop's file viewer on the folder that holds `path`, with the
// item selected where the viewer can (through the freedesktop FileManager1
// interface); otherwise opens the folder itself.
void reveal(const std::string& path);
// The same for several items at once: the viewer selects them all, or the
// fallback opens the first one's folder.
void reveal(const std::vector<std::string>& paths);

// Opens the file with the desktop's default application for its type.
void open(const std::string& path);

} // namespace tarno::FileViewer
