#pragma once

#include <string>

namespace tarno::FileViewer {

// Opens the desktop's file viewer on the folder that holds `path`, with the
// item selected where the viewer can (through the freedesktop FileManager1
// interface); otherwise opens the folder itself.
void reveal(const std::string& path);

} // namespace tarno::FileViewer
