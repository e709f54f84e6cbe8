#include "TarnoCore/Foundation/PropertyList.hpp"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include <plist/plist.h>

namespace tarno::PropertyList {

namespace {

// Seconds from the Unix epoch to 2001-01-01, where property list dates count from.
constexpr std::int64_t plistEpoch = 978307200;

} // namespace

Dictionary::Dictionary(void* root)
    : m_root(root, plist_free)
{
}

std::optional<std::string> Dictionary::string(const char* key) const
{
    plist_t node = plist_dict_get_item(m_root.get(), key);
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING)
        return std::nullopt;
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    return text == nullptr ? std::string() : std::string(text, length);
}

std::optional<std::chrono::system_clock::time_point> Dictionary::date(const char* key) const
{
    plist_t node = plist_dict_get_item(m_root.get(), key);
    if (node == nullptr || plist_get_node_type(node) != PLIST_DATE)
        return std::nullopt;
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
    plist_get_date_val(node, &seconds, &microseconds);
    return std::chrono::system_clock::time_point(std::chrono::seconds(plistEpoch + seconds));
}

std::optional<Dictionary> readDictionary(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    const std::string data{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    return dictionaryFromData(data);
}

std::optional<Dictionary> dictionaryFromData(std::string_view data)
{
    if (data.empty() || data.size() > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    plist_t root = nullptr;
    plist_from_memory(data.data(), static_cast<std::uint32_t>(data.size()), &root);
    if (root == nullptr)
        return std::nullopt;
    if (plist_get_node_type(root) != PLIST_DICT) {
        plist_free(root);
        return std::nullopt;
    }
    return Dictionary(root);
}

} // namespace tarno::PropertyList
