#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// What every fuzz target shares: the input as text, and a check that stops
// the run the way a crash does, so libFuzzer keeps the input that broke it.
namespace tarno::Fuzz {

inline std::string_view text(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

inline void require(bool holds)
{
    if (!holds)
        __builtin_trap();
}

} // namespace tarno::Fuzz
