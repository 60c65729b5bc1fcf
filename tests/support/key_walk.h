// A user without a mouse: real keys to whatever has the focus.
#pragma once

#include <QList>

#include <functional>
#include <string>

class QWidget;

// To the widget with the focus; fails the test when none has it.
void typeKey(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);

// A widget as a failed test names it.
[[nodiscard]] std::string described(const QWidget& widget);

enum class Controls { Enabled, AlsoDisabled };

// What a user of this window works with, as far as it shows: inputs, buttons, tables, texts, tab bars. Not the buttons
// of toolbars, which have keys instead of a place in the order of Tab.
[[nodiscard]] QList<QWidget*> controlsOf(const QWidget& window, Controls which = Controls::Enabled);

// The widgets that Tab, or Shift+Tab, comes to from the one with the focus on until it is back there, that one last.
// `look` is called with each. Fails the test when it never comes back, or leaves the window.
QList<QWidget*> walkByTab(QWidget& window, Qt::Key key, const std::function<void(QWidget&)>& look = {});

// Fails the test unless Tab, and the arrows between radio buttons, reach every control of the window, Shift+Tab goes
// the same way back, and the way is that of reading: down, and along each line. Looks twice: as the window is, and with
// every check box and radio button in the other state.
void expectEveryControlReached(QWidget& window);
