#include "common/form_grid.h"

#include "cachedb2/switch_variants.h"
#include "common/accessible_names.h"
#include "common/combo_value.h"
#include "common/lang_res.h"

#include <QBoxLayout>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPalette>
#include <QRadioButton>
#include <QTabWidget>

namespace {

// By the direction of the layout: left to themselves, labels follow the direction of their letters.
constexpr Qt::Alignment kLabelAlignment = Qt::AlignLeft | Qt::AlignVCenter;

// A locked key is still there to be read: the toolkit's grey is too faint for that. The role is that of the text. Its
// ground is that of the window: some palettes have it as dark, or as light, as that of an open input.
void keepReadable(QWidget* input, QPalette::ColorRole role)
{
    constexpr double kStrength = 0.65;
    QPalette palette = input->palette();
    QColor ink = palette.color(QPalette::Active, role);
    ink.setAlphaF(kStrength);
    palette.setColor(QPalette::Disabled, role, ink);
    palette.setColor(QPalette::Disabled, QPalette::Base, palette.color(QPalette::Active, QPalette::Window));
    input->setPalette(palette);
}

QLineEdit* newEdit()
{
    auto* const edit = new QLineEdit;
    keepReadable(edit, QPalette::Text);
    return edit;
}

QComboBox* newCombo()
{
    auto* const box = new QComboBox;
    // Else the longest item would widen a dialog whose width is fixed.
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    keepReadable(box, QPalette::ButtonText);
    return box;
}

QGroupBox* addGroupBox(QBoxLayout* tab, const QString& title)
{
    auto* const box = new QGroupBox(title);
    new QVBoxLayout(box);
    tab->insertWidget(tab->count() - 1, box); // above the stretch at the end
    return box;
}

QBoxLayout* layoutOf(QGroupBox* box)
{
    return static_cast<QBoxLayout*>(box->layout());
}

// Columns of check boxes are alike and have no labels.
bool hasLabels(const QGridLayout& grid)
{
    return grid.columnStretch(0) == 0;
}

// Of the widgets that stand beside an input.
int widestLabel(const QGridLayout& grid)
{
    int widest = 0;
    for (int row = 0; row < grid.rowCount(); ++row) {
        const QLayoutItem* const label = grid.itemAtPosition(row, 0);
        const bool isBesideInput = label != nullptr && label != grid.itemAtPosition(row, 1);
        if (isBesideInput)
            widest = qMax(widest, label->sizeHint().width());
    }
    return widest;
}

} // namespace

Cform_grid::Cform_grid(QBoxLayout* layout, int inputColumns) : _grid(new QGridLayout), _inputColumns(inputColumns)
{
    constexpr int kGap = 10; // pixels between a label and its input
    layout->addLayout(_grid);
    _grid->setHorizontalSpacing(kGap);
    // Where inputs span columns, other rows use those one by one: they are alike then.
    for (int column = inputColumns == 1 ? 1 : 0; column < width(); ++column)
        _grid->setColumnStretch(column, 1);
}

void Cform_grid::addRow(int item, QWidget* input)
{
    const QString text = GetLangItem(item);
    auto* const label = new QLabel(text);
    label->setBuddy(input);
    NameInput(input, text);
    _grid->addWidget(label, _row, 0, kLabelAlignment);
    _grid->addWidget(input, _row, 1, 1, _inputColumns);
    ++_row;
}

QLineEdit* Cform_grid::addEdit(int item)
{
    auto* const edit = newEdit();
    addRow(item, edit);
    return edit;
}

QLineEdit* Cform_grid::addPassword(int item)
{
    QLineEdit* const edit = addEdit(item);
    edit->setEchoMode(gVarGuiDisplayPassword == 1 ? QLineEdit::Normal : QLineEdit::Password);
    return edit;
}

QComboBox* Cform_grid::addCombo(int item)
{
    auto* const box = newCombo();
    addRow(item, box);
    return box;
}

QComboBox* Cform_grid::addEditableCombo(int item)
{
    QComboBox* const box = addCombo(item);
    box->setEditable(true);
    box->setInsertPolicy(QComboBox::NoInsert);
    box->setCompleter(nullptr); // it would make "night" the name "nightshift" that is there
    LetTextChooseItem(box);
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
    auto* const label = new QLabel(text);
    _grid->addWidget(label, _row++, 0, 1, width(), kLabelAlignment);
    QList<QCheckBox*> boxes;
    for (const int boxItem : boxItems) {
        auto* const box = new QCheckBox(GetLangItem(boxItem));
        box->setAccessibleDescription(text);
        _grid->addWidget(box, _row + boxes.size() / perRow, boxes.size() % perRow);
        boxes.append(box);
    }
    label->setBuddy(boxes.value(0));
    _row += (boxes.size() + perRow - 1) / perRow;
    return boxes;
}

