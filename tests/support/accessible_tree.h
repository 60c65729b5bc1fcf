// What assistive technology is told of a window.
#pragma once

#include <QSet>
#include <QString>

#include <functional>
#include <string>

class QAccessibleInterface;
class QWidget;

// Calls for each window, control, head of a column, tab and item of a menu that shows, with the name by which a user
// knows what it is for. Frames and fillers have none.
void forEachNamed(QWidget& window,
                  const std::function<void(const QAccessibleInterface& part, const QString& name)>& look);

// A part as a failed test names it.
[[nodiscard]] std::string described(const QAccessibleInterface& part);

// The texts of the console's language, without the marks before letters of menus.
[[nodiscard]] QSet<QString> textsOfTheLanguage();
