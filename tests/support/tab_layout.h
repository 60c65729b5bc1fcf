// How the tabs of an editor are laid out.
#pragma once

class QDialog;

// Width of an editor on the narrowest of the desktops that get the smaller share of it, in pixels.
constexpr int kNarrowEditor = 560;

// Makes every text of the console as long as German does. Call before the editor is made.
void lengthenTexts();

// Fails the test unless the inputs of all tabs of the shown editor begin and end in one line.
void expectInputsInOneLine(QDialog& editor);

// Fails the test when a tab of the shown editor needs more width than it has.
void expectTabsFit(QDialog& editor);
