#pragma once

#include <compare>
#include <string_view>

// The order the Finder shows names in: letters without regard to case, runs of
// digits by their value ("App 2" before "App 10"). Names that only differ in
// case or leading zeros still get a fixed order, by their bytes.
namespace tarno::NaturalOrder {

std::strong_ordering compare(std::string_view left, std::string_view right);

inline bool less(std::string_view left, std::string_view right) { return compare(left, right) < 0; }

} // namespace tarno::NaturalOrder
