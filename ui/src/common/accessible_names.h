// Names for assistive technology, from the texts that a window shows anyway and so in its language.
#pragma once

class QString;
class QWidget;

// Names an input, and the list that it drops down, by the text beside it.
void NameInput(QWidget* input, const QString& text);
// Names a table or a toolbar by the title of its window, also when that changes.
void NameAfterWindow(const QWidget* window, QWidget* part);
// The buttons that move the tabs of a dialog get names, and the keyboard passes them by: arrows move the tabs.
void NameTabMovers(const QWidget* dialog);
