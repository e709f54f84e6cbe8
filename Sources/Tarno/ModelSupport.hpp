#pragma once

#include <utility>

namespace tarno {

// Assigns and reports whether anything changed, so that a setter emits its
// signal only on a real change.
template <typename T>
bool assign(T& field, T value)
{
    if (field == value)
        return false;
    field = std::move(value);
    return true;
}

} // namespace tarno
