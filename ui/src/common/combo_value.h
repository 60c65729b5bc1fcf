// The value of a selection box: what the current item stands for, beside the text that it shows.
#pragma once

#include "bcl2/tmp_str.h"

#include <cstdint>

class QComboBox;
class QString;

// Makes the item with this data current. One that is missing, or stands first and so may be "no selection", is looked
// for among the shown texts too; else the first item becomes current.
void ComboBoxSetVal(QComboBox* box, unsigned value);

// Makes the item with exactly this text, or this data, current. The first item, which stands for "none" or a default,
// is not looked for; one that is missing changes nothing.
void ComboBoxSelectText(QComboBox* box, const QString& text);
void ComboBoxSelectData(QComboBox* box, uint32_t value);

// Keeps an editable box's item and text together: without this a typed text leaves the item current that was chosen
// before, whose data would be taken for it.
void LetTextChooseItem(QComboBox* box);

// Data of the current item; 0 when there is none.
[[nodiscard]] uint32_t ComboBoxGetValU32(QComboBox* box);

// Data of the current item as text; where it is empty, the text that the box shows.
void ComboBoxGetValStr(QComboBox* box, Cbcl_tmp_str& text);
