// A record in an editor.
#pragma once

#include <cstring>
#include <type_traits>

// As it was when the editor opened, and as the editor's inputs make it.
template <class Record>
struct Cedited_record {
    static_assert(std::has_unique_object_representations_v<Record>, "padding would break byte comparison");

    Record opening;
    Record work;

    // Null: a new record.
    void open(const Record* record)
    {
        work = Record();
        opening = record == nullptr ? Record() : *record;
    }
    [[nodiscard]] bool isChanged() const { return std::memcmp(&work, &opening, sizeof work) != 0; }
};
