// The pages of DISA: accounts and caller IDs, which lie in the remote database.
#include "bcl2/text.h"
#include "cachedb2/remote_tables.h"
#include "frm_disa_account.h"
#include "frm_disa_caller_id.h"
#include "support/remote_page_fixture.h"

#include <QTreeView>

#include <array>
#include <string>
#include <utility>

namespace {

// What the tests need to know of a page.
template <RemoteEngine Engine>
struct AccountPage {
    using Record = Ctbl_disa_account;
    using Frame = Cfrm_disa_account;
    static constexpr RemoteEngine kEngine = Engine;
    static constexpr const char* kName = "Accounts";
    static constexpr const char* kTable = "tbl_disa_account";
    static constexpr int kTitle = 302;
    static constexpr int kKeyLabel = 303;
    static constexpr int kValueLabel = 305;

    static Record record(const char* key, const char* value)
    {
        Record made;
        BclCopyStr(made.cAccount, key);
        BclCopyStr(made.cExtension, value);
        return made;
    }
    static const char* keyOf(const Record& record) { return record.cAccount; }
    static const char* valueOf(const Record& record) { return record.cExtension; }
    static std::vector<RecordBytes> keyBytes() { return {whole(&Record::cAccount)}; }
    static std::vector<EditorInput> otherInputs()
    {
        return {{EditorInput::Edit, 304, {whole(&Record::cPassword)}},
                {EditorInput::Edit, 305, {whole(&Record::cExtension)}}};
    }
    static Record full()
    {
        Record made = record("12", "1000");
        BclCopyStr(made.cPassword, "3456");
        return made;
    }
};

template <RemoteEngine Engine>
struct CallerIdPage {
    using Record = Ctbl_disa_caller_id;
    using Frame = Cfrm_disa_caller_id;
    static constexpr RemoteEngine kEngine = Engine;
    static constexpr const char* kName = "CallerIds";
    static constexpr const char* kTable = "tbl_disa_caller_id";
    static constexpr int kTitle = 307;
    static constexpr int kKeyLabel = 308;
    static constexpr int kValueLabel = 309;

    static Record record(const char* key, const char* value)
    {
        Record made;
        BclCopyStr(made.cCallerID, key);
        BclCopyStr(made.cDISAAccount, value);
        return made;
    }
    static const char* keyOf(const Record& record) { return record.cCallerID; }
    static const char* valueOf(const Record& record) { return record.cDISAAccount; }
    static std::vector<RecordBytes> keyBytes() { return {whole(&Record::cCallerID)}; }
    static std::vector<EditorInput> otherInputs() { return {{EditorInput::Edit, 309, {whole(&Record::cDISAAccount)}}}; }
    static Record full() { return record("0301234", "12"); }
};

struct PageNames {
    template <class Page>
    static std::string GetName(int)
    {
        return std::string(Page::kName) + (Page::kEngine == RemoteEngine::MariaDb ? "OnMariaDb" : "Embedded");
    }
};

template <class Page>
class DisaPages : public RemotePageFixture {
protected:
    using Record = typename Page::Record;

    [[nodiscard]] RemoteEngine engine() const override { return Page::kEngine; }
    [[nodiscard]] QString title() const override { return item(Page::kTitle); }

    void openPage() { this->template open<typename Page::Frame>(); }
    void keepRow(const char* key, const char* value) { this->keep(Page::record(key, value)); }
    // The second column's text in the database; "none": there is no such record.
    [[nodiscard]] std::string valueOf(const char* key)
    {
        const auto found = this->stored(Page::record(key, ""));
        return found ? Page::valueOf(*found) : "none";
    }
    static QLineEdit& key(QDialog& editor) { return edit(editor, Page::kKeyLabel); }
    static QLineEdit& value(QDialog& editor) { return edit(editor, Page::kValueLabel); }
    static Use filled(const QString& keyText, const QString& valueText)
    {
        return [=](QDialog& editor) {
            key(editor).setText(keyText);
            value(editor).setText(valueText);
        };
    }
    // Says OK, which closes the editor as accepted whatever comes of it.
    static void accept(QDialog& editor)
    {
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Accepted);
    }
    void addAccepted(const Use& fill)
    {
        addWith([fill](QDialog& editor) {
            fill(editor);
            accept(editor);
        });
    }
    void editAccepted(int row, const QString& valueText)
    {
        editRow(row, [valueText](QDialog& editor) {
            value(editor).setText(valueText);
            accept(editor);
        });
    }
};

