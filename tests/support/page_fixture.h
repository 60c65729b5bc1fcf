// What tests of list frames and editors stand on: the real store in a home of its own, real buttons, no server.
#pragma once

#include "cachedb2/fac_mgr.h"
#include "common/frm_list.h"
#include "common/lang_res.h"
#include "support/console_fixture.h"
#include "support/help_spy.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <stdexcept>

class QAbstractItemModel;
class QAction;
class QCheckBox;
class QDialog;
class QLabel;
class QTreeView;

// The text of a language item; one that has none fails the test.
[[nodiscard]] QString item(int id);

void pressKey(QWidget& widget, int key);

class PageFixture : public ConsoleFixture {
protected:
    // What every toolbar has, from the left; a page may have put commands of its own between them.
    enum Button { Add, Edit, Delete, Gap, Previous, Next, Refresh, Query };

    void SetUp() override;
    void TearDown() override;
    // What the store is opened with.
    virtual Cdb_options storeOptions() { return {}; }

    [[nodiscard]] Cdb_fac_mgr& store() { return *_store; }

    // From here on the store fails to write, as on a full disk.
    static void refuseWrites();

    // Writes as another program may, past the checks of the store.
    static void writeFromOutside(const char* sql, const char* file = "config.db");

    // Writes of the store from now on, as they come in.
    [[nodiscard]] const int& countWrites();

    // Shows a list frame of this type, as the main window would.
    template <class Frame>
    Frame& open()
    {
        auto frame = std::make_unique<Frame>(_store.get(), nullptr);
        Frame& shown = *frame;
        show(std::move(frame));
        return shown;
    }
    void show(std::unique_ptr<Cfrm_list> frame);
    [[nodiscard]] Cfrm_list& frame() const { return *_frame; }

    [[nodiscard]] QTreeView& view() const;
    [[nodiscard]] QAbstractItemModel& model() const;
    [[nodiscard]] QList<QAction*> toolbarActions() const;
    [[nodiscard]] QAction* actionOf(Button button) const;
    void press(Button button) const;
    void press(QAction* action) const;
    void select(int row) const;
    [[nodiscard]] QString cell(int row, int column) const;
    [[nodiscard]] QStringList row(int number) const;
    // The texts of a column, from the top down.
    [[nodiscard]] QStringList column(int number) const;

    // Statements sent through the handles since the last call.
    QStringList takeStatements();

    // The input behind a label of an editor.
    template <class Input>
    static Input& input(QDialog& editor, int labelItem)
    {
        Input* const found = qobject_cast<Input*>(buddyOf(editor, labelItem));
        if (found == nullptr)
            throw std::logic_error("no such input: " + item(labelItem).toStdString());
        return *found;
    }
    // The input with this name for assistive technology, where a check box stands in the place of the label.
    template <class Input>
    static Input& named(QDialog& editor, int nameItem)
    {
        for (Input* const each : editor.findChildren<Input*>()) {
            if (each->accessibleName() == item(nameItem))
                return *each;
        }
        throw std::logic_error("no input of this name: " + item(nameItem).toStdString());
    }
    // What shows this text itself: a check box, a radio button, a label.
    template <class Widget>
    static Widget& showing(QDialog& editor, int textItem)
    {
        for (Widget* const each : editor.findChildren<Widget*>()) {
            if (each->text() == item(textItem))
                return *each;
        }
        throw std::logic_error("nothing shows: " + item(textItem).toStdString());
    }
    static QCheckBox& check(QDialog& editor, int textItem);
    static QLabel& labelOf(QDialog& editor, int labelItem);

    HelpSpy help;

private:
    static QWidget* buddyOf(QDialog& editor, int labelItem);

    std::unique_ptr<Cdb_fac_mgr> _store;
    std::unique_ptr<Cfrm_list> _frame;
    QStringList _statements;
    int _writes = 0;
};
