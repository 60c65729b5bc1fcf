// Labelled inputs of an editor.
#pragma once

#include <QList>
#include <QString>

#include <utility>

class QBoxLayout;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QGridLayout;
class QLabel;
class QLineEdit;
class QRadioButton;
class QTabWidget;
class QWidget;

// Rows of a label at the left and its input at the right, from the top down. A label is a language item; it is its
// input's buddy and its name for assistive technology. The grid belongs to the layout, this is only a hand on it.
class Cform_grid {
public:
    // Appends the grid to `layout`. Inputs span `inputColumns` columns.
    explicit Cform_grid(QBoxLayout* layout, int inputColumns = 1);

    QLineEdit* addEdit(int item);
    QLineEdit* addPassword(int item); // hidden, unless the switch variants say that passwords show
    QComboBox* addCombo(int item);
    QComboBox* addEditableCombo(int item); // what is typed by hand is no item: nothing is current then
    QCheckBox* addCheck(int item);         // says itself what it is, over all columns
    // A label over a group of check boxes, that many to a row.
    QList<QCheckBox*> addChecks(int item, const QList<int>& boxItems, int perRow);
    // A check box in the place of the label; the input has its name.
    std::pair<QCheckBox*, QLineEdit*> addCheckedEdit(int item);
    std::pair<QCheckBox*, QComboBox*> addCheckedCombo(int item);
    QRadioButton* addRadio(int item); // over all columns
    // A label beside radio buttons, one below the other: their texts and their numbers in the group.
    QButtonGroup* addRadios(int item, const QList<std::pair<int, int>>& buttons);
    // A radio button in the place of the label; the input has its name.
    std::pair<QRadioButton*, QLineEdit*> addRadioEdit(int item);

private:
    template <class Button>
    Button* addCheckedRow(int item, QWidget* input);
    void addRow(int item, QWidget* input);
    [[nodiscard]] int width() const { return 1 + _inputColumns; }

    QGridLayout* _grid;
    int _inputColumns;
    int _row = 0;
};

// Shows or hides an input of a grid and its label.
void SetRowVisible(QWidget* input, bool isVisible);

// Tabs of several groups: an empty tab, to be filled from the top down.
[[nodiscard]] QBoxLayout* addGroupTab(QTabWidget* tabs, int item);
[[nodiscard]] QBoxLayout* addGroupTab(QTabWidget* tabs, const QString& title);
// Appends a framed group of labelled inputs to such a tab.
[[nodiscard]] Cform_grid addGroup(QBoxLayout* tab);
// The same with a title: a language item that says what its inputs have in common.
[[nodiscard]] Cform_grid addTitledGroup(QBoxLayout* tab, int item);
// Appends a framed group of check boxes, as many to a row as the dialog is wide for and `most` allows; `title` as
// above, 0: none.
[[nodiscard]] QList<QCheckBox*> addCheckGroup(QBoxLayout* tab, int title, const QList<int>& boxItems, int most);
// Gives the labels of all groups of all these tabs the width of the widest, so that inputs stand in one line when tabs
// change. Call when every input is there.
void alignGroups(QTabWidget* tabs);
