#pragma once

#include <fstream>
#include <sstream>
#include <string>

#include <sys/stat.h>

namespace tarno::test {

// The whole file as bytes; empty when it cannot be read.
inline std::string contentsOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Whether something is at the path, a dangling link included.
inline bool exists(const std::string& path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

} // namespace tarno::test
