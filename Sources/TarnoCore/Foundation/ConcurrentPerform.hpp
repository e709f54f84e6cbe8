#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <utility>

namespace tarno {

// Runs body(0) … body(iterations - 1) on as many threads as there are cores
// (never more than iterations), the calling thread waiting until all are done.
// Iterations are handed out one at a time, so a slow one does not hold back
// the others' share.
void concurrentPerform(std::size_t iterations, const std::function<void(std::size_t)>& body);

// A value that several threads of one concurrentPerform add to, under a lock
// held only for the moment of the change.
template <typename Value>
class Locked {
public:
    template <typename Change>
    void change(Change&& change)
    {
        const std::lock_guard lock(m_mutex);
        std::forward<Change>(change)(m_value);
    }

    // For when the threads are done.
    Value take() { return std::move(m_value); }

private:
    std::mutex m_mutex;
    Value m_value{};
};

} // namespace tarno
