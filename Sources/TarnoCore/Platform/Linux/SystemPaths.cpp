#include "TarnoCore/Platform/SystemPaths.hpp"

#include <array>

namespace tarno::Platform {

namespace {

constexpr std::array<std::string_view, 1> infixes{"/System/Library/"};

// The Mac's folders first, kept so that paths laid out like a Mac's judge the
// same here; then systemd's helpers. "/usr/bin/" and "/bin/" are not system
// folders: that is where the user's own tools land too.
constexpr std::array<std::string_view, 6> prefixes{
    "/usr/libexec/", "/usr/sbin/", "/sbin/", "/Library/Apple/", "/usr/lib/systemd/", "/lib/systemd/",
};

} // namespace

std::span<const std::string_view> systemPathInfixes()
{
    return infixes;
}

std::span<const std::string_view> systemPathPrefixes()
{
    return prefixes;
}

bool isSystemPath(std::string_view path)
{
    if (path.empty())
        return true;
    for (std::string_view infix : infixes) {
        if (path.find(infix) != std::string_view::npos)
            return true;
    }
    for (std::string_view prefix : prefixes) {
        if (path.starts_with(prefix))
            return true;
    }
    return false;
}

} // namespace tarno::Platform
