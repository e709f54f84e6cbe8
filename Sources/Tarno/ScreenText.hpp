#pragma once

#include "TarnoCore/Cleanup/Cleaner.hpp"

#include <QString>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

// Words the screens share, so that a size, a date or a failure reads the
// same in every section.
namespace tarno::ScreenText {

QString text(const std::string& value);
// A size as the byte formatter writes it.
QString bytes(std::int64_t bytes);
// A count in the locale's format, for progress labels.
QString count(std::int64_t count);
// Day, abbreviated month and year: "4 Mar 2026".
QString day(std::chrono::system_clock::time_point date);
// A path with the home folder written "~".
QString tildePath(const std::string& path, const std::string& home);

// The banner over a list after a move to the Trash that left files behind:
// "2 could not be moved to the Trash", and the first one's path and reason.
QString trashFailuresTitle(const std::vector<CleanReport::Failure>& failures);
QString trashFailuresDetail(const std::vector<CleanReport::Failure>& failures, const std::string& home);

// "Move “name” …" quotes a file's name between straight double quotes.
QString quoted(const std::string& name);

} // namespace tarno::ScreenText
