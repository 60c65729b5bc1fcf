// How the buttons of dialogs look.
#pragma once

class QDialogButtonBox;

// Gives OK and Cancel, those that there are, their texts and images, and puts them into the middle.
void DressButtons(QDialogButtonBox* box);
