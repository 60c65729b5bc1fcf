// The page of the local users: its rows, its commands, and what the server tells of its users.
#include "bcl2/event_bus.h"
#include "callserver/event_ids.h"
#include "dlg_local_user.h"
#include "frm_local_users.h"
#include "support/local_users_fixture.h"

#include <QAction>
#include <QCheckBox>
#include <QLineEdit>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QThread>
#include <QToolBar>
#include <QTreeView>

#include <thread>

namespace {

class LocalUsers : public LocalUsersFixture {
protected:
    // As the server does it, on a thread of its own.
    static void publish(unsigned event, const char* name, const void* data)
    {
        std::thread([=] { BclPubEvent(event, name, data); }).join();
    }
    static void publishState(const char* name, uint8_t state) { publish(kEvtUserState, name, &state); }
    [[nodiscard]] QImage imageOf(int row) const
    {
        return model().index(row, 0).data(Qt::DecorationRole).value<QIcon>().pixmap(32, 32).toImage();
    }
    static QImage image(const char* name)
    {
        return QIcon(QStringLiteral(":/images/") + QLatin1String(name)).pixmap(32, 32).toImage();
    }
    // Which image belongs to a state.
    static const char* imageName(unsigned state)
    {
        switch (state) {
        case 1:
            return "idle_user.png";
        case 2:
        case 4:
            return "alert_user.png";
        case 3:
            return "talk_user.png";
        default:
            return "offline_user.png";
        }
    }
    void searchFor(const QString& name) { boxes.expectInput(item(373), item(118), QString(), name); }
};

TEST_F(LocalUsers, AUserShowsWithItsRegistrationAndOneWithoutShowsOffline)
{
    Cdb_usr_info named = user("2000");
    BclCopyStr(named.description, "Reception");
    BclCopyStr(named.dispName, "Zürich 王");
    keep(named);
    keep(user("2001"));
    writeRegistration("2000", "10.0.0.7", 5062, kUsrIdle, "Phone 1.0");
    open<Cfrm_local_users>();
    EXPECT_EQ(row(0), (QStringList{"2000", "Reception", QString::fromUtf8("Zürich 王"), "10.0.0.7:5062", "Phone 1.0"}));
    EXPECT_EQ(row(1), (QStringList{"2001", "", "", "", ""}));
    EXPECT_EQ(imageOf(0), image("idle_user.png"));
    EXPECT_EQ(imageOf(1), image("offline_user.png"));
    EXPECT_NE(image("idle_user.png"), image("offline_user.png"));
}

TEST_F(LocalUsers, StateFourLooksLikeTwoAndThoseAboveLikeOfflineAfterLoadingAndAfterAnEvent)
{
    const std::vector<uint8_t> kStates = {0, 1, 2, 3, 4, 5, 6, 255};
    for (size_t at = 0; at < kStates.size(); ++at) {
        const std::string name = std::to_string(2000 + at);
        keep(user(name.c_str()));
        writeRegistration(name, "10.0.0.7", 5062, kStates[at], "");
    }
    open<Cfrm_local_users>();
    ASSERT_EQ(model().rowCount(), 8);
    for (int at = 0; at < model().rowCount(); ++at)
        EXPECT_EQ(imageOf(at), image(imageName(kStates[static_cast<size_t>(at)]))) << at;
    EXPECT_EQ(imageOf(2), imageOf(4));
    for (const uint8_t state : kStates) {
        publishState("2003", state);
        QCoreApplication::processEvents();
        EXPECT_EQ(imageOf(3), image(imageName(state))) << static_cast<int>(state);
    }
}

TEST_F(LocalUsers, ARegistrationWithoutAPortOrAddressShowsNone)
{
    keep(user("2000"));
    keep(user("2001"));
    writeRegistration("2000", "10.0.0.7", 0, kUsrIdle, "");
    writeRegistration("2001", "", 5060, kUsrIdle, "");
    open<Cfrm_local_users>();
    EXPECT_EQ(column(3), (QStringList{"", ""}));
    EXPECT_EQ(imageOf(0), image("idle_user.png"));
}

TEST_F(LocalUsers, AnAddressOfTheSixthVersionStandsInBrackets)
{
    keep(user("2000"));
    writeRegistration("2000", "::1", 65535, kUsrIdle, "");
    open<Cfrm_local_users>();
    EXPECT_EQ(column(3), QStringList{"[::1]:65535"});
}

TEST_F(LocalUsers, EventsOfItsUsersReachTheRightCells)
{
    for (const char* const name : {"2000", "2001", "2002"})
        keep(user(name));
    open<Cfrm_local_users>();
    publishState("2001", kUsrTalking);
    publish(kEvtUserAgent, "2001", "Telefon für 王");
    publish(kEvtUserAddress, "2001", "10.0.0.9:5064");
    EXPECT_EQ(imageOf(1), image("offline_user.png")) << "nothing changes before the event loop runs";
    QCoreApplication::processEvents();
    EXPECT_EQ(imageOf(1), image("talk_user.png"));
    EXPECT_EQ(row(1), (QStringList{"2001", "", "", "10.0.0.9:5064", QString::fromUtf8("Telefon für 王")}));
    EXPECT_EQ(row(0), (QStringList{"2000", "", "", "", ""}));
    EXPECT_EQ(row(2), (QStringList{"2002", "", "", "", ""}));
    publish(kEvtUserAddress, "2001", nullptr);
    publish(kEvtUserAgent, "2001", "");
    QCoreApplication::processEvents();
    EXPECT_EQ(row(1), (QStringList{"2001", "", "", "", ""}));
}

TEST_F(LocalUsers, EventsAreEmittedOnTheServersThreadAndTakenOnThatOfTheWindow)
{
    keep(user("2000"));
    Cfrm_local_users& page = open<Cfrm_local_users>();
    QSignalSpy states(&page, SIGNAL(sigUserStateUpdate(QString, int)));
    QSignalSpy agents(&page, SIGNAL(sigUserAgentUpdate(QString, QString)));
    QSignalSpy addresses(&page, SIGNAL(sigUserAddressUpdate(QString, QString)));
    const QThread* writer = nullptr;
    QObject::connect(&model(), &QAbstractItemModel::dataChanged, [&] { writer = QThread::currentThread(); });
    publishState("2000", kUsrRinging);
    publish(kEvtUserAgent, nullptr, nullptr);
    publish(kEvtUserAddress, "elsewhere", "10.0.0.1:5060");
    QCoreApplication::processEvents();
    ASSERT_EQ(states.size(), 1);
    EXPECT_EQ(states[0], (QVariantList{"2000", 2}));
    ASSERT_EQ(agents.size(), 1);
    EXPECT_EQ(agents[0], (QVariantList{"", ""}));
    ASSERT_EQ(addresses.size(), 1);
    EXPECT_EQ(addresses[0], (QVariantList{"elsewhere", "10.0.0.1:5060"}));
    EXPECT_EQ(writer, page.thread());
}

TEST_F(LocalUsers, SlotsAreFoundByTheirNames)
{
    keep(user("2000"));
    Cfrm_local_users& page = open<Cfrm_local_users>();
    ASSERT_TRUE(QMetaObject::invokeMethod(&page, "slotUserStateUpdate", Q_ARG(QString, "2000"), Q_ARG(int, 3)));
    ASSERT_TRUE(QMetaObject::invokeMethod(&page, "slotUserAgentUpdate", Q_ARG(QString, "2000"), Q_ARG(QString, "A")));
    ASSERT_TRUE(QMetaObject::invokeMethod(&page, "slotUserAddrUpdate", Q_ARG(QString, "2000"), Q_ARG(QString, "B")));
    EXPECT_EQ(imageOf(0), image("talk_user.png"));
    EXPECT_EQ(row(0), (QStringList{"2000", "", "", "B", "A"}));
}

TEST_F(LocalUsers, EventsOfUsersThatAreNotOnThePageChangeNothing)
{
    addUsers(51);
    open<Cfrm_local_users>();
    int changes = 0;
    QObject::connect(&model(), &QAbstractItemModel::dataChanged, [&changes] { ++changes; });
    for (const char* const name : {"1050", "100", "10000", "1000 ", "", "1OOO"}) {
        publishState(name, kUsrTalking);
        publish(kEvtUserAgent, name, "Phone");
        publish(kEvtUserAddress, name, "10.0.0.9:5064");
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(changes, 0);
    press(Next);
    publish(kEvtUserAddress, "1050", "10.0.0.9:5064");
    publish(kEvtUserAddress, "1000", "10.0.0.8:5064");
    QCoreApplication::processEvents();
    EXPECT_EQ(column(3), QStringList{"10.0.0.9:5064"});
}

TEST_F(LocalUsers, NamesOfEventsAreCaseSensitive)
{
    keep(user("ann"));
    keep(user("Ann"));
    open<Cfrm_local_users>();
    publish(kEvtUserAgent, "ann", "Phone");
    QCoreApplication::processEvents();
    EXPECT_EQ(cell(column(0).indexOf("ann"), 4), "Phone");
    EXPECT_EQ(cell(column(0).indexOf("Ann"), 4), "");
}

TEST_F(LocalUsers, EventsFollowTheirUserThroughSortingAndRemoval)
{
    for (const char* const name : {"2000", "2001", "2002"})
        keep(user(name));
    open<Cfrm_local_users>();
    view().sortByColumn(0, Qt::DescendingOrder);
    publish(kEvtUserAgent, "2002", "Phone");
    QCoreApplication::processEvents();
    EXPECT_EQ(column(4), (QStringList{"Phone", "", ""}));
    select(1);
    press(Delete);
    publish(kEvtUserAgent, "2001", "Gone");
    publish(kEvtUserAgent, "2000", "Phone");
    QCoreApplication::processEvents();
    EXPECT_EQ(column(4), (QStringList{"Phone", "Phone"}));
}

TEST_F(LocalUsers, AddManyStandsBetweenAddAndEdit)
{
    open<Cfrm_local_users>();
    QStringList texts;
    for (const QAction* const action : toolbarActions())
        texts.append(action->text());
    EXPECT_EQ(texts.mid(0, 4), (QStringList{item(66), item(387), item(68), item(67)}));
}

TEST_F(LocalUsers, AddAppendsTheStoredUser)
{
    keep(user("2000"));
    open<Cfrm_local_users>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        input<QLineEdit>(editor, 118).setText("1999");
        input<QLineEdit>(editor, 283).setText("Workshop");
        input<QLineEdit>(editor, 320).setText("Ann");
        pressOk(editor);
    });
    press(Add);
    EXPECT_EQ(column(0), (QStringList{"2000", "1999"}));
    EXPECT_EQ(row(1), (QStringList{"1999", "Workshop", "Ann", "", ""}));
    EXPECT_EQ(imageOf(1), image("offline_user.png"));
    press(Refresh);
    EXPECT_EQ(column(0), (QStringList{"1999", "2000"}));
}

