#include "Tarno/SidebarModel.hpp"

#include "Tarno/AppModel.hpp"

namespace tarno {
namespace {

std::optional<AppModel::Section> sectionNumbered(int number)
{
    if (number < 0 || number >= static_cast<int>(allSections.size()))
        return std::nullopt;
    return allSections[static_cast<std::size_t>(number)];
}

} // namespace

SidebarModel::SidebarModel(QObject* parent)
    : QAbstractListModel(parent)
{
}

int SidebarModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(allSections.size());
}

QVariant SidebarModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const AppModel::Section section = allSections[static_cast<std::size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
    case TitleRole: return tarno::title(section);
    case SymbolRole: return tarno::symbol(section);
    case RawValueRole: return tarno::rawValue(section);
    case SectionRole: return static_cast<int>(section);
    default: return {};
    }
}

QHash<int, QByteArray> SidebarModel::roleNames() const
{
    return {
        {TitleRole, "title"},
        {SymbolRole, "symbol"},
        {RawValueRole, "rawValue"},
        {SectionRole, "section"},
    };
}

QString SidebarModel::title(int section) const
{
    const std::optional<AppModel::Section> found = sectionNumbered(section);
    return found ? tarno::title(*found) : QString();
}

QString SidebarModel::symbol(int section) const
{
    const std::optional<AppModel::Section> found = sectionNumbered(section);
    return found ? tarno::symbol(*found) : QString();
}

QString SidebarModel::rawValue(int section) const
{
    const std::optional<AppModel::Section> found = sectionNumbered(section);
    return found ? tarno::rawValue(*found) : QString();
}

int SidebarModel::number(const QString& raw) const
{
    for (std::size_t index = 0; index < allSections.size(); ++index) {
        if (tarno::rawValue(allSections[index]) == raw)
            return static_cast<int>(index);
    }
    return -1;
}

} // namespace tarno
