// Asks for one line of text.
#pragma once

#include <QString>

class QWidget;

// Modal over `parent`; `text` is what stands there at first. 0: `out` holds what was entered. 1: the user cancelled or
// left the line empty. GUI thread.
unsigned InputBox(QString& out, QWidget* parent, const QString& title, const QString& label, const QString& text);
