// The base of a page whose frame stores what its editor made of a record with a key.
#pragma once

#include "common/frm_list.h"
#include "common/lang_res.h"
#include "common/warning_box.h"

// The list shows what was entered, whatever the store answers: a new row stands before its record is written.
template <class Record, class Editor>
class Cfrm_keyed : public Cfrm_list {
public:
    Cfrm_keyed(Cdb_fac_mgr* store, QWidget* parent) : Cfrm_list(store, parent), _editor(new Editor(store, this)) {}

protected:
    // What a page says of its table. A key is the texts of the first `keyColumns()` cells of a row.
    [[nodiscard]] virtual int keyColumns() const { return 1; }
    [[nodiscard]] virtual bool has(const Record& record) = 0; // one with its key
    // Fills an empty record. False: there is none, or it cannot be told.
    [[nodiscard]] virtual bool read(const QStringList& key, Record& record) = 0;
    virtual void write(const Record& record) = 0;
    virtual void addInfo(const Record* record) = 0;          // a row at the end; none for null
    virtual void setRest(int row, const Record& record) = 0; // all cells but the key's
    virtual void warnUnreadable()                            // when the record to be edited is
    {
        PlxWarningBox(GetLangItem(76), QStringLiteral("Cannot get information from database."));
    }

    void onAddBtn() override
    {
        _editor->Init(nullptr);
        if (!_editor->isEdited())
            return;
        const Record& record = _editor->record();
        if (has(record))
            return PlxWarningDuplicate();
        addInfo(&record);
        write(record);
    }

    void onEditBtn() override
    {
        const QStringList key = _selectedKey(keyColumns());
        if (key.isEmpty())
            return;
        Record record;
        if (!read(key, record))
            return warnUnreadable();
        _editor->Init(&record);
        if (!_editor->isEdited())
            return;
        write(_editor->record());
        setRest(_rowOfKey(key), _editor->record());
    }

    // Asks for the key, labelled with a language item, and edits its record. The list shows it after Refresh.
    void _search(int labelItem)
    {
        QString key;
        if (!_askFor(key, labelItem))
            return;
        Record record;
        if (!read({key}, record))
            return PlxWarningNoRecord();
        _editor->Init(&record);
        if (_editor->isEdited())
            write(_editor->record());
    }

    Editor* _editor;
};
