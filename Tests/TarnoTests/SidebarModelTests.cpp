#include "Tarno/SidebarModel.hpp"

#include <QAbstractItemModelTester>

#include <gtest/gtest.h>

#include <array>

namespace tarno {
namespace {

struct Row {
    const char* rawValue;
    const char* title;
    const char* symbol;
};

constexpr std::array expectedRows = {
    Row{"overview", "Overview", "gauge.with.dots.needle.50percent"},
    Row{"cleanup", "Cleanup", "sparkles"},
    Row{"projects", "Projects", "folder.badge.gearshape"},
    Row{"largeFiles", "Large Files", "doc.viewfinder"},
    Row{"duplicates", "Duplicates", "doc.on.doc"},
    Row{"applications", "Applications", "square.grid.2x2"},
    Row{"performance", "Performance", "memorychip"},
};

TEST(SidebarModel, ListsTheSectionsInOrderWithTitlesAndSymbols)
{
    SidebarModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);

    ASSERT_EQ(model.rowCount(), static_cast<int>(expectedRows.size()));
    for (int row = 0; row < model.rowCount(); ++row) {
        SCOPED_TRACE(row);
        const QModelIndex index = model.index(row);
        const Row& expected = expectedRows[static_cast<std::size_t>(row)];
        EXPECT_EQ(index.data(SidebarModel::RawValueRole).toString(), QString::fromUtf8(expected.rawValue));
        EXPECT_EQ(index.data(SidebarModel::TitleRole).toString(), QString::fromUtf8(expected.title));
        EXPECT_EQ(index.data(Qt::DisplayRole).toString(), QString::fromUtf8(expected.title));
        EXPECT_EQ(index.data(SidebarModel::SymbolRole).toString(), QString::fromUtf8(expected.symbol));
        EXPECT_EQ(index.data(SidebarModel::SectionRole).toInt(), row);
        EXPECT_EQ(model.title(row), QString::fromUtf8(expected.title));
        EXPECT_EQ(model.symbol(row), QString::fromUtf8(expected.symbol));
        EXPECT_EQ(model.number(QString::fromUtf8(expected.rawValue)), row);
    }
    EXPECT_EQ(model.number(QStringLiteral("Cleanup")), -1) << "raw values are matched exactly";

    const QHash<int, QByteArray> roles = model.roleNames();
    EXPECT_EQ(roles.value(SidebarModel::TitleRole), "title");
    EXPECT_EQ(roles.value(SidebarModel::SymbolRole), "symbol");
    EXPECT_EQ(roles.value(SidebarModel::SectionRole), "section");

    EXPECT_TRUE(model.title(-1).isEmpty());
    EXPECT_TRUE(model.symbol(7).isEmpty());
}

} // namespace
} // namespace tarno