using EachEngine = testing::Types<AccountPage<RemoteEngine::Embedded>, CallerIdPage<RemoteEngine::Embedded>,
                                  AccountPage<RemoteEngine::MariaDb>, CallerIdPage<RemoteEngine::MariaDb>>;
using OnMariaDb = testing::Types<AccountPage<RemoteEngine::MariaDb>, CallerIdPage<RemoteEngine::MariaDb>>;

using Accounts = testing::Types<AccountPage<RemoteEngine::Embedded>, AccountPage<RemoteEngine::MariaDb>>;

template <class Page>
class DisaAccounts : public DisaPages<Page> {};
template <class Page>
class DisaOnMariaDb : public DisaPages<Page> {};

TYPED_TEST_SUITE(DisaPages, EachEngine, PageNames);

TYPED_TEST(DisaPages, OkWithoutAChangeWritesNothingAndLeavesTheListAsItIs)
{
    this->keepRow("1", "old");
    this->keepRow("2", "other");
    this->openPage();
    this->editRow(0, [this](QDialog& editor) {
        this->keepRow("1", "changed by another program");
        this->accept(editor);
    });
    EXPECT_EQ(this->valueOf("1"), "changed by another program");
    EXPECT_EQ(this->row(0), (QStringList{"1", "old"}));
    EXPECT_EQ(this->row(1), (QStringList{"2", "other"}));
    this->addAccepted([](QDialog&) {});
    EXPECT_EQ(this->model().rowCount(), 2);
    EXPECT_EQ(this->template count<typename TypeParam::Record>(), 2u);
}

TYPED_TEST(DisaPages, AddOpensEmptyWhateverWasThereBefore)
{
    this->keep(TypeParam::full());
    this->openPage();
    this->editRow(0, [this](QDialog& editor) {
        EXPECT_EQ(this->key(editor).text(), TypeParam::keyOf(TypeParam::full()));
        EXPECT_EQ(this->value(editor).text(), TypeParam::valueOf(TypeParam::full()));
        EXPECT_FALSE(this->key(editor).isEnabled());
        this->value(editor).setText("typed and given up");
        pressCancel(editor);
    });
    EXPECT_EQ(this->valueOf(TypeParam::keyOf(TypeParam::full())), TypeParam::valueOf(TypeParam::full()));
    this->addWith([this](QDialog& editor) {
        EXPECT_TRUE(this->key(editor).isEnabled());
        for (const QLineEdit* const each : editor.findChildren<QLineEdit*>())
            EXPECT_EQ(each->text(), QString());
        pressCancel(editor);
    });
    EXPECT_EQ(this->model().rowCount(), 1);
}

TYPED_TEST(DisaPages, AddingAKeyThatExistsStoresNothingAndSaysNothing)
{
    this->keepRow("1", "old");
    this->openPage();
    this->addAccepted(this->filled("1", "new"));
    EXPECT_EQ(this->row(0), (QStringList{"1", "old"}));
    EXPECT_EQ(this->model().rowCount(), 1);
    EXPECT_EQ(this->valueOf("1"), "old");
}

TYPED_TEST(DisaPages, AnEmptyKeyIsLeftToTheDatabaseWhichRefusesIt)
{
    this->openPage();
    this->addAccepted(this->filled("", "value"));
    EXPECT_EQ(this->model().rowCount(), 0);
    EXPECT_EQ(this->template count<typename TypeParam::Record>(), 0u);
}

TYPED_TEST(DisaPages, TextsAreCutAtTheirBoundBetweenCharacters)
{
    this->openPage();
    const QString bound(32, 'x');
    this->addAccepted(this->filled(bound + "y", QString(31, 'x') + QString::fromUtf8("ä")));
    EXPECT_EQ(this->row(0), (QStringList{bound, QString(31, 'x')}));
    EXPECT_EQ(this->valueOf(bound.toUtf8().constData()), std::string(31, 'x'));
}

TYPED_TEST(DisaPages, AFailingAddAfterAnEditHasDeletedTheOldOneWhichTheListStillShows)
{
    this->keepRow("1", "old");
    this->keepRow("2", "other");
    this->openPage();
    this->refuseInserts(TypeParam::kTable);
    this->editAccepted(0, "new");
    EXPECT_EQ(this->valueOf("1"), "none");
    EXPECT_EQ(this->column(0), (QStringList{"1", "2"}));
    EXPECT_EQ(this->cell(0, 1), "old");
}

