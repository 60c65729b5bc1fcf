// Which input of an editor holds which field of its record, and how a value gets from one to the other.
#pragma once

#include "bcl2/number.h"
#include "common/combo_value.h"
#include "common/qstr.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

// Fields are shown and read in the order in which they were bound.
template <class Record>
class Crecord_form {
public:
    template <size_t N>
    void text(QLineEdit* edit, char (Record::*field)[N])
    {
        bind([=](const Record& record) { edit->setText(QString::fromUtf8(record.*field)); },
             [=](Record& record) { BclCopyQStr(record.*field, edit->text()); });
    }

    void text(QLineEdit* edit, Cphone_number Record::*field)
    {
        bind([=](const Record& record) { edit->setText(QString::fromUtf8((record.*field).c_str())); },
             [=](Record& record) { (record.*field).SetNbr(edit->text().toLocal8Bit().constData()); });
    }

    // What is no number is 0.
    template <class Number>
    void number(QLineEdit* edit, Number Record::*field)
    {
        bind([=](const Record& record) { edit->setText(QString::number(record.*field)); },
             [=](Record& record) { record.*field = BclNumberOf<Number>(edit->text()); });
    }

    // The same, but a number that stands as it was shown stays, also one that is too large to be typed.
    template <class Number>
    void keptNumber(QLineEdit* edit, Number Record::*field)
    {
        bind([=](const Record& record) { edit->setText(QString::number(record.*field)); },
             [=](Record& record) {
                 if (edit->text() != QString::number(record.*field))
                     record.*field = BclNumberOf<Number>(edit->text());
             });
    }

    // An empty line leaves the field as it is.
    template <class Number>
    void optionalNumber(QLineEdit* edit, Number Record::*field)
    {
        bind([=](const Record& record) { edit->setText(QString::number(record.*field)); },
             [=](Record& record) {
                 if (!BclStrIsBlank(edit->text()))
                     record.*field = BclNumberOf<Number>(edit->text());
             });
    }

    // Of a number that is never 0: an empty line.
    void numberOrNone(QLineEdit* edit, uint32_t Record::*field)
    {
        bind(
            [=](const Record& record) {
                edit->setText(record.*field == 0 ? QString() : QString::number(record.*field));
            },
            [=](Record& record) { record.*field = BclStrToU32(edit->text()); });
    }

    // The data of the box's current item.
    template <class Number>
    void choice(QComboBox* box, Number Record::*field)
    {
        bind([=](const Record& record) { ComboBoxSetVal(box, record.*field); },
             [=](Record& record) { record.*field = static_cast<Number>(ComboBoxGetValU32(box)); });
    }

    // The number of a record of another table: one that is gone meanwhile is shown by its number, and kept.
    template <class Number>
    void reference(QComboBox* box, Number Record::*field)
    {
        bind(
            [=](const Record& record) {
                const auto number = static_cast<uint32_t>(record.*field);
                if (number != 0 && box->findData(number) < 0)
                    box->addItem(QString::number(number), number);
                ComboBoxSetVal(box, number);
            },
            [=](Record& record) { record.*field = static_cast<Number>(ComboBoxGetValU32(box)); });
    }

    // The same for boxes whose first item stands for a value as the others do: a value that none has shows it.
    template <class Number>
    void oneOf(QComboBox* box, Number Record::*field)
    {
        bind(
            [=](const Record& record) {
                box->setCurrentIndex(0);
                ComboBoxSelectData(box, static_cast<uint32_t>(record.*field));
            },
            [=](Record& record) { record.*field = static_cast<Number>(ComboBoxGetValU32(box)); });
    }

    // The text that the box shows. An empty one, here or there, changes nothing.
    template <size_t N>
    void choiceText(QComboBox* box, char (Record::*field)[N])
    {
        bind(
            [=](const Record& record) {
                if (!BclStrIsBlank(record.*field))
                    box->setCurrentText(QString::fromUtf8(record.*field));
            },
            [=](Record& record) {
                if (!BclStrIsBlank(box->currentText()))
                    BclCopyQStr(record.*field, box->currentText());
            });
    }

    // The text of the box's current item, the first one for a record whose text is none of them.
    void chosenText(QComboBox* box, Cphone_number Record::*field)
    {
        bind(
            [=](const Record& record) {
                box->setCurrentIndex(0);
                ComboBoxSelectText(box, QString::fromUtf8((record.*field).c_str()));
            },
            [=](Record& record) { (record.*field).SetNbr(box->currentText().toLocal8Bit().constData()); });
    }

    template <size_t N>
    void chosenText(QComboBox* box, char (Record::*field)[N])
    {
        bind(
            [=](const Record& record) {
                box->setCurrentIndex(0);
                ComboBoxSelectText(box, QString::fromUtf8(record.*field));
            },
            [=](Record& record) { BclCopyQStr(record.*field, box->currentText()); });
    }

    // One bit; the others stay as they are.
    template <class Bits>
    void flag(QAbstractButton* box, Bits Record::*field, unsigned bit)
    {
        bind([=](const Record& record) { box->setChecked((record.*field & bit) != 0); },
             [=](Record& record) {
                 const unsigned others = record.*field & ~bit;
                 record.*field = static_cast<Bits>(box->isChecked() ? others | bit : others);
             });
    }

    // Whatever else an input and a record may have to do with each other.
    void bind(std::function<void(const Record&)> show, std::function<void(Record&)> read)
    {
        _fields.push_back({std::move(show), std::move(read)});
    }

    void show(const Record& record) const
    {
        for (const Field& field : _fields)
            field.show(record);
    }

    void read(Record& record) const
    {
        for (const Field& field : _fields)
            field.read(record);
    }

private:
    struct Field {
        std::function<void(const Record&)> show;
        std::function<void(Record&)> read;
    };
    std::vector<Field> _fields;
};
