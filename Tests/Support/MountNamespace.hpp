#pragma once

#include "Support/ChildRun.hpp"

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace tarno::test {

// A test that mounts file systems runs its body in a forked child with a
// mount namespace of its own, so nothing it mounts is seen by the machine or
// outlives the child. The body returns its findings as a string.
using IsolatedRun = ChildRun;

inline IsolatedRun runInOwnMountNamespace(const std::function<std::string()>& body)
{
    return runInChild(
        []() -> std::optional<std::string> {
            if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
                return std::string("no private mount namespace: ") + std::strerror(errno);
            return std::nullopt;
        },
        body);
}

} // namespace tarno::test
