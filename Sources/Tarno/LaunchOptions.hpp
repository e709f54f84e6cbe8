#pragma once

#include "Tarno/AppModel.hpp"

#include <QString>
#include <QStringList>

#include <optional>

namespace tarno {

// What the command line asks of a launch.
struct LaunchOptions {
    enum class Appearance { light, dark };
    // What the launch does besides, or instead of, opening the window.
    enum class Request { run, help, version, usageError };

    Request request = Request::run;
    // For help and version, the text to print; for a usage error, the problem.
    QString message;

    // --section VALUE: set when VALUE is a section's raw string; any other
    // value, or none, is ignored.
    std::optional<AppModel::Section> section;
    // --appearance VALUE: light for "light", dark for any other value; unset
    // when the option has no value, so the system's palette decides.
    std::optional<Appearance> appearance;
    // --snapshots DIR: render every section and state into DIR and quit.
    std::optional<QString> snapshotsFolder;
    // The made-up machine instead of this one: --demo, or --snapshots without --live.
    bool demo = false;

    // `arguments` as the process got them, the program first.
    static LaunchOptions parse(const QStringList& arguments);

    bool operator==(const LaunchOptions&) const = default;
};

} // namespace tarno
