// Application entries (.desktop files) that any package or user may install.

#include "FuzzSupport.hpp"

#include "TarnoCore/Platform/DesktopEntries.hpp"

#include <string>

using namespace tarno;

namespace {

// The argument as an Exec line writes it: quoted, with the characters that
// quoting and field codes reserve escaped, then the string escapes of the
// entry format on top.
std::string quoted(const std::string& argument)
{
    std::string exec = "\"";
    for (const char c : argument) {
        if (c == '"' || c == '`' || c == '$' || c == '\\')
            exec += '\\';
        if (c == '%')
            exec += '%';
        exec += c;
    }
    exec += '"';
    std::string value;
    for (const char c : exec) {
        if (c == '\\')
            value += "\\\\";
        else if (c == '\n')
            value += "\\n";
        else
            value += c;
    }
    return value;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = Fuzz::text(data, size);
    if (const std::optional<std::string> name = Platform::desktopEntryName(text))
        Fuzz::require(!name->empty());

    const std::optional<std::vector<std::string>> command = Platform::desktopEntryCommand(text);
    if (!command)
        return 0;
    Fuzz::require(!command->empty());
    // The same arguments, written back as an entry, read back the same.
    std::string entry = "[Desktop Entry]\nExec=";
    for (const std::string& argument : *command)
        entry += quoted(argument) + " ";
    entry += "\n";
    Fuzz::require(Platform::desktopEntryCommand(entry) == command);
    return 0;
}
