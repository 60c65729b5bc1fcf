// How the buttons of dialogs look.
#pragma once

class QDialogButtonBox;

// Gives OK and Cancel, those that there are, their texts and images.
void DressButtons(QDialogButtonBox* box);
