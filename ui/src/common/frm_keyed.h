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
    [[nodiscard]] virtual bool has(const Record& record) = 0; // one with its key; false also when it cannot be told
    // Fills an empty record. False: there is none, or it cannot be told.
    [[nodiscard]] virtual bool read(const QStringList& key, Record& record) = 0;
    // Stores a new record, and none in the place of one that is there after all.
    virtual void add(const Record& record) = 0;
    // Stores a changed record, which may take over what has changed in the database meanwhile.
    virtual void write(Record& record) = 0;
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
        add(record);
    }

    void onEditBtn() override
    {
        const QStringList key = _selectedKey(keyColumns());
        if (key.isEmpty())
            return;
        Record record;
        if (!read(key, record))
            return warnUnreadable();
        if (editAndWrite(record))
            setRest(_rowOfKey(key), record);
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
        (void)editAndWrite(record);
    }

    Editor* _editor;

private:
    // True when the record was changed in the editor; it is the written one then.
    [[nodiscard]] bool editAndWrite(Record& record)
    {
        _editor->Init(&record);
        if (!_editor->isEdited())
            return false;
        record = _editor->record();
        write(record);
        return true;
    }
};
