// The base of an editor that hands its record to its list frame, which stores it.
#pragma once

#include "common/dlg_common.h"
#include "common/edited_record.h"
#include "common/record_form.h"

template <class Record>
class Cdlg_record : public Cdlg_common {
public:
    using Cdlg_common::Cdlg_common;

    // Runs the prepared dialog. True when the user said OK and the record is another one now.
    [[nodiscard]] bool isEdited() { return exec() == QDialog::Accepted && isChanged(); }
    [[nodiscard]] bool isChanged() const { return _edited.isChanged(); }
    // As the inputs made it, after OK.
    [[nodiscard]] const Record& record() const { return _edited.work; }

protected:
    Crecord_form<Record> _form;
    Cedited_record<Record> _edited;
};