TEST_F(LocalUsers, AnAddedUserThatIsRegisteredAlreadyShowsItsStateButNoAgent)
{
    writeRegistration("1999", "10.0.0.7", 5062, kUsrIdle, "Phone");
    open<Cfrm_local_users>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        input<QLineEdit>(editor, 118).setText("1999");
        pressOk(editor);
    });
    press(Add);
    EXPECT_EQ(row(0), (QStringList{"1999", "", "", "10.0.0.7:5062", ""}));
    EXPECT_EQ(imageOf(0), image("idle_user.png"));
}

TEST_F(LocalUsers, WhatTheStoreDidNotTakeIsNotAppended)
{
    open<Cfrm_local_users>();
    for (const QString& name : {QString(), QStringLiteral("a\u0001b")}) {
        boxes.expectEditor(title(), [&](QDialog& editor) {
            input<QLineEdit>(editor, 118).setText(name);
            input<QLineEdit>(editor, 283).setText("Nobody");
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Accepted);
        });
        press(Add);
    }
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(store().DbGetUsrCnt(), 0u);
}

TEST_F(LocalUsers, EditWritesDescriptionAndDisplayNameIntoTheRow)
{
    keep(user("2000"));
    keep(user("2001"));
    writeRegistration("2001", "10.0.0.7", 5062, kUsrIdle, "Phone");
    open<Cfrm_local_users>();
    select(1);
    boxes.expectEditor(title(), [](QDialog& editor) {
        input<QLineEdit>(editor, 283).setText("Workshop");
        input<QLineEdit>(editor, 320).setText("Ann");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(row(1), (QStringList{"2001", "Workshop", "Ann", "10.0.0.7:5062", "Phone"}));
    EXPECT_EQ(row(0), (QStringList{"2000", "", "", "", ""}));
}

TEST_F(LocalUsers, EditShowsTheConfiguredAddressOfAUserWithIpAuthentication)
{
    keep(user("2000"));
    open<Cfrm_local_users>();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        check(editor, 430).setChecked(true);
        input<QLineEdit>(editor, 416).setText("10.0.0.20");
        input<QLineEdit>(editor, 431).setText("5070");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(cell(0, 3), "10.0.0.20:5070");
}

TEST_F(LocalUsers, EditWritesIntoTheRowOfItsUserAlsoWhenThePageWasLoadedAnew)
{
    keep(user("2000"));
    keep(user("2001"));
    Cfrm_local_users& page = open<Cfrm_local_users>();
    select(1);
    boxes.expectEditor(title(), [&](QDialog& editor) {
        keep(user("1000"));
        page.hide();
        page.show();
        input<QLineEdit>(editor, 283).setText("Workshop");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(column(0), (QStringList{"1000", "2000", "2001"}));
    EXPECT_EQ(column(1), (QStringList{"", "", "Workshop"}));
}

TEST_F(LocalUsers, AnEditThatIsCancelledChangesNothing)
{
    keep(user("2000"));
    open<Cfrm_local_users>();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        input<QLineEdit>(editor, 283).setText("Workshop");
        pressCancel(editor);
    });
    press(Edit);
    EXPECT_EQ(cell(0, 1), "");
    EXPECT_STREQ(stored("2000").description, "");
}

TEST_F(LocalUsers, EditOfAUserThatIsGoneDoesNothing)
{
    keep(user("2000"));
    open<Cfrm_local_users>();
    ASSERT_EQ(store().DbDelUsrInfo("2000"), kDbOk);
    select(0);
    press(Edit);
    EXPECT_EQ(column(0), QStringList{"2000"});
}

TEST_F(LocalUsers, DeleteAsksNothingAndRemovesUserAndRegistration)
{
    keep(user("2000"));
    keep(user("2001"));
    writeRegistration("2000", "10.0.0.7", 5062, kUsrIdle, "Phone");
    open<Cfrm_local_users>();
    select(0);
    press(Delete);
    EXPECT_EQ(column(0), QStringList{"2001"});
    EXPECT_EQ(store().DbIsLocalUser("2000"), 0u);
    EXPECT_TRUE(store().DbReadRegistrations().empty());
}

TEST_F(LocalUsers, ARowWhoseUserTheStoreCannotDeleteStays)
{
    keep(user("2000"));
    open<Cfrm_local_users>();
    refuseWrites();
    select(0);
    press(Delete);
    EXPECT_EQ(column(0), QStringList{"2000"});
}

TEST_F(LocalUsers, SearchEditsAUserOfThePageAndLeavesItsAddress)
{
    keep(user("2000"));
    open<Cfrm_local_users>();
    searchFor("2000");
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_FALSE(input<QLineEdit>(editor, 118).isEnabled());
        input<QLineEdit>(editor, 283).setText("Workshop");
        input<QLineEdit>(editor, 320).setText("Ann");
        check(editor, 430).setChecked(true);
        input<QLineEdit>(editor, 416).setText("10.0.0.20");
        input<QLineEdit>(editor, 431).setText("5070");
        pressOk(editor);
    });
    press(Query);
    EXPECT_EQ(row(0), (QStringList{"2000", "Workshop", "Ann", "", ""}));
    EXPECT_STREQ(stored("2000").ipAddr, "10.0.0.20");
}