template <class Button>
Button* Cform_grid::addCheckedRow(int item, QWidget* input)
{
    auto* const button = new Button(GetLangItem(item));
    NameInput(input, button->text());
    _grid->addWidget(button, _row, 0);
    _grid->addWidget(input, _row, 1, 1, _inputColumns);
    ++_row;
    return button;
}

std::pair<QCheckBox*, QLineEdit*> Cform_grid::addCheckedEdit(int item)
{
    auto* const edit = newEdit();
    return {addCheckedRow<QCheckBox>(item, edit), edit};
}

std::pair<QCheckBox*, QComboBox*> Cform_grid::addCheckedCombo(int item)
{
    auto* const choice = newCombo();
    QCheckBox* const box = addCheckedRow<QCheckBox>(item, choice);
    choice->setAccessibleDescription(box->text()); // its name is what it shows, where no label tells more
    return {box, choice};
}

QRadioButton* Cform_grid::addRadio(int item)
{
    auto* const button = new QRadioButton(GetLangItem(item));
    _grid->addWidget(button, _row++, 0, 1, width());
    return button;
}

QButtonGroup* Cform_grid::addRadios(int item, const QList<std::pair<int, int>>& buttons)
{
    const QString text = GetLangItem(item);
    auto* const label = new QLabel(text);
    _grid->addWidget(label, _row, 0, kLabelAlignment);
    auto* const group = new QButtonGroup(_grid->parentWidget());
    for (const auto& [buttonItem, number] : buttons) {
        auto* const button = new QRadioButton(GetLangItem(buttonItem));
        button->setAccessibleDescription(text);
        _grid->addWidget(button, _row++, 1, 1, _inputColumns);
        group->addButton(button, number);
    }
    label->setBuddy(group->buttons().value(0));
    return group;
}

void SetRowVisible(QWidget* input, bool isVisible)
{
    input->setVisible(isVisible);
    for (QLabel* const label : input->parentWidget()->findChildren<QLabel*>()) {
        if (label->buddy() == input)
            label->setVisible(isVisible);
    }
}

std::pair<QRadioButton*, QLineEdit*> Cform_grid::addRadioEdit(int item)
{
    auto* const edit = newEdit();
    return {addCheckedRow<QRadioButton>(item, edit), edit};
}

QBoxLayout* addGroupTab(QTabWidget* tabs, int item)
{
    return addGroupTab(tabs, GetLangItem(item));
}

QBoxLayout* addGroupTab(QTabWidget* tabs, const QString& title)
{
    auto* const page = new QWidget;
    auto* const layout = new QVBoxLayout(page);
    layout->addStretch();
    tabs->addTab(page, title);
    return layout;
}

Cform_grid addGroup(QBoxLayout* tab)
{
    return Cform_grid(layoutOf(addGroupBox(tab, QString())));
}

Cform_grid addTitledGroup(QBoxLayout* tab, int item)
{
    return Cform_grid(layoutOf(addGroupBox(tab, GetLangItem(item))));
}

QList<QCheckBox*> addCheckGroup(QBoxLayout* tab, int title, const QList<int>& boxItems, int most)
{
    QList<QCheckBox*> boxes;
    int widest = 1;
    for (const int item : boxItems) {
        boxes.append(new QCheckBox(GetLangItem(item)));
        widest = qMax(widest, boxes.last()->sizeHint().width());
    }
    constexpr int kFrames = 80; // pixels: what dialog, tab and group keep at both sides
    const int room = tab->parentWidget()->window()->width() - kFrames;
    const int perRow = qBound(1, room / widest, most);
    auto* const grid = new QGridLayout;
    layoutOf(addGroupBox(tab, GetLangItem(title)))->addLayout(grid);
    for (int at = 0; at < boxes.size(); ++at)
        grid->addWidget(boxes[at], at / perRow, at % perRow);
    for (int column = 0; column < perRow; ++column)
        grid->setColumnStretch(column, 1);
    return boxes;
}

void alignGroups(QTabWidget* tabs)
{
    const QList<QGridLayout*> grids = tabs->findChildren<QGridLayout*>();
    int width = 0;
    for (const QGridLayout* const grid : grids) {
        if (hasLabels(*grid))
            width = qMax(width, widestLabel(*grid));
    }
    for (QGridLayout* const grid : grids) {
        if (hasLabels(*grid))
            grid->setColumnMinimumWidth(0, width);
    }
}
