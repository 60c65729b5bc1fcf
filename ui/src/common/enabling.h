// Switches inputs on and off.
#pragma once

class QComboBox;
class QLineEdit;
class QWidget;

void EnableEditControl(QLineEdit* edit);
void EnableEditControl(QComboBox* box);
void EnableWidget(QWidget* widget);
void DisableEditControl(QLineEdit* edit);
void DisableEditControl(QComboBox* box);
void DisableWidget(QWidget* widget);

// For inputs that belong to a check box: on with it, off with it.
template <class Input>
void SwitchEditControl(Input* input, bool isOn)
{
    isOn ? EnableEditControl(input) : DisableEditControl(input);
}
