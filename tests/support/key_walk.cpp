#include "support/key_walk.h"

#include <QApplication>
#include <QCheckBox>
#include <QRadioButton>
#include <QTest>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace {

// A box with a line in it, or with a list that drops down, is one control.
bool isPartOfAnother(const QWidget& widget)
{
    for (const QWidget* each = widget.parentWidget(); each != nullptr && !widget.isWindow();
         each = each->parentWidget()) {
        const bool holdsParts = each->inherits("QComboBox") || each->inherits("QAbstractSpinBox") ||
                                each->inherits("QAbstractItemView") || each->inherits("QTabBar") ||
                                each->inherits("QToolBar") || each->inherits("QMenuBar");
        if (holdsParts)
            return true;
    }
    return false;
}

bool isControl(const QWidget& widget)
{
    static constexpr std::array<const char*, 8> kKinds = {"QLineEdit",         "QComboBox", "QAbstractButton",
                                                          "QAbstractItemView", "QTextEdit", "QPlainTextEdit",
                                                          "QAbstractSpinBox",  "QTabBar"};
    return std::any_of(kKinds.begin(), kKinds.end(), [&](const char* kind) { return widget.inherits(kind); }) &&
           !isPartOfAnother(widget);
}

QRect placeIn(const QWidget& window, const QWidget& widget)
{
    return {widget.mapTo(&window, QPoint()), widget.size()};
}

// Follows an arrow between radio buttons to the last one in its direction.
void followArrow(Qt::Key arrow, QList<QWidget*>& reached)
{
    const int most = QApplication::focusWidget()->window()->findChildren<QRadioButton*>().size();
    for (int step = 0; step < most; ++step) {
        const QWidget* const before = QApplication::focusWidget();
        typeKey(arrow);
        QWidget* const now = QApplication::focusWidget();
        if (now == before)
            return;
        const auto* const button = qobject_cast<QRadioButton*>(now);
        ASSERT_NE(button, nullptr) << described(*now);
        EXPECT_TRUE(button->isChecked()) << described(*now);
        reached.append(now);
    }
}

// Radio buttons of a group are one stop of Tab: arrows go from one to the next, and choose it.
void walkRadios(QWidget& chosen, QList<QWidget*>& reached)
{
    followArrow(Qt::Key_Down, reached);
    followArrow(Qt::Key_Up, reached);
    const int most = reached.size();
    for (int step = 0; step < most && QApplication::focusWidget() != &chosen; ++step)
        typeKey(Qt::Key_Down);
    EXPECT_EQ(QApplication::focusWidget(), &chosen);
}

// The other state of what has two: inputs that are off in the one are on in the other.
void flip(QWidget& widget)
{
    if (auto* const box = qobject_cast<QCheckBox*>(&widget)) {
        const bool wasChecked = box->isChecked();
        typeKey(Qt::Key_Space);
        EXPECT_NE(box->isChecked(), wasChecked) << described(widget);
    } else if (widget.inherits("QRadioButton")) {
        typeKey(Qt::Key_Down);
        if (QApplication::focusWidget() == &widget) // the last one
            typeKey(Qt::Key_Up);
    }
}

// A way can only begin, and so end, at what stays where it is while inputs come and go.
void goWhereAWayCanBegin(QWidget& window)
{
    const int most = window.findChildren<QWidget*>().size();
    for (int step = 0; step < most; ++step) {
        const QWidget* const now = QApplication::focusWidget();
        ASSERT_NE(now, nullptr);
        const bool isChoice = now->inherits("QRadioButton") || now->inherits("QCheckBox");
        if (now->inherits("QAbstractItemView") || now->inherits("QTextEdit") || now->inherits("QTabBar") ||
            (now->inherits("QAbstractButton") && !isChoice))
            return;
        typeKey(Qt::Key_Tab);
    }
}

