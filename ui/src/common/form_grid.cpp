#include "common/form_grid.h"

#include "common/lang_res.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPalette>
#include <QTabWidget>

namespace {

// By the direction of the layout: left to themselves, labels follow the direction of their letters.
constexpr Qt::Alignment kLabelAlignment = Qt::AlignLeft | Qt::AlignVCenter;

// A locked key is still there to be read: the toolkit's grey is too faint for that.
void keepReadable(QLineEdit* edit)
{
    constexpr double kStrength = 0.65;
    QPalette palette = edit->palette();
    QColor ink = palette.color(QPalette::Active, QPalette::Text);
    ink.setAlphaF(kStrength);
    palette.setColor(QPalette::Disabled, QPalette::Text, ink);
    edit->setPalette(palette);
}

} // namespace

Cform_grid::Cform_grid(QBoxLayout* layout, int inputColumns) : _grid(new QGridLayout), _inputColumns(inputColumns)
{
    layout->addLayout(_grid);
    // Where inputs span columns, other rows use those one by one: they are alike then.
    for (int column = inputColumns == 1 ? 1 : 0; column < width(); ++column)
        _grid->setColumnStretch(column, 1);
}

void Cform_grid::addRow(int item, QWidget* input)
{
    const QString text = GetLangItem(item);
    auto* const label = new QLabel(text);
    label->setBuddy(input);
    input->setAccessibleName(text);
    _grid->addWidget(label, _row, 0, kLabelAlignment);
    _grid->addWidget(input, _row, 1, 1, _inputColumns);
    ++_row;
}

QLineEdit* Cform_grid::addEdit(int item)
{
    auto* const edit = new QLineEdit;
    keepReadable(edit);
    addRow(item, edit);
    return edit;
}

QComboBox* Cform_grid::addCombo(int item)
{
    auto* const box = new QComboBox;
    // Else the longest item would widen a dialog whose width is fixed.
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    addRow(item, box);
    return box;
}

QComboBox* Cform_grid::addEditableCombo(int item)
{
    QComboBox* const box = addCombo(item);
    box->setEditable(true);
    box->lineEdit()->setAccessibleName(box->accessibleName());
    return box;
}

QCheckBox* Cform_grid::addCheck(int item)
{
    auto* const box = new QCheckBox(GetLangItem(item));
    _grid->addWidget(box, _row++, 0, 1, width());
    return box;
}

QList<QCheckBox*> Cform_grid::addChecks(int item, const QList<int>& boxItems, int perRow)
{
    const QString text = GetLangItem(item);
    _grid->addWidget(new QLabel(text), _row++, 0, 1, width(), kLabelAlignment);
    QList<QCheckBox*> boxes;
    for (const int boxItem : boxItems) {
        auto* const box = new QCheckBox(GetLangItem(boxItem));
        box->setAccessibleDescription(text);
        _grid->addWidget(box, _row + boxes.size() / perRow, boxes.size() % perRow);
        boxes.append(box);
    }
    _row += (boxes.size() + perRow - 1) / perRow;
    return boxes;
}

Cform_grid addGridTab(QTabWidget* tabs, int item)
{
    auto* const page = new QWidget;
    auto* const layout = new QVBoxLayout(page);
    tabs->addTab(page, GetLangItem(item));
    Cform_grid grid(layout);
    layout->addStretch();
    return grid;
}
