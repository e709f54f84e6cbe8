#pragma once

#include "TarnoCore/Cleanup/CleanupItem.hpp"
#include "TarnoCore/Foundation/SizeScanner.hpp"

#include <nlohmann/json.hpp>

// The records as JSON objects whose keys are the records' field names, in
// the records' order.
namespace tarno::cli::JsonEncoding {

using Json = nlohmann::ordered_json;

// bytes, files, unreadableDirectories, newestModification (ISO 8601 UTC or null).
Json encode(const SizeResult& size);

// kind and paths, with tool and arguments for run, repository and clearFirst for removeWorktree.
Json encode(const CleanupAction& action);

// id, title, category, consequence, safety, action, requiresAdmin, minimumBytesToShow, knownBytes (or null).
Json encode(const CleanupItem& item);

// Prints the document, indented, and a new line. A file name is bytes, not
// text: a byte that is not part of valid UTF-8 is written as U+FFFD, so a
// name of any bytes prints instead of ending the program.
void print(const Json& document);

} // namespace tarno::cli::JsonEncoding
