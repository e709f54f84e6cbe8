// Info.plist files of application bundles and device backups, XML or binary.

#include "FuzzSupport.hpp"

#include "TarnoCore/Foundation/PropertyList.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::optional<PropertyList::Dictionary> dictionary = PropertyList::dictionaryFromData(Fuzz::text(data, size));
    if (!dictionary)
        return 0;
    // A copy outlives the original: the tree is shared, not freed twice.
    const PropertyList::Dictionary copy = *dictionary;
    dictionary.reset();
    for (const char* key : {"CFBundleIdentifier", "CFBundleShortVersionString", "Device Name", "Last Backup Date"}) {
        const std::optional<std::string> text = copy.string(key);
        // A string has no more bytes than UTF-8 makes of the file's UTF-16 units.
        Fuzz::require(!text || text->size() <= size * 3 / 2);
        (void)copy.date(key);
    }
    return 0;
}
