// The message boxes that every window uses.
#pragma once

#include <QString>

// Modal, without parent, with the toolkit's OK button; returns when the user has closed it. GUI thread.
void PlxWarningBox(const QString& title, const QString& text);

void PlxWarningInvalidParam(const QString& text);
void PlxWarningRecordExist();
void PlxWarningDuplicate(); // the same in the words of the pages that ask before they store
void PlxWarningNoRecord();
void PlxWarningNoMoreRecord();
