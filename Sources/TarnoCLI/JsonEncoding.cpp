#include "JsonEncoding.hpp"
#include "TextFormat.hpp"

#include <fmt/core.h>

#include <cstdint>
#include <type_traits>
#include <variant>
#include <cstdio>

namespace tarno::cli::JsonEncoding {

namespace {

// The length of the valid UTF-8 sequence that starts text[at], or 0 when
// there is none (overlong forms, surrogates and values past U+10FFFF are not valid).
std::size_t validSequenceLength(std::string_view text, std::size_t at)
{
    const auto byte = [&](std::size_t offset) {
        return at + offset < text.size() ? static_cast<unsigned char>(text[at + offset]) : 0;
    };
    const auto continuation = [&](std::size_t offset, unsigned char low = 0x80, unsigned char high = 0xBF) {
        return byte(offset) >= low && byte(offset) <= high;
    };
    const unsigned char lead = byte(0);
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        return continuation(1) ? 2 : 0;
    if (lead >= 0xE0 && lead <= 0xEF) {
        const unsigned char low = lead == 0xE0 ? 0xA0 : 0x80;
        const unsigned char high = lead == 0xED ? 0x9F : 0xBF;
        return continuation(1, low, high) && continuation(2) ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const unsigned char low = lead == 0xF0 ? 0x90 : 0x80;
        const unsigned char high = lead == 0xF4 ? 0x8F : 0xBF;
        return continuation(1, low, high) && continuation(2) && continuation(3) ? 4 : 0;
    }
    return 0;
}

void writeString(std::string_view text, std::string& out)
{
    out += '"';
    for (std::size_t at = 0; at < text.size();) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const std::size_t length = validSequenceLength(text, at);
        if (length == 0) {
            out += fmt::format("\\u{:04x}", 0xDC00 + byte);
            ++at;
            continue;
        }
        switch (byte) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\b': out += "\\b"; break;
        case '\f': out += "\\f"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (byte < 0x20)
                out += fmt::format("\\u{:04x}", byte);
            else
                out.append(text.substr(at, length));
        }
        at += length;
    }
    out += '"';
}

// The same layout as the JSON library's own two-space indentation, with our strings.
void writeValue(const Json& value, int depth, std::string& out)
{
    const std::string inner(static_cast<std::size_t>(depth + 1) * 2, ' ');
    const std::string outer(static_cast<std::size_t>(depth) * 2, ' ');
    if (value.is_object()) {
        if (value.empty()) {
            out += "{}";
            return;
        }
        out += "{\n";
        bool first = true;
        for (const auto& [key, member] : value.items()) {
            out += first ? "" : ",\n";
            first = false;
            out += inner;
            writeString(key, out);
            out += ": ";
            writeValue(member, depth + 1, out);
        }
        out += "\n" + outer + "}";
    } else if (value.is_array()) {
        if (value.empty()) {
            out += "[]";
            return;
        }
        out += "[\n";
        bool first = true;
        for (const Json& element : value) {
            out += first ? "" : ",\n";
            first = false;
            out += inner;
            writeValue(element, depth + 1, out);
        }
        out += "\n" + outer + "]";
    } else if (value.is_string()) {
        writeString(value.get_ref<const std::string&>(), out);
    } else {
        out += value.dump();
    }
}

} // namespace

Json encode(const SizeResult& size)
{
    Json object = Json::object();
    object["bytes"] = size.bytes;
    object["files"] = size.files;
    object["unreadableDirectories"] = size.unreadableDirectories;
    object["newestModification"] =
        size.newestModification ? Json(TextFormat::isoTimestamp(*size.newestModification)) : Json(nullptr);
    return object;
}

Json encode(const CleanupAction& action)
{
    Json object = Json::object();
    object["kind"] = action.kindName();
    object["paths"] = action.paths();
    if (const auto* run = action.as<CleanupAction::Run>()) {
        object["tool"] = run->tool;
        object["arguments"] = run->arguments;
    }
    if (const auto* worktree = action.as<CleanupAction::RemoveWorktree>()) {
        object["repository"] = worktree->repository;
        object["clearFirst"] = worktree->clearFirst;
    }
    return object;
}

Json encode(const CleanupItem& item)
{
    Json object = Json::object();
    object["id"] = item.id;
    object["title"] = item.title;
    object["category"] = rawValue(item.category);
    object["consequence"] = item.consequence;
    object["safety"] = rawValue(item.safety);
    object["action"] = encode(item.action);
    object["requiresAdmin"] = item.requiresAdmin;
    object["minimumBytesToShow"] = item.minimumBytesToShow;
    object["knownBytes"] = item.knownBytes ? Json(*item.knownBytes) : Json(nullptr);
    return object;
}

