// The base of an editor that hands a record with a key to its list frame, which stores it.
#pragma once

#include "common/dlg_record.h"
#include "common/enabling.h"

#include <QList>

#include <algorithm>

template <class Record>
class Cdlg_keyed : public Cdlg_record<Record> {
public:
    using Cdlg_record<Record>::Cdlg_record;

    // Prepares the dialog; null: for a new record, with empty lines. The key of a given one is locked.
    void Init(const Record* record)
    {
        _isNew = record == nullptr;
        this->_edited.open(record);
        for (QLineEdit* const each : _keyLines)
            SwitchEditControl(each, _isNew);
        for (QLineEdit* const each : _lines)
            each->clear();
        if (_isNew)
            return;
        _key.show(*record);
        this->_form.show(*record);
    }

protected:
    // Declares a line; a part of the key has its field in `_key`, any other in `_form`.
    QLineEdit* _line(QLineEdit* edit)
    {
        _lines.append(edit);
        return edit;
    }
    QLineEdit* _keyLine(QLineEdit* edit)
    {
        _keyLines.append(edit);
        return _requiredLine(edit);
    }
    QLineEdit* _requiredLine(QLineEdit* edit)
    {
        _required.append(edit);
        return _line(edit);
    }
    // True, after a warning, when a required line is empty; the dialog is closed then.
    [[nodiscard]] bool _refusesEmptyLines()
    {
        const auto isEmpty = [](const QLineEdit* edit) { return BclStrIsBlank(edit->text()); };
        if (std::none_of(_required.begin(), _required.end(), isEmpty))
            return false;
        this->_refuseParam(QStringLiteral("Please check parameters. They cannot be NULLP"));
        return true;
    }
    // Makes the record of the inputs. It keeps the key that it was opened with, also one that they cannot show.
    void _readInputs()
    {
        this->_edited.work = this->_edited.opening;
        if (_isNew)
            _key.read(this->_edited.work);
        this->_form.read(this->_edited.work);
    }

    Crecord_form<Record> _key;
    bool _isNew = true;

private:
    QList<QLineEdit*> _lines;
    QList<QLineEdit*> _keyLines;
    QList<QLineEdit*> _required;
};
