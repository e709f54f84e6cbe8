#pragma once

#include "Support/ChildRun.hpp"

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarno::test {

// Root reads every folder whatever its mode, so a test of what cannot be read
// runs its body in a forked child that has become "nobody" (uid and gid 65534).
// The body returns its findings as a string, which comes back through a pipe.
using UnprivilegedRun = ChildRun;

inline constexpr unsigned nobodyID = 65534;

// Lets "nobody" reach and list `folder` (a fresh temporary folder is private to its owner).
inline void openToEveryone(const std::string& folder)
{
    ::chmod(folder.c_str(), 0755);
}

inline UnprivilegedRun runAsNobody(const std::function<std::string()>& body)
{
    return runInChild(
        []() -> std::optional<std::string> {
            if (::setgroups(0, nullptr) != 0 || ::setgid(nobodyID) != 0 || ::setuid(nobodyID) != 0
                || ::geteuid() != nobodyID || ::setuid(0) == 0)
                return std::string("cannot become uid/gid 65534: ") + std::strerror(errno);
            return std::nullopt;
        },
        body);
}

} // namespace tarno::test