Json encode(const CleanupItem& item, const SizeResult& size)
{
    Json object = encode(item);
    object["size"] = encode(size);
    return object;
}

Json encode(const CleanReport::Failure& failure)
{
    Json object = Json::object();
    object["path"] = failure.path;
    object["reason"] = failure.reason;
    object["kind"] = failure.kind == CleanReport::Failure::Kind::refused     ? "refused"
                     : failure.kind == CleanReport::Failure::Kind::cancelled ? "cancelled"
                                                                             : "failed";
    return object;
}

Json encode(const CleanSummary& summary)
{
    Json failures = Json::array();
    for (const CleanReport::Failure& failure : summary.failures)
        failures.push_back(encode(failure));
    Json object = Json::object();
    object["freed"] = summary.freed;
    object["trashed"] = summary.trashed;
    object["insideDocker"] = summary.insideDocker;
    object["failures"] = std::move(failures);
    return object;
}

Json encode(const CleanupRecord& record)
{
    Json object = Json::object();
    object["date"] = TextFormat::isoTimestamp(record.date);
    object["source"] = record.source;
    object["freedBytes"] = record.freedBytes;
    object["items"] = record.items;
    object["failures"] = record.failures;
    return object;
}

Json encode(const InstalledApp& app, const std::vector<AppPart>& parts)
{
    Json object = Json::object();
    object["path"] = app.path;
    object["name"] = app.name;
    object["bundleID"] = app.bundleID;
    object["version"] = app.version ? Json(*app.version) : Json();
    object["lastOpened"] = app.lastOpened ? Json(TextFormat::isoTimestamp(*app.lastOpened)) : Json();
    object["needsPassword"] = app.needsPassword;
    object["kind"] = app.kind == AppKind::flatpak ? "flatpak" : app.kind == AppKind::appImage ? "appImage" : "bundle";
    object["icon"] = app.icon ? Json(*app.icon) : Json();
    object["ownFiles"] = app.ownFiles;
    std::int64_t bytes = 0;
    Json measured = Json::array();
    for (const AppPart& part : parts) {
        bytes += part.bytes;
        measured.push_back(Json{{"path", part.path}, {"bytes", part.bytes}});
    }
    object["bytes"] = bytes;
    object["parts"] = std::move(measured);
    return object;
}

Json encode(const DeveloperTools::DeveloperTool& tool)
{
    using Tool = DeveloperTools::DeveloperTool;
    Json stop = std::visit(
        [](const auto& how) -> Json {
            using How = std::decay_t<decltype(how)>;
            if constexpr (std::is_same_v<How, Tool::Signal>)
                return Json{{"kind", "signal"}, {"pids", how.pids}};
            else if constexpr (std::is_same_v<How, Tool::QuitApp>)
                return Json{{"kind", "quitApp"}, {"bundleID", how.bundleID}};
            else
                return Json{{"kind", "command"},
                            {"tool", how.tool},
                            {"arguments", how.arguments},
                            {"thenQuit", how.thenQuit ? Json(*how.thenQuit) : Json()}};
        },
        tool.stop);
    Json object = Json::object();
    object["id"] = tool.id;
    object["kind"] = std::string(DeveloperTools::rawValue(tool.kind));
    object["title"] = tool.title;
    object["detail"] = tool.detail;
    object["consequence"] = tool.consequence;
    object["pids"] = tool.pids;
    object["memoryBytes"] = tool.memoryBytes;
    object["cpuPercent"] = tool.cpuPercent;
    object["stop"] = std::move(stop);
    object["started"] = tool.started ? Json(TextFormat::isoTimestamp(*tool.started)) : Json();
    object["folder"] = tool.folder ? Json(*tool.folder) : Json();
    object["clients"] = tool.clients;
    return object;
}

Json encode(const StartupItem& item)
{
    Json object = Json::object();
    object["label"] = item.label;
    object["scope"] = std::string(rawValue(item.scope));
    object["program"] = item.program ? Json(*item.program) : Json();
    object["startsAutomatically"] = item.startsAutomatically;
    object["programMissing"] = item.programMissing;
    object["plistPath"] = item.plistPath;
    object["isLeftover"] = item.isLeftover();
    return object;
}

Json encode(const UninstallSummary& summary)
{
    Json failures = Json::array();
    for (const CleanReport::Failure& failure : summary.failures)
        failures.push_back(encode(failure));
    Json object = Json::object();
    object["apps"] = summary.apps;
    object["trashed"] = summary.trashed;
    object["failures"] = std::move(failures);
    return object;
}

std::string write(const Json& document)
{
    std::string out;
    writeValue(document, 0, out);
    return out;
}

void print(const Json& document)
{
    const std::string text = write(document) + "\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
}

} // namespace tarno::cli::JsonEncoding
