// Labelled inputs of an editor.
#pragma once

#include <QList>
#include <QString>

class QBoxLayout;
class QCheckBox;
class QComboBox;
class QGridLayout;
class QLabel;
class QLineEdit;
class QTabWidget;
class QWidget;

// Rows of a label at the left and its input at the right, from the top down. A label is a language item; it is its
// input's buddy and its name for assistive technology. The grid belongs to the layout, this is only a hand on it.
class Cform_grid {
public:
    // Appends the grid to `layout`. Inputs span `inputColumns` columns.
    explicit Cform_grid(QBoxLayout* layout, int inputColumns = 1);

    QLineEdit* addEdit(int item);
    QComboBox* addCombo(int item);
    QComboBox* addEditableCombo(int item);
    QCheckBox* addCheck(int item); // says itself what it is, over all columns
    // A label over a group of check boxes, that many to a row.
    QList<QCheckBox*> addChecks(int item, const QList<int>& boxItems, int perRow);

private:
    void addRow(int item, QWidget* input);
    [[nodiscard]] int width() const { return 1 + _inputColumns; }

    QGridLayout* _grid;
    int _inputColumns;
    int _row = 0;
};

// Appends a tab with a grid at its top.
[[nodiscard]] Cform_grid addGridTab(QTabWidget* tabs, int item);