TEST_F(LocalUsers, SearchEditsAlsoAUserThatIsNotOnThePage)
{
    addUsers(51);
    open<Cfrm_local_users>();
    searchFor("1050");
    boxes.expectEditor(title(), [](QDialog& editor) {
        input<QLineEdit>(editor, 283).setText("Workshop");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored("1050").description, "Workshop");
    EXPECT_FALSE(column(1).contains("Workshop"));
}

TEST_F(LocalUsers, SearchForAnUnknownUserSaysSo)
{
    keep(user("ann"));
    open<Cfrm_local_users>();
    for (const QString& name : {QStringLiteral("Ann"), QString(10000, QLatin1Char('9')), QStringLiteral(" ")}) {
        searchFor(name);
        boxes.expect(item(443), item(442));
        press(Query);
    }
}

TEST_F(LocalUsers, SearchThatIsCancelledOrEmptyDoesNothing)
{
    keep(user("2000"));
    open<Cfrm_local_users>();
    boxes.expectInputToCancel(item(373), item(118), QString());
    press(Query);
    searchFor(QString());
    press(Query);
}

TEST_F(LocalUsers, AfterAddManyTheRowsAreThereTwiceUntilRefresh)
{
    keep(user("2000"));
    open<Cfrm_local_users>();
    addMany("2001", "2", "secret");
    EXPECT_EQ(column(0), (QStringList{"2000", "2000", "2001", "2002"}));
    EXPECT_TRUE(frame().findChild<QToolBar*>()->isEnabled());
    EXPECT_EQ(frame().cursor().shape(), Qt::ArrowCursor);
    EXPECT_STREQ(stored("2001").password, "secret");
    press(Refresh);
    EXPECT_EQ(column(0), (QStringList{"2000", "2001", "2002"}));
}

TEST_F(LocalUsers, WhereRowsAreThereTwiceEventsReachTheFirst)
{
    keep(user("2000"));
    open<Cfrm_local_users>();
    addMany("2001", "1", "secret");
    publish(kEvtUserAgent, "2000", "Phone");
    QCoreApplication::processEvents();
    EXPECT_EQ(column(4), (QStringList{"Phone", "", ""}));
}

TEST_F(LocalUsers, DuringAddManyTheToolbarIsOffAndTheCursorSaysToWait)
{
    open<Cfrm_local_users>();
    bool wasEnabled = true;
    Qt::CursorShape shape = Qt::ArrowCursor;
    store().addListener([&](const Cdb_change&) {
        wasEnabled = frame().findChild<QToolBar*>()->isEnabled();
        shape = frame().cursor().shape();
    });
    addMany("2001", "1", "secret");
    EXPECT_FALSE(wasEnabled);
    EXPECT_EQ(shape, Qt::WaitCursor);
}

TEST_F(LocalUsers, AddManyMakesThreeHundredUsersAndPassesOverThoseThatExist)
{
    keep(user("2007"));
    addLine("2009");
    open<Cfrm_local_users>();
    addMany("2000", "300", "");
    EXPECT_EQ(store().DbGetUsrCnt(), 299u);
    EXPECT_EQ(store().DbIsLocalUser("2299"), 1u);
    EXPECT_EQ(store().DbIsLocalUser("2300"), 0u);
    EXPECT_EQ(store().DbIsLocalUser("2009"), 0u);
    EXPECT_STREQ(stored("2007").password, "kept");
    EXPECT_EQ(std::string(stored("2000").password).size(), 12u);
    EXPECT_STRNE(stored("2000").password, stored("2001").password);
    EXPECT_EQ(model().rowCount(), 1 + 50);
}

TEST_F(LocalUsers, AddManyThatIsCancelledOrRefusedMakesNothing)
{
    keep(user("2000"));
    open<Cfrm_local_users>();
    boxes.expectEditor(item(388), [](QDialog& dialog) { pressCancel(dialog); });
    pressAddMany();
    boxes.expectEditor(item(388), [](QDialog& dialog) { pressOk(dialog); });
    boxes.expect("Invalid parameter", "Please configure 'start number'.");
    pressAddMany();
    EXPECT_EQ(column(0), QStringList{"2000"});
    EXPECT_EQ(store().DbGetUsrCnt(), 1u);
}

TEST_F(LocalUsers, AddManyIsTheSlotBehindItsButton)
{
    Cfrm_local_users& page = open<Cfrm_local_users>();
    boxes.expectEditor(item(388), [](QDialog& dialog) { pressCancel(dialog); });
    ASSERT_TRUE(QMetaObject::invokeMethod(&page, "onAddManyBtn"));
}

} // namespace
