// Titles that are too long for one line.
#pragma once

#include <QString>

class QFontMetrics;

// The text with the line break that makes it narrowest: in the place of a blank or behind a hyphen. A text without
// either stays.
[[nodiscard]] QString OnTwoLines(const QString& text, const QFontMetrics& font);
