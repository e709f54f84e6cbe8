#include "Tarno/ScreenText.hpp"

#include "TarnoCore/Foundation/ByteFormat.hpp"
#include "TarnoCore/Foundation/TildePath.hpp"

#include <QDateTime>
#include <QLocale>

namespace tarno::ScreenText {

QString text(const std::string& value)
{
    return QString::fromStdString(value);
}

QString bytes(std::int64_t bytes)
{
    return text(ByteFormat::string(bytes));
}

QString count(std::int64_t count)
{
    return QLocale().toString(static_cast<qlonglong>(count));
}

QString day(std::chrono::system_clock::time_point date)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(date.time_since_epoch()).count();
    return QLocale().toString(QDateTime::fromSecsSinceEpoch(seconds).date(), QStringLiteral("d MMM yyyy"));
}

QString tildePath(const std::string& path, const std::string& home)
{
    return text(withTilde(path, home));
}

QString trashFailuresTitle(const std::vector<CleanReport::Failure>& failures)
{
    return QStringLiteral("%1 could not be moved to the Trash").arg(failures.size());
}

QString trashFailuresDetail(const std::vector<CleanReport::Failure>& failures, const std::string& home)
{
    if (failures.empty())
        return {};
    return tildePath(failures.front().path, home) + QStringLiteral(": ") + text(failures.front().reason);
}

QString quoted(const std::string& name)
{
    return QLatin1Char('"') + text(name) + QLatin1Char('"');
}

} // namespace tarno::ScreenText
