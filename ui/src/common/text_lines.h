// Titles that are too long for one line.
#pragma once

#include <QString>

class QFontMetrics;

// The text on at most so many lines, broken where it becomes narrowest: in the place of a blank, behind a hyphen,
// between characters that stand for syllables or words. No line has a single character. A text without such a place
// stays.
[[nodiscard]] QString OnLines(const QString& text, int lines, const QFontMetrics& font);
