// The dialog of the callback service.
#include "bcl2/text.h"
#include "dlg_callback.h"
#include "support/editor_page_fixture.h"

namespace {

class Callback : public PageFixture {
protected:
    static Cdb_cb_serv_data settings(const char* number, int32_t delay, const char* file)
    {
        Cdb_cb_serv_data record;
        BclCopyStr(record.number, number);
        record.delay = delay;
        BclCopyStr(record.file, file);
        return record;
    }
    void keep(const Cdb_cb_serv_data& record) { ASSERT_EQ(store().DbCallbackSet(&record), kDbOk); }
    // Defaults where nothing was stored.
    [[nodiscard]] Cdb_cb_serv_data stored()
    {
        Cdb_cb_serv_data record;
        return store().DbCallbackGet(&record) == kDbOk ? record : Cdb_cb_serv_data();
    }
    [[nodiscard]] bool isStored()
    {
        Cdb_cb_serv_data record;
        return store().DbCallbackGet(&record) == kDbOk;
    }
    // Runs the dialog as the menu does; `use` presses its way out.
    int run(const std::function<void(QDialog&)>& use)
    {
        if (!_dialog)
            _dialog = std::make_unique<Cdlg_callback>(&store(), nullptr);
        _dialog->Init();
        boxes.expectEditor(item(234), use);
        return _dialog->exec();
    }
    static QStringList texts(QDialog& shown)
    {
        QStringList all;
        for (const int label : {238, 235, 401})
            all.append(input<QLineEdit>(shown, label).text());
        return all;
    }
    static std::function<void(QDialog&)> filled(const QString& number, const QString& delay, const QString& file)
    {
        return [=](QDialog& shown) {
            input<QLineEdit>(shown, 238).setText(number);
            input<QLineEdit>(shown, 235).setText(delay);
            input<QLineEdit>(shown, 401).setText(file);
            pressOk(shown);
        };
    }

    void TearDown() override
    {
        _dialog.reset();
        PageFixture::TearDown();
    }

private:
    std::unique_ptr<Cdlg_callback> _dialog;
};

TEST_F(Callback, ShowsItsDefaultsUntilItIsSaved)
{
    run([](QDialog& shown) {
        EXPECT_EQ(texts(shown), (QStringList{"", "5", ""}));
        pressCancel(shown);
    });
    EXPECT_FALSE(isStored());
}

TEST_F(Callback, ShowsTheRecordAnewEachTime)
{
    keep(settings("8000", 10, "menu.xml"));
    run([](QDialog& shown) {
        EXPECT_EQ(texts(shown), (QStringList{"8000", "10", "menu.xml"}));
        input<QLineEdit>(shown, 238).setText("typed and given up");
        pressCancel(shown);
    });
    EXPECT_EQ(bytesOf(stored()), bytesOf(settings("8000", 10, "menu.xml")));
    keep(settings("", -1, ""));
    run([](QDialog& shown) {
        EXPECT_EQ(texts(shown), (QStringList{"", "-1", ""}));
        pressCancel(shown);
    });
}

TEST_F(Callback, OkSavesWhatItShows)
{
    EXPECT_EQ(run(filled("8000", "10", "menu.xml")), QDialog::Accepted);
    EXPECT_EQ(bytesOf(stored()), bytesOf(settings("8000", 10, "menu.xml")));
    EXPECT_EQ(run(filled("", "10", "")), QDialog::Accepted);
    EXPECT_EQ(bytesOf(stored()), bytesOf(settings("", 10, ""))) << "what was emptied is empty";
}

TEST_F(Callback, TheDelayIsANumberAsInEveryEditor)
{
    run(filled("8000", "010", ""));
    EXPECT_EQ(stored().delay, 8);
    run(filled("8000", "0x10", ""));
    EXPECT_EQ(stored().delay, 16);
    for (const char* const none : {"", "soon"}) {
        run(filled("8000", none, ""));
        EXPECT_EQ(stored().delay, 0) << none;
    }
}

TEST_F(Callback, TextsAreCutAtTheirBounds)
{
    run(filled(QString(33, '8'), "5", QString(65, 'x')));
    EXPECT_EQ(std::string(stored().number), std::string(32, '8'));
    EXPECT_EQ(std::string(stored().file), std::string(64, 'x'));
}

TEST_F(Callback, WhatTheStoreRefusesClosesItWithoutAWord)
{
    keep(settings("8000", 10, ""));
    refuseWrites();
    EXPECT_EQ(run(filled("8001", "5", "")), QDialog::Rejected);
    EXPECT_STREQ(stored().number, "8000");
}

TEST_F(Callback, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Record = Cdb_cb_serv_data;
    using Input = EditorInput;
    EditorRoundTrip trip;
    const Record record = settings("8000", -6, "menu.xml");
    trip.record = bytesOf(record);
    trip.defaults = bytesOf(Record());
    trip.putBack = [&] { keep(record); };
    trip.stored = [this] { return bytesOf(stored()); };
    trip.edit = [this](const std::function<void(QDialog&)>& use) { run(use); };
    trip.inputs = {{Input::Edit, 238, {whole(&Record::number)}},
                   {Input::Edit, 235, {whole(&Record::delay)}},
                   {Input::Edit, 401, {whole(&Record::file)}}};
    trip.kept = {whole(&Record::id), whole(&Record::reserved)};
    trip.check();
}

TEST_F(Callback, F1OpensItsDocumentation)
{
    run([this](QDialog& shown) {
        pressKey(shown, Qt::Key_F1);
        EXPECT_EQ(help.takeOpened(), QStringList{"help/call_back/index.html"});
        pressCancel(shown);
    });
}

} // namespace
