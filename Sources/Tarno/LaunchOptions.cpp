#include "Tarno/LaunchOptions.hpp"

namespace tarno {
namespace {

struct Option {
    bool present = false;
    std::optional<QString> value;
};

Option find(const QStringList& arguments, QLatin1StringView name)
{
    // Index 0 is the program.
    const qsizetype index = arguments.indexOf(name, 1);
    if (index < 1)
        return {};
    if (index + 1 >= arguments.size())
        return {true, std::nullopt};
    return {true, arguments.at(index + 1)};
}

} // namespace

LaunchOptions LaunchOptions::parse(const QStringList& arguments)
{
    LaunchOptions options;

    if (const Option option = find(arguments, QLatin1StringView("--section")); option.value)
        options.section = tarno::section(*option.value);

    if (const Option option = find(arguments, QLatin1StringView("--appearance")); option.value)
        options.appearance = *option.value == QLatin1StringView("light") ? Appearance::light : Appearance::dark;

    if (const Option option = find(arguments, QLatin1StringView("--snapshots")); option.present)
        options.snapshotsFolder = option.value.value_or(QString());

    return options;
}

} // namespace tarno
