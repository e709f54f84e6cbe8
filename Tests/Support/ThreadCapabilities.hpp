#pragma once

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarno::test {

// Root passes every permission check, so a read-only folder or a file it
// does not own would stop nothing. A thread that gives up these capabilities
// (for itself only: capabilities belong to each thread) meets the file modes
// as their owner does, as Tarno does when a user runs it. Returns why it
// could not, or nothing.
inline std::optional<std::string> dropOverridingCapabilitiesOfThisThread()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    if (::syscall(SYS_capget, &header, data) != 0)
        return std::string("capget: ") + std::strerror(errno);
    for (const int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH, CAP_FOWNER, CAP_LINUX_IMMUTABLE}) {
        data[CAP_TO_INDEX(capability)].effective &= ~CAP_TO_MASK(capability);
        data[CAP_TO_INDEX(capability)].permitted &= ~CAP_TO_MASK(capability);
    }
    if (::syscall(SYS_capset, &header, data) != 0)
        return std::string("capset: ") + std::strerror(errno);
    return std::nullopt;
}

} // namespace tarno::test
