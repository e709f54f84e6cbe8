#include "TarnoCore/Foundation/TildePath.hpp"

namespace tarno {

std::string withTilde(const std::string& path, const std::string& home)
{
    if (home.empty() || home == "/")
        return path;
    if (path == home)
        return "~";
    if (path.starts_with(home) && path[home.size()] == '/')
        return "~" + path.substr(home.size());
    return path;
}

} // namespace tarno