TYPED_TEST(DisaPages, AFailingDeleteLeavesTheRow)
{
    this->keepRow("1", "value");
    this->openPage();
    this->refuseDeletes(TypeParam::kTable);
    this->deleteRow(0);
    EXPECT_EQ(this->column(0), QStringList{"1"});
    EXPECT_EQ(this->valueOf("1"), "value");
}

TYPED_TEST(DisaPages, DeleteOfOneThatIsGoneLeavesTheRowToo)
{
    this->keepRow("1", "value");
    this->openPage();
    this->sql(std::string("delete from ") + TypeParam::kTable);
    this->deleteRow(0);
    EXPECT_EQ(this->column(0), QStringList{"1"});
}

TYPED_TEST(DisaPages, EditOfOneThatIsGoneOpensNothing)
{
    this->keepRow("1", "value");
    this->openPage();
    this->sql(std::string("delete from ") + TypeParam::kTable);
    this->select(0);
    this->press(RemotePageFixture::Edit);
    EXPECT_EQ(this->column(0), QStringList{"1"});
}

TYPED_TEST(DisaPages, OneThatWasDeletedUnderItsEditorIsStoredAnew)
{
    this->keepRow("1", "old");
    this->openPage();
    this->editRow(0, [this](QDialog& editor) {
        this->sql(std::string("delete from ") + TypeParam::kTable);
        this->value(editor).setText("new");
        this->accept(editor);
    });
    EXPECT_EQ(this->valueOf("1"), "new");
    EXPECT_EQ(this->row(0), (QStringList{"1", "new"}));
    EXPECT_EQ(this->model().rowCount(), 1);
}

TYPED_TEST(DisaPages, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    this->keepRow("2", "old");
    this->openPage();
    this->editRow(0, [this](QDialog& editor) {
        this->keepRow("1", "other");
        this->showAgain();
        this->value(editor).setText("new");
        this->accept(editor);
    });
    EXPECT_EQ(this->column(0), (QStringList{"1", "2"}));
    EXPECT_EQ(this->column(1), (QStringList{"other", "new"}));
}

TYPED_TEST(DisaPages, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Stored = typename TypeParam::Record;
    const Stored record = TypeParam::full();
    this->keep(record);
    this->openPage();
    this->template checkInputsOf<Stored>(
        record, [&] { this->keep(record); }, [&] { return this->stored(record).value_or(Stored()); },
        TypeParam::otherInputs(), {{EditorInput::Edit, TypeParam::kKeyLabel, TypeParam::keyBytes()}});
}

TYPED_TEST(DisaPages, WithoutARemoteDatabaseThePageIsEmptyAndNothingIsSaid)
{
    this->keepRow("1", "value");
    this->openPage();
    this->leaveRemote();
    this->select(0);
    this->press(RemotePageFixture::Edit);
    this->deleteRow(0);
    EXPECT_EQ(this->column(0), QStringList{"1"});
    this->addAccepted(this->filled("2", "value"));
    EXPECT_EQ(this->column(0), QStringList{"1"});
    this->press(RemotePageFixture::Refresh);
    EXPECT_EQ(this->model().rowCount(), 0);
}

TYPED_TEST(DisaPages, ShowsAllRowsAtOnceByTheirKeys)
{
    constexpr int kRows = 101;
    QStringList keys;
    for (int number = kRows; number >= 1; --number) {
        keys.prepend(QString::number(1000 + number));
        this->keepRow(keys.first().toUtf8().constData(), "value");
    }
    this->openPage();
    EXPECT_EQ(this->column(0), keys);
    // There is no other page.
    for (const auto button : {RemotePageFixture::Next, RemotePageFixture::Previous}) {
        this->boxes.expect(item(76), item(357));
        this->press(button);
        EXPECT_EQ(this->column(0), keys);
    }
}

