// Holds an editor to what it owes its record: it stores what it loaded, and each of its inputs has bits of its own.
#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <type_traits>
#include <vector>

class QDialog;
class QWidget;

// A record's bytes, or a mask over them.
using RecordBytes = std::vector<uint8_t>;

template <class Record>
RecordBytes bytesOf(const Record& record)
{
    static_assert(std::has_unique_object_representations_v<Record>);
    RecordBytes bytes(sizeof record);
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

namespace editor_roundtrip {

template <class Record>
Record& cleared(Record& record)
{
    std::memset(static_cast<void*>(&record), 0, sizeof record);
    return record;
}

} // namespace editor_roundtrip

// All bits of a field.
template <class Record, class Field>
RecordBytes whole(Field Record::*field)
{
    Record mask;
    std::memset(static_cast<void*>(&(editor_roundtrip::cleared(mask).*field)), 0xff, sizeof(Field));
    return bytesOf(mask);
}

// Some bits of a number or of a set of bits.
template <class Record, class Field>
RecordBytes only(Field Record::*field, uint32_t bits)
{
    Record mask;
    editor_roundtrip::cleared(mask).*field = Field(bits);
    return bytesOf(mask);
}

// An input, named by its text or by the label that is its name, and what it changes in the record.
struct EditorInput {
    enum Kind : uint8_t { Edit, Combo, Check, Radio };

    Kind kind;
    int item;                                  // language item
    std::vector<RecordBytes> owns;             // each of these changes with it, and nothing else
    std::function<void(QWidget&)> change = {}; // none: another character, entry or position
    int nth = 0;                               // of those with one kind and name, by the tab key
};

struct EditorRoundTrip {
    RecordBytes record;   // differs from the defaults in every bit that an input owns
    RecordBytes defaults; // of a new record
    std::function<void()> putBack;
    std::function<RecordBytes()> stored;
    // Opens the editor on the stored record; `use` presses its way out.
    std::function<void(const std::function<void(QDialog&)>& use)> edit;
    std::vector<EditorInput> inputs;
    std::vector<EditorInput> locked = {}; // inputs that are switched off now; what they own is kept
    std::vector<RecordBytes> kept = {};   // what no input owns

    // Fails the test unless OK without a change stores the same bytes, each input of the editor changes exactly what it
    // owns, every input is named above, and every bit of the record is.
    void check() const;
};
