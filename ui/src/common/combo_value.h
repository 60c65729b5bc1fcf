// The value of a selection box: what the current item stands for, beside the text that it shows.
#pragma once

#include "bcl2/tmp_str.h"

#include <cstdint>

class QComboBox;

// Makes the item with this data current. One that is missing, or stands first and so may be "no selection", is looked
// for among the shown texts too; else the first item becomes current.
void ComboBoxSetVal(QComboBox* box, unsigned value);

// Data of the current item; 0 when there is none.
[[nodiscard]] uint32_t ComboBoxGetValU32(QComboBox* box);

// Data of the current item as text; where it is empty, the text that the box shows.
void ComboBoxGetValStr(QComboBox* box, Cbcl_tmp_str& text);
