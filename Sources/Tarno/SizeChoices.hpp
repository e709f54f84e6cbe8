#pragma once

#include <QStringList>

#include <cstdint>
#include <span>

namespace tarno {

// One entry of a screen's "Minimum size" picker.
struct SizeChoice {
    const char* name;
    std::int64_t bytes;
};

// The entries' names, in order.
inline QStringList sizeChoiceNames(std::span<const SizeChoice> choices)
{
    QStringList names;
    for (const SizeChoice& choice : choices)
        names.append(QString::fromUtf8(choice.name));
    return names;
}

// The entry of these bytes, -1 for none.
inline int sizeChoiceIndex(std::span<const SizeChoice> choices, std::int64_t bytes)
{
    for (std::size_t index = 0; index < choices.size(); ++index) {
        if (choices[index].bytes == bytes)
            return static_cast<int>(index);
    }
    return -1;
}

} // namespace tarno
