#pragma once

#include "TarnoCore/Apps/AppUninstall.hpp"
#include "TarnoCore/Apps/InstalledApps.hpp"
#include "TarnoCore/Cleanup/CleanSummary.hpp"
#include "TarnoCore/Cleanup/CleanupItem.hpp"
#include "TarnoCore/Cleanup/CleanupRecord.hpp"
#include "TarnoCore/Foundation/SizeScanner.hpp"
#include "TarnoCore/Performance/DeveloperTools.hpp"
#include "TarnoCore/Performance/StartupItems.hpp"

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

// The item with its measured size under "size".
Json encode(const CleanupItem& item, const SizeResult& size);

// path, reason, kind ("refused" or "failed").
Json encode(const CleanReport::Failure& failure);

// freed, trashed, insideDocker, failures.
Json encode(const CleanSummary& summary);

// date (ISO 8601 UTC), source, freedBytes, items, failures.
Json encode(const CleanupRecord& record);

// path, name, bundleID, version, lastOpened (ISO 8601 UTC or null),
// needsPassword, kind ("bundle", "flatpak" or "appImage"), icon, ownFiles,
// then bytes (the sum of the parts) and parts, each with path and bytes.
Json encode(const InstalledApp& app, const std::vector<AppPart>& parts);

// apps, trashed, failures.
Json encode(const UninstallSummary& summary);

// id, kind, title, detail, consequence, pids, memoryBytes, cpuPercent, stop
// (kind "signal", "quitApp" or "command" with its fields), started, folder,
// clients.
Json encode(const DeveloperTools::DeveloperTool& tool);

// label, scope (its label), program, startsAutomatically, programMissing,
// plistPath, then isLeftover.
Json encode(const StartupItem& item);

// The document as indented JSON text. A file name is bytes, not text, and
// every string is written losslessly: valid UTF-8 as it is, and each byte
// that is not part of valid UTF-8 as the lone escape \udcXX, XX being the
// byte (U+DC80 to U+DCFF, the "surrogateescape" convention: Python gives the
// bytes back with json.loads(text) and .encode("utf-8", "surrogateescape")).
std::string write(const Json& document);

// Writes the document and a new line to standard output.
void print(const Json& document);

} // namespace tarno::cli::JsonEncoding
