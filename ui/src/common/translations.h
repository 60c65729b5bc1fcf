// Texts that stand in the sources or in the toolkit, in the language of the console.
#pragma once

#include <QString>

// Has the toolkit's own boxes and menus, and what passes through tr() or MessageText, shown in the language of this
// code, as far as there are texts of it; English stays. Once, before the first window. Needs the application.
void InitTranslations(int code);

// A message that the sources hold in English. Where the language file has no text of its own for it, it stays as it
// is: so do texts that are language items already.
[[nodiscard]] QString MessageText(const QString& english);