void expectReadingOrder(const QWidget& window, const QList<QWidget*>& way)
{
    const QWidget* last = nullptr;
    for (const QWidget* const each : way) {
        if (last != nullptr) {
            const QRect before = placeIn(window, *last);
            const QRect place = placeIn(window, *each);
            const bool isBelow = place.top() > before.bottom();
            const bool isInLine = place.bottom() >= before.top();
            const bool isBehind =
                window.isRightToLeft() ? place.right() < before.left() : place.left() > before.right();
            EXPECT_TRUE(isBelow || (isInLine && isBehind)) << described(*each) << " comes after " << described(*last);
        }
        last = each;
    }
}

// From the first control at the top on.
QList<QWidget*> inReadingOrder(const QWidget& window, QList<QWidget*> way)
{
    const auto isAbove = [&](const QWidget* one, const QWidget* other) {
        const QRect place = placeIn(window, *one);
        const QRect otherPlace = placeIn(window, *other);
        return place.top() < otherPlace.top();
    };
    std::rotate(way.begin(), std::min_element(way.begin(), way.end(), isAbove), way.end());
    return way;
}

void expectAllReached(QWidget& window)
{
    goWhereAWayCanBegin(window);
    const QList<QWidget*> way = walkByTab(window, Qt::Key_Tab);
    QList<QWidget*> back = walkByTab(window, Qt::Key_Backtab);
    ASSERT_FALSE(back.isEmpty());
    std::reverse(back.begin(), back.end() - 1); // all but where both begin
    EXPECT_EQ(back, way) << "Shift+Tab goes another way";

    QList<QWidget*> reached = way;
    (void)walkByTab(window, Qt::Key_Tab, [&](QWidget& at) {
        if (at.inherits("QRadioButton"))
            walkRadios(at, reached);
    });
    for (QWidget* const each : controlsOf(window))
        EXPECT_TRUE(reached.contains(each)) << "no key leads to " << described(*each);
    QList<QWidget*> controls = way;
    controls.erase(
        std::remove_if(controls.begin(), controls.end(), [](const QWidget* each) { return !isControl(*each); }),
        controls.end());
    expectReadingOrder(window, inReadingOrder(window, controls));
}

} // namespace

void typeKey(int key, Qt::KeyboardModifiers modifiers)
{
    QWidget* const focused = QApplication::focusWidget();
    ASSERT_NE(focused, nullptr);
    QTest::keyClick(focused, static_cast<Qt::Key>(key), modifiers);
}

std::string described(const QWidget& widget)
{
    QString name = widget.accessibleName();
    if (name.isEmpty())
        name = widget.property("text").toString();
    return std::string(widget.metaObject()->className()) + " \"" + name.toStdString() + '"';
}

QList<QWidget*> controlsOf(const QWidget& window, Controls which)
{
    QList<QWidget*> controls;
    for (QWidget* const each : window.findChildren<QWidget*>()) {
        if (each->window() == &window && each->isVisible() && (which == Controls::AlsoDisabled || each->isEnabled()) &&
            isControl(*each))
            controls.append(each);
    }
    return controls;
}

QList<QWidget*> walkByTab(QWidget& window, Qt::Key key, const std::function<void(QWidget&)>& look)
{
    const int most = window.findChildren<QWidget*>().size();
    const QWidget* const start = QApplication::focusWidget();
    QList<QWidget*> way;
    while (way.size() <= most) {
        typeKey(key, key == Qt::Key_Backtab ? Qt::ShiftModifier : Qt::NoModifier);
        QWidget* const now = QApplication::focusWidget();
        if (now == nullptr || now->window() != &window) {
            ADD_FAILURE() << "the keyboard is gone from the window";
            return way;
        }
        way.append(now);
        if (look)
            look(*now);
        if (now == start)
            return way;
    }
    ADD_FAILURE() << "no way leads back to " << (start == nullptr ? "where it began" : described(*start));
    return way;
}

void expectEveryControlReached(QWidget& window)
{
    expectAllReached(window);
    goWhereAWayCanBegin(window);
    (void)walkByTab(window, Qt::Key_Tab, flip);
    expectAllReached(window);
}
