#pragma once

#include <chrono>
#include <string>

namespace tarno::RelativeDate {

// How long ago a moment was, in words, with named days where there are some:
// "now", "5 minutes ago", "yesterday", "3 days ago", "last week",
// "2 months ago", "last year". A moment after `now` reads "now".
std::string named(std::chrono::system_clock::time_point date, std::chrono::system_clock::time_point now);

} // namespace tarno::RelativeDate
