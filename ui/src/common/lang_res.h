// Every visible text of the console: numbered language items, loaded once from the file of the chosen language.
#pragma once

#include "bcl2/tmp_str.h"

#include <QString>
#include <QStringList>

class QAction;
class QMenu;
class QWidget;

constexpr int kLastLangItem = 499; // items are numbered from 1

// Item k is entry k - 1; empty until InitLangureRes. GUI thread.
extern QStringList gStrPlxRes;

// Sets `path` to the language file of the code in the current directory. Returns 0.
unsigned GetLangureResFile(int code, Cbcl_tmp_str* path);

// The name of the language of the code, as the toolkit names its own translations: "de", "zh_CN".
QString GetLangLocale(int code);

// Fills the list from that file; items that the file lacks, or all when there is no file, are empty texts. The list is
// filled once in a process: a second call changes nothing. Returns 0.
unsigned InitLangureRes(int code);

// The item as it stands, also an empty one. `def` counts only for other numbers and before the list is loaded.
QString GetLangItem(int id, QString def = QString());

// The same into an action's text, a menu's title, a window's title, a text buffer. `def` is UTF-8, null is empty.
void GetLangItem(unsigned id, QAction* action, const char* def);
void GetLangItem(unsigned id, QMenu* menu, const char* def);
void GetLangItem(unsigned id, QWidget* widget, const char* def);
void GetLangItem(unsigned id, Cbcl_tmp_str* out, const char* def);
