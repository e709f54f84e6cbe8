#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

// Reading the few values the system needs from property list files, binary
// or XML (an application's Info.plist, a device backup's Info.plist).
namespace tarno::PropertyList {

// A property list whose top level is a dictionary.
class Dictionary {
public:
    // The string under `key`; none when it is missing or no string.
    std::optional<std::string> string(const char* key) const;

    // The date under `key`, in whole seconds; none when it is missing or no date.
    std::optional<std::chrono::system_clock::time_point> date(const char* key) const;

private:
    friend std::optional<Dictionary> dictionaryFromData(std::string_view data);
    explicit Dictionary(void* root);

    std::shared_ptr<void> m_root;
};

// The file's dictionary. None when it is not a regular file (a pipe in its
// place would never end), cannot be read, or holds no dictionary.
std::optional<Dictionary> readDictionary(const std::string& path);

// The dictionary of a property list's bytes, binary or XML; none when they
// hold no dictionary.
std::optional<Dictionary> dictionaryFromData(std::string_view data);

} // namespace tarno::PropertyList
