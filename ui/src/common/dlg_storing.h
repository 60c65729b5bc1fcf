// The base of an editor that stores its record itself: a new one is added, one that it was opened with is updated.
#pragma once

#include "common/dlg_common.h"
#include "common/enabling.h"
#include "common/record_form.h"

#include <QList>

template <class Record>
class Cdlg_storing : public Cdlg_common {
public:
    using Cdlg_common::Cdlg_common;

    // Prepares the dialog; null: for a new record.
    void Init(const Record* record)
    {
        _isNew = record == nullptr;
        _record = record == nullptr ? Record() : *record;
        _key.show(_record);
        _form.show(_record);
        _isNew ? _enableIndexItems() : _disableIndexItems();
    }
    // What it stored, after it was accepted.
    [[nodiscard]] const Record& record() const { return _record; }

protected:
    // Declares an input of the key, whose field is bound to `_key`.
    template <class Input>
    Input* _indexItem(Input* input)
    {
        _indexItems.append(input);
        return input;
    }
    void _enableIndexItems()
    {
        for (QWidget* const input : _indexItems)
            EnableWidget(input);
    }
    void _disableIndexItems()
    {
        for (QWidget* const input : _indexItems)
            DisableWidget(input);
    }
    // A record keeps the key that it was opened with, also one that the inputs cannot show.
    void _readInputs()
    {
        if (_isNew)
            _key.read(_record);
        _form.read(_record);
    }

    Crecord_form<Record> _key;
    Crecord_form<Record> _form; // all but the key
    Record _record;
    bool _isNew = true;

private:
    QList<QWidget*> _indexItems;
};
