// The base of an editor that stores its record itself, a changed one by deleting the old one and adding the new one:
// for tables that know no update.
#pragma once

#include "common/dlg_storing.h"
#include "dbproxy2/results.h"

#include <cstring>
#include <type_traits>

// It says nothing of what the store refuses: the list shows what is there.
template <class Record>
class Cdlg_replacing : public Cdlg_storing<Record> {
    static_assert(std::has_unique_object_representations_v<Record>, "padding would break byte comparison");

public:
    using Cdlg_storing<Record>::Cdlg_storing;

    // Prepares the dialog; null: for a new record.
    void Init(const Record* record)
    {
        Cdlg_storing<Record>::Init(record);
        _opening = this->_record;
        _isChanged = false;
    }
    // Runs the prepared dialog. True when the user said OK and the record was stored, which it is only when changed.
    [[nodiscard]] bool isStored() { return this->exec() == QDialog::Accepted && _isChanged; }

    void accept() override
    {
        this->_readInputs();
        _isChanged = std::memcmp(&this->_record, &_opening, sizeof _opening) != 0;
        if (_isChanged)
            _isChanged = replace();
        Cdlg_common::accept();
    }

protected:
    [[nodiscard]] virtual unsigned addToStore(const Record& record) = 0;
    // By its key, which no edit changes.
    [[nodiscard]] virtual unsigned deleteFromStore(const Record& record) = 0;

private:
    // Whether there was something to delete does not matter: adding tells whether its place is free.
    [[nodiscard]] bool replace()
    {
        if (!this->_isNew)
            (void)deleteFromStore(_opening);
        return addToStore(this->_record) == kDbOk;
    }

    Record _opening; // as it was when the dialog opened
    bool _isChanged = false;
};
