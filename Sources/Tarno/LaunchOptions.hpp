#pragma once

#include "Tarno/AppModel.hpp"

#include <QString>
#include <QStringList>

#include <optional>

namespace tarno {

// What the command line asks of a launch. Each option reads the argument right
// after its first occurrence, whatever that argument is.
struct LaunchOptions {
    enum class Appearance { light, dark };

    // --section VALUE: set when VALUE is a section's raw string.
    std::optional<AppModel::Section> section;
    // --appearance VALUE: light for "light", dark for any other value; unset
    // when the option has no value, so the system's palette decides.
    std::optional<Appearance> appearance;
    // --snapshots DIR: render every section into DIR and quit. An empty string
    // means the option came without a folder.
    std::optional<QString> snapshotsFolder;

    // `arguments` as the process got them, the program first.
    static LaunchOptions parse(const QStringList& arguments);

    bool operator==(const LaunchOptions&) const = default;
};

} // namespace tarno
