#pragma once

namespace tarno {

// One visitor of a std::variant from several lambdas, one per case.
template <typename... Visitors>
struct Overloaded : Visitors... {
    using Visitors::operator()...;
};
template <typename... Visitors>
Overloaded(Visitors...) -> Overloaded<Visitors...>;

} // namespace tarno
