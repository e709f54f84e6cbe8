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

} // namespace tarno::cli::JsonEncoding
