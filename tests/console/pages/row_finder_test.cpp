// Finding the rows of a page by name.
#include "common/row_finder.h"

#include <QIcon>
#include <QStandardItemModel>
#include <gtest/gtest.h>

namespace {

class RowFinder : public testing::Test {
protected:
    void append(const QString& name)
    {
        const int row = _model.rowCount();
        _model.insertRow(row);
        _model.setData(_model.index(row, 0), name);
    }
    // -1: none.
    int rowOf(const QString& name)
    {
        const QStandardItem* const found = _finder.find(name);
        return found == nullptr ? -1 : found->row();
    }

    QStandardItemModel _model{0, 2};

private:
    Crow_finder _finder{&_model};
};

TEST_F(RowFinder, FindsExactlyTheNameThatIsAsked)
{
    append("ann");
    append("Ann");
    append("ann2");
    EXPECT_EQ(rowOf("Ann"), 1);
    EXPECT_EQ(rowOf("ann2"), 2);
    EXPECT_EQ(rowOf("an"), -1);
    EXPECT_EQ(rowOf("ANN"), -1);
}

// An item that counts how often it is looked at.
class CountingItem : public QStandardItem {
public:
    CountingItem(const QString& text, int& looks) : QStandardItem(text), _looks(looks) {}
    [[nodiscard]] QVariant data(int role) const override
    {
        ++_looks;
        return QStandardItem::data(role);
    }

private:
    int& _looks;
};

TEST_F(RowFinder, NamesThatAreNotOnThePageCostNoWalkOverIt)
{
    constexpr int kRows = 50;
    int looks = 0;
    for (int row = 0; row < kRows; ++row)
        _model.appendRow(new CountingItem(QString::number(row), looks));
    looks = 0;
    for (int name = 0; name < 10000; ++name)
        EXPECT_EQ(rowOf("elsewhere " + QString::number(name)), -1);
    EXPECT_LE(looks, kRows);
    EXPECT_EQ(rowOf("49"), 49);
}

TEST_F(RowFinder, RowsThatAreAppendedCostNoWalkOverThoseBefore)
{
    constexpr int kRows = 500;
    int looks = 0;
    for (int row = 0; row < kRows; ++row) {
        _model.appendRow(new CountingItem(QString::number(row), looks));
        EXPECT_EQ(rowOf(QString::number(row)), row);
    }
    EXPECT_LE(looks, 2 * kRows);
}

TEST_F(RowFinder, ABlankNameIsNoRow)
{
    append(QString());
    EXPECT_EQ(rowOf(QString()), -1);
    EXPECT_EQ(rowOf(""), -1);
}

TEST_F(RowFinder, OfRowsThatLookAlikeTheFirstIsFound)
{
    for (const char* const name : {"1000", "1001", "1000", "1001"})
        append(name);
    EXPECT_EQ(rowOf("1000"), 0);
    EXPECT_EQ(rowOf("1001"), 1);
}

TEST_F(RowFinder, FollowsRowsThatComeMoveChangeAndGo)
{
    append("b");
    EXPECT_EQ(rowOf("a"), -1);
    append("a");
    EXPECT_EQ(rowOf("a"), 1);
    _model.sort(0);
    EXPECT_EQ(rowOf("a"), 0);
    EXPECT_EQ(rowOf("b"), 1);
    _model.setData(_model.index(0, 0), "c");
    EXPECT_EQ(rowOf("a"), -1);
    EXPECT_EQ(rowOf("c"), 0);
    _model.removeRow(0);
    EXPECT_EQ(rowOf("c"), -1);
    EXPECT_EQ(rowOf("b"), 0);
    _model.removeRows(0, _model.rowCount());
    EXPECT_EQ(rowOf("b"), -1);
}

TEST_F(RowFinder, FollowsRowsThatComeBeforeOthersOrGetTheirNameLater)
{
    append("b");
    _model.insertRow(1);
    EXPECT_EQ(rowOf("a"), -1);
    _model.setData(_model.index(1, 0), "a");
    EXPECT_EQ(rowOf("a"), 1);
    _model.insertRow(0, new QStandardItem("a"));
    EXPECT_EQ(rowOf("a"), 0);
    EXPECT_EQ(rowOf("b"), 1);
}

TEST_F(RowFinder, FindsRowsAlsoAfterTheirIconsAndOtherCellsChanged)
{
    append("a");
    append("b");
    EXPECT_EQ(rowOf("b"), 1);
    _model.item(1)->setIcon(QIcon());
    _model.setData(_model.index(1, 1), "10.0.0.1:5060");
    EXPECT_EQ(rowOf("b"), 1);
    EXPECT_EQ(rowOf("10.0.0.1:5060"), -1);
}

} // namespace
