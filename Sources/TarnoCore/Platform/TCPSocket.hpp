#pragma once

#include <cstdint>

namespace tarno {

// One TCP socket of a process; ports in host byte order.
struct TCPSocket {
    enum class State { listening, established, other };

    State state = State::other;
    std::uint16_t localPort = 0;
    std::uint16_t remotePort = 0;

    bool operator==(const TCPSocket&) const = default;
};

} // namespace tarno
