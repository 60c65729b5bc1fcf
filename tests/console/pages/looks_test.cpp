// How tables, tabs, boxes and inputs look where the room is small, the palette dark or the layout mirrored.
#include "common/dialog_buttons.h"
#include "common/form_grid.h"
#include "common/form_tabs.h"
#include "common/input_box.h"
#include "common/lang_res.h"
#include "common/record_view.h"
#include "common/text_lines.h"
#include "common/warning_box.h"
#include "start_up.h"
#include "support/page_fixture.h"

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QHelpEvent>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPushButton>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTabBar>
#include <QToolButton>
#include <QToolTip>
#include <QVBoxLayout>
#include <QtTest/QTest>

#include <algorithm>
#include <cmath>

namespace {

// WCAG 2.1, relative luminance and contrast ratio.
double luminance(const QColor& colour)
{
    const auto linear = [](double part) {
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}

double contrast(const QColor& one, const QColor& other)
{
    const auto [low, high] = std::minmax(luminance(one), luminance(other));
    return (high + 0.05) / (low + 0.05);
}

class Looks : public PageFixture {
protected:
    // A table of one row in a window of this width.
    Crecord_view& table(const QStringList& titles, int width)
    {
        _model.setColumnCount(titles.size());
        _model.setRowCount(1);
        _model.setHorizontalHeaderLabels(titles);
        for (int column = 0; column < titles.size(); ++column)
            _model.setItem(0, column, new QStandardItem(QStringLiteral("1")));
        _view = std::make_unique<Crecord_view>(nullptr);
        _view->setModel(&_model);
        _view->resize(width, 200);
        _view->show();
        QCoreApplication::processEvents();
        _view->fitColumns();
        QCoreApplication::processEvents();
        return *_view;
    }
    void paintRow(const QColor& ink)
    {
        for (int column = 0; column < _model.columnCount(); ++column)
            _model.item(0, column)->setForeground(ink);
    }
    // The best contrast of a pixel of the first row with its ground.
    [[nodiscard]] double contrastOfRow() const
    {
        const QImage image = _view->viewport()->grab(_view->visualRect(_model.index(0, 0))).toImage();
        double best = 1;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                best = std::max(best, contrast(image.pixelColor(x, y), _view->palette().color(QPalette::Base)));
        }
        return best;
    }

    static void pointAt(QWidget& widget, const QPoint& place)
    {
        QToolTip::showText({}, {});
        QHelpEvent event(QEvent::ToolTip, place, widget.mapToGlobal(place));
        QCoreApplication::sendEvent(&widget, &event);
    }

    QStandardItemModel _model;
    std::unique_ptr<Crecord_view> _view;
};

const QStringList kTitles = {"Prefix of the number", "Number of the caller", "Time-condition"};

TEST_F(Looks, TitlesTakeTwoLinesWhereTheColumnsWouldNotFit)
{
    const int oneLine = table(kTitles, 800).header()->height();
    EXPECT_FALSE(_view->horizontalScrollBar()->isVisible());
    const int twoLines = table(kTitles, 440).header()->height();
    EXPECT_FALSE(_view->horizontalScrollBar()->isVisible());
    EXPECT_EQ(twoLines, oneLine + _view->header()->fontMetrics().lineSpacing());
}

TEST_F(Looks, TitlesWithoutABreakStayOnOneLine)
{
    const int oneLine = table({"Leitungsname", "Beschreibung"}, 800).header()->height();
    EXPECT_EQ(table({"Leitungsname", "Beschreibung"}, 60).header()->height(), oneLine);
}

TEST_F(Looks, AColumnHasRoomForWhatComesLater)
{
    const QString address = QStringLiteral("192.168.100.200:50600");
    _model.setColumnCount(2);
    _model.setRowCount(1);
    _view = std::make_unique<Crecord_view>(nullptr);
    _view->setModel(&_model);
    _view->expectValue(1, QStringLiteral("000.000.000.000:00000"));
    _view->resize(280, 100);
    _view->show();
    _view->fitColumns();
    _model.setItem(0, 1, new QStandardItem(address));
    _view->fitColumns(); // widths are the user's by now
    EXPECT_LE(_view->sizeHintForIndex(_model.index(0, 1)).width(), _view->columnWidth(1));
}

TEST_F(Looks, LinesBreakWhereTheyBecomeNarrowest)
{
    const QFontMetrics font(QApplication::font());
    EXPECT_EQ(OnLines("a bb cc", 2, font), QStringLiteral("a bb\ncc"));
    EXPECT_EQ(OnLines("aa bb cc", 3, font), QStringLiteral("aa\nbb\ncc"));
    EXPECT_EQ(OnLines("aa bb cc", 1, font), QStringLiteral("aa bb cc"));
    EXPECT_EQ(OnLines("Time-condition", 2, font), QStringLiteral("Time-\ncondition"));
    EXPECT_EQ(OnLines("Beschreibung", 2, font), QStringLiteral("Beschreibung"));
    EXPECT_EQ(OnLines(" a", 2, font), QStringLiteral(" a"));
    EXPECT_EQ(OnLines("a-", 2, font), QStringLiteral("a-"));
    EXPECT_EQ(OnLines("", 2, font), QString());
    EXPECT_EQ(OnLines("被叫号码", 2, font), QStringLiteral("被叫\n号码"));
    EXPECT_EQ(OnLines("レベル", 3, font), QStringLiteral("レベル"));
    for (const QString& line : OnLines("ダイヤルプラン", 3, font).split('\n'))
        EXPECT_GE(line.size(), 2);
}

TEST_F(Looks, LongValuesAreCutBeforeTheTableScrolls)
{
    const QString text = QStringLiteral("What somebody wrote about it at some length");
    table({"Number", "Description", "Kind"}, 1000);
    _model.item(0, 1)->setText(text);
    _view->resize(300, 200);
    QCoreApplication::processEvents();
    EXPECT_EQ(_view->horizontalScrollBar()->maximum(), 0);
    EXPECT_LT(_view->columnWidth(1), _view->sizeHintForIndex(_model.index(0, 1)).width());
    EXPECT_GE(_view->columnWidth(0), _view->fontMetrics().horizontalAdvance("Number"));
    pointAt(*_view->viewport(), _view->visualRect(_model.index(0, 0)).center());
    EXPECT_EQ(QToolTip::text(), QString());
    pointAt(*_view->viewport(), _view->visualRect(_model.index(0, 1)).center());
    EXPECT_EQ(QToolTip::text(), text);
}

TEST_F(Looks, ATitleThatIsCutShowsUnderThePointer)
{
    table({"Beschreibung", "Zeitbedingung", "No"}, 120);
    QWidget& heads = *_view->header()->viewport();
    pointAt(heads, {_view->columnViewportPosition(2) + 3, 5});
    EXPECT_EQ(QToolTip::text(), QString());
    pointAt(heads, {_view->columnViewportPosition(1) + 3, 5});
    EXPECT_EQ(QToolTip::text(), QStringLiteral("Zeitbedingung"));
}

TEST_F(Looks, ColumnsFollowTheWindowUntilTheUserChoosesWidths)
{
    table({"Number", "Description"}, 300);
    const int narrow = _view->columnWidth(0);
    _view->resize(600, 200);
    QCoreApplication::processEvents();
    const int wide = _view->columnWidth(0);
    EXPECT_GT(wide, narrow);
    QWidget& heads = *_view->header()->viewport();
    const QPoint edge(wide - 1, 5);
    QTest::mousePress(&heads, Qt::LeftButton, {}, edge);
    QMouseEvent drag(QEvent::MouseMove, edge + QPoint(40, 0), Qt::NoButton, Qt::LeftButton, {});
    QCoreApplication::sendEvent(&heads, &drag);
    QTest::mouseRelease(&heads, Qt::LeftButton, {}, edge + QPoint(40, 0));
    const int chosen = _view->columnWidth(0);
    EXPECT_NE(chosen, wide);
    _view->resize(900, 200);
    QCoreApplication::processEvents();
    EXPECT_EQ(_view->columnWidth(0), chosen);
}

TEST_F(Looks, ColouredRowsCanBeReadOnADarkGround)
{
    QPalette dark = QApplication::palette();
    dark.setColor(QPalette::Base, QColor(0x23, 0x23, 0x23));
    dark.setColor(QPalette::AlternateBase, QColor(0x2c, 0x2c, 0x2c));
    dark.setColor(QPalette::Text, Qt::white);
    QApplication::setPalette(dark);
    table({"Number"}, 300);
    _model.item(0, 0)->setText(QStringLiteral("LLLLLL"));
    for (const Qt::GlobalColor ink : {Qt::black, Qt::blue, Qt::red, Qt::gray}) {
        paintRow(ink);
        EXPECT_GT(contrastOfRow(), 4.0) << ink;
    }
}

TEST_F(Looks, ALockedInputStandsOutOnADarkGround)
{
    QPalette dark(QColor(0x35, 0x35, 0x35));
    dark.setColor(QPalette::Base,
                  QColor(0x23, 0x23, 0x23)); // locked, too: palettes of some desktops do not tell them apart
    QApplication::setPalette(dark);
    QWidget place;
    Cform_grid grid(new QVBoxLayout(&place));
    QLineEdit* const open = grid.addEdit(283);
    QLineEdit* const locked = grid.addEdit(283);
    locked->setEnabled(false);
    place.show();
    QCoreApplication::processEvents();
    const auto groundOf = [](QWidget& input) {
        const QImage image = input.grab().toImage();
        return image.pixelColor(image.width() / 2, image.height() / 2);
    };
    EXPECT_EQ(groundOf(*open), QColor(0x23, 0x23, 0x23));
    EXPECT_EQ(groundOf(*locked), QColor(0x35, 0x35, 0x35));
}

TEST_F(Looks, ColoursOfRowsStayOnALightGround)
{
    table({"Number"}, 300);
    _model.item(0, 0)->setText(QStringLiteral("LLLLLL"));
    paintRow(Qt::blue);
    EXPECT_GT(contrastOfRow(), contrast(Qt::blue, Qt::white) * 0.9);
}

TEST_F(Looks, TabsTakeTwoLinesBeforeOneIsHidden)
{
    QWidget place;
    Cform_tabs tabs(&place);
    for (const char* const title : {"Supplementary services", "Advanced services", "Call forwarding"})
        tabs.addTab(new QWidget, QLatin1String(title));
    place.resize(900, 200);
    tabs.resize(900, 200);
    place.show();
    QCoreApplication::processEvents();
    const int oneLine = tabs.tabBar()->height();
    tabs.resize(tabs.tabBar()->sizeHint().width() - 20, 200);
    QCoreApplication::processEvents();
    EXPECT_GT(tabs.tabBar()->height(), oneLine);
    for (const QToolButton* const button : tabs.tabBar()->findChildren<QToolButton*>())
        EXPECT_FALSE(button->isVisible());
    EXPECT_EQ(tabs.tabText(0), QStringLiteral("Supplementary services"));
    tabs.resize(900, 200);
    QCoreApplication::processEvents();
    EXPECT_EQ(tabs.tabBar()->height(), oneLine);
}

TEST_F(Looks, BoxesHaveTheButtonsOfEditors)
{
    const auto expectDressed = [](const QDialog& box) {
        const auto* const buttons = box.findChild<QDialogButtonBox*>();
        ASSERT_NE(buttons, nullptr);
        EXPECT_TRUE(buttons->centerButtons());
        const QPushButton* const ok = buttons->button(QDialogButtonBox::Ok);
        EXPECT_EQ(ok->text(), item(64));
        EXPECT_EQ(ok->icon().pixmap(32, 32).toImage(), QIcon(":/images/ok.png").pixmap(32, 32).toImage());
    };
    boxes.expect("Title", "Text", [&](QMessageBox& box) {
        expectDressed(box);
        const QImage warning = QIcon(":/images/warning.png").pixmap(48).toImage();
        bool isOurs = false;
        for (const QLabel* const label : box.findChildren<QLabel*>())
            isOurs = isOurs || label->pixmap(Qt::ReturnByValue).toImage() == warning;
        EXPECT_TRUE(isOurs);
        box.accept();
    });
    PlxWarningBox("Title", "Text");
    QString text;
    boxes.expectEditor("Title", [&](QDialog& box) {
        expectDressed(box);
        EXPECT_GE(box.width(), 300);
        EXPECT_EQ(box.focusWidget(), box.findChild<QLineEdit*>());
        box.reject();
    });
    EXPECT_NE(InputBox(text, nullptr, "Title", "No", ""), 0u);
}

TEST_F(Looks, AButtonWithoutALanguageFileKeepsTheToolkitsText)
{
    QDialogButtonBox box(QDialogButtonBox::Ok);
    const QString text = box.button(QDialogButtonBox::Ok)->text();
    gStrPlxRes.clear();
    DressButtons(&box);
    EXPECT_EQ(box.button(QDialogButtonBox::Ok)->text(), text);
}

class MirroredLooks : public Looks {
protected:
    void SetUp() override
    {
        Looks::SetUp();
        writeSwitches("gVarGuiLayoutDir=1\n");
        PrepareApplication();
    }
};

// From the first to the last pixel that differs from the ground.
QPair<int, int> inkOf(const QImage& image)
{
    constexpr int kFrame = 6; // pixels of the button's own
    const QColor ground = image.pixelColor(kFrame, image.height() / 2);
    QPair<int, int> ink(image.width(), 0);
    for (int x = kFrame; x < image.width() - kFrame; ++x) {
        for (int y = kFrame; y < image.height() - kFrame; ++y) {
            if (contrast(image.pixelColor(x, y), ground) < 2)
                continue;
            ink = {std::min(ink.first, x), std::max(ink.second, x)};
        }
    }
    return ink;
}

TEST_F(MirroredLooks, TheTextOfAButtonStandsBesideItsImage)
{
    QDialogButtonBox box(QDialogButtonBox::Cancel);
    DressButtons(&box);
    QPushButton* const button = box.button(QDialogButtonBox::Cancel);
    button->setFixedWidth(240);
    button->setAutoDefault(false);
    box.show();
    QCoreApplication::processEvents();
    const QImage image = button->grab().toImage();
    const auto [left, right] = inkOf(image);
    ASSERT_LT(left, right);
    const int margin = 8;
    EXPECT_NEAR(left, image.width() - 1 - right, margin) << "not in the middle";
    EXPECT_LT(right - left, 140);
}

TEST_F(MirroredLooks, WhatIsTypedStandsBesideItsLabel)
{
    QLineEdit edit(QStringLiteral("5060"));
    edit.resize(300, 30);
    edit.show();
    QCoreApplication::processEvents();
    const auto [left, right] = inkOf(edit.grab().toImage());
    EXPECT_GT(left, 200);
    EXPECT_LT(left, right);
}

TEST_F(MirroredLooks, LabelsBeginAtTheRight)
{
    QLabel label(QStringLiteral("Name"));
    label.resize(300, 30);
    label.show();
    QCoreApplication::processEvents();
    const auto [left, right] = inkOf(label.grab().toImage());
    EXPECT_GT(left, 200);
    EXPECT_LT(left, right);
}

TEST_F(MirroredLooks, WhatIsChosenReadsInTheOrderOfItsWords)
{
    const auto picture = [](const QString& text) {
        QComboBox box;
        box.addItem(text);
        box.resize(300, 30);
        box.show();
        QCoreApplication::processEvents();
        return box.grab().toImage();
    };
    const QString text = QStringLiteral("0445500 Line");
    EXPECT_EQ(picture(text), picture(QChar(0x202a) + text)) << "embedded from left to right";
    EXPECT_NE(picture(text), picture(QStringLiteral("Line 0445500")));
}

} // namespace
