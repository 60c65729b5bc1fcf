// What tests share of pages whose editor makes one record of one table.
#pragma once

#include "support/editor_roundtrip.h"
#include "support/page_fixture.h"

#include <QComboBox>
#include <QLineEdit>

#include <functional>
#include <utility>
#include <vector>

class EditorFixture : public PageFixture {
protected:
    using Use = std::function<void(QDialog&)>;

    [[nodiscard]] virtual QString title() const = 0; // of the editor

    static QLineEdit& edit(QDialog& editor, int label) { return input<QLineEdit>(editor, label); }
    static QComboBox& combo(QDialog& editor, int label) { return input<QComboBox>(editor, label); }
    // The texts of these lines, one after another.
    static QString texts(QDialog& editor, const std::vector<int>& labels)
    {
        QString all;
        for (const int label : labels)
            all += edit(editor, label).text();
        return all;
    }

    void expectEditor(const Use& use) { boxes.expectEditor(title(), use); }
    void addWith(const Use& use)
    {
        expectEditor(use);
        press(Add);
    }
    // Fills in a new record and says OK.
    void add(const Use& fill)
    {
        addWith([fill](QDialog& editor) {
            fill(editor);
            pressOk(editor);
        });
    }
    // The same for what is not stored; without a box when there is no `text`.
    void addToBeRefused(const QString& boxTitle, const QString& text, const Use& fill)
    {
        expectEditor([fill](QDialog& editor) {
            fill(editor);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Rejected);
            EXPECT_FALSE(editor.isVisible());
        });
        if (!text.isEmpty())
            boxes.expect(boxTitle, text);
        press(Add);
    }
    void editRow(int row, const Use& use)
    {
        select(row);
        expectEditor(use);
        press(Edit);
    }
    void deleteRow(int row)
    {
        select(row);
        press(Delete);
    }
    // The first row, until none is left.
    void deleteAll(int rows)
    {
        while (rows-- > 0) {
            deleteRow(0);
            EXPECT_EQ(model().rowCount(), rows);
        }
    }
    // Whoever searches is asked for the plan and the number of a rule.
    void expectSearchFor(const char* plan, const char* number)
    {
        boxes.expectInput(item(373), item(291), "default", plan);
        boxes.expectInput(item(373), item(292), QString(), number);
    }
    // Each of these questions may be left open.
    void searchInVain()
    {
        boxes.expectInputToCancel(item(373), item(291), "default");
        press(Query);
        boxes.expectInput(item(373), item(291), "default", "night");
        boxes.expectInputToCancel(item(373), item(292), QString());
        press(Query);
    }
    // As when the page is opened from the menu once more.
    void showAgain()
    {
        frame().hide();
        frame().show();
    }

    // For the only record of the table, on the first row; `stored` reads it.
    template <class Record>
    void checkInputsOf(const Record& record, const std::function<void()>& putBack,
                       const std::function<Record()>& stored, std::vector<EditorInput> inputs,
                       std::vector<EditorInput> locked, std::vector<RecordBytes> kept = {})
    {
        EditorRoundTrip trip;
        trip.record = bytesOf(record);
        trip.defaults = bytesOf(Record());
        trip.putBack = [this, putBack] {
            putBack();
            press(Refresh);
        };
        trip.stored = [stored] { return bytesOf(stored()); };
        trip.edit = [this](const Use& use) { editRow(0, use); };
        trip.inputs = std::move(inputs);
        trip.locked = std::move(locked);
        trip.kept = std::move(kept);
        trip.check();
    }
};

// The same for a table of the store.
template <class Record>
class EditorPageFixture : public EditorFixture {
protected:
    // In the order in which they were stored first.
    [[nodiscard]] std::vector<Record> stored()
    {
        std::vector<Record> records;
        for (const auto& record : store().template rows<Record>().get()->inOrder())
            records.push_back(*record);
        return records;
    }

    void checkThatEveryInputHasItsOwnBytes(const Record& record, const std::function<void()>& putBack,
                                           std::vector<EditorInput> inputs, std::vector<EditorInput> locked,
                                           std::vector<RecordBytes> kept = {})
    {
        checkInputsOf<Record>(
            record, putBack, [this] { return stored().at(0); }, std::move(inputs), std::move(locked), std::move(kept));
    }
};