TYPED_TEST(DisaPages, RecordsAreAddedEditedAndDeleted)
{
    this->keepRow("2", "second");
    this->openPage();
    this->addAccepted(this->filled("3", "third"));
    this->addAccepted(this->filled("1", "first"));
    EXPECT_EQ(this->column(0), (QStringList{"2", "3", "1"})) << "appended";
    EXPECT_EQ(this->valueOf("1"), "first");

    // The edited one becomes the last row, and what is done next is done to it.
    this->editAccepted(0, QString::fromUtf8("geändert"));
    EXPECT_EQ(this->column(0), (QStringList{"3", "1", "2"}));
    EXPECT_EQ(this->row(2), (QStringList{"2", QString::fromUtf8("geändert")}));
    EXPECT_EQ(this->view().currentIndex().row(), 2);
    EXPECT_EQ(this->valueOf("2"), "geändert");

    this->deleteRow(0);
    EXPECT_EQ(this->valueOf("3"), "none");
    EXPECT_EQ(this->column(0), (QStringList{"1", "2"}));
    this->expectAfterRefresh([this] { return this->column(0); }, (QStringList{"1", "2"}));
}

TYPED_TEST_SUITE(DisaAccounts, Accounts, PageNames);

TYPED_TEST(DisaAccounts, ThePasswordIsTypedHiddenAndIsNotInTheList)
{
    this->keep(TypeParam::full());
    this->openPage();
    this->editRow(0, [this](QDialog& editor) {
        EXPECT_EQ(this->edit(editor, 304).echoMode(), QLineEdit::Password);
        EXPECT_EQ(this->edit(editor, 304).text(), "3456");
        EXPECT_EQ(this->edit(editor, 303).echoMode(), QLineEdit::Normal);
        EXPECT_EQ(this->edit(editor, 305).echoMode(), QLineEdit::Normal);
        this->edit(editor, 304).setText("7890");
        pressOk(editor);
    });
    EXPECT_EQ(this->row(0), (QStringList{"12", "1000"}));
    this->expectAfterRefresh([this] { return this->row(0); }, (QStringList{"12", "1000"}));
    EXPECT_STREQ(this->stored(TypeParam::full()).value_or(typename TypeParam::Record()).cPassword, "7890");
    EXPECT_FALSE(this->takeStatements().join(';').contains("Password"));
}

TYPED_TEST_SUITE(DisaOnMariaDb, OnMariaDb, PageNames);

TYPED_TEST(DisaOnMariaDb, AServerThatGoesAndComesBackEmptiesThePageAndFillsItAgain)
{
    this->keepRow("1", "value");
    this->openPage();
    this->server().stop();
    // Its row still shows; nothing that is done to it is done, and no box says so.
    this->select(0);
    this->press(RemotePageFixture::Edit);
    this->deleteRow(0);
    this->addAccepted(this->filled("2", "value"));
    EXPECT_EQ(this->column(0), QStringList{"1"});
    this->press(RemotePageFixture::Refresh);
    EXPECT_EQ(this->model().rowCount(), 0);
    EXPECT_TRUE(this->waitForRemote(false));

    this->server().start();
    ASSERT_TRUE(this->waitForRemote(true));
    this->expectAfterRefresh([this] { return this->row(0); }, (QStringList{"1", "value"}));
    EXPECT_EQ(this->model().rowCount(), 1);
}

TYPED_TEST(DisaOnMariaDb, AServerThatHangsGivesAnEmptyPage)
{
    this->keepRow("1", "value");
    this->openPage();
    this->server().suspend();
    this->press(RemotePageFixture::Refresh);
    EXPECT_EQ(this->model().rowCount(), 0);
    this->press(RemotePageFixture::Refresh);
    EXPECT_EQ(this->model().rowCount(), 0);
    this->server().resume();
    ASSERT_TRUE(this->waitForRemote(true));
    this->expectAfterRefresh([this] { return this->column(0); }, QStringList{"1"});
}

// The delete finds out; the add behind it waits for nothing.
TYPED_TEST(DisaOnMariaDb, AServerThatHangsUnderAnEditorIsWaitedForOnce)
{
    this->keepRow("1", "old");
    this->openPage();
    this->editRow(0, [this](QDialog& editor) {
        this->server().suspend();
        this->value(editor).setText("new");
        this->accept(editor);
        EXPECT_EQ(this->store().IsRemoteDbActive(), 0u);
    });
    EXPECT_EQ(this->row(0), (QStringList{"1", "old"}));
    this->server().resume();
    ASSERT_TRUE(this->waitForRemote(true));
    // Whether the delete was still done is the server's affair.
    EXPECT_NE(this->valueOf("1"), "new");
}

} // namespace
