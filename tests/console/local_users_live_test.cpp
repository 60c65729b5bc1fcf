// The page of the local users over a running server, with telephones that come, move and go.
#include "common/lang_res.h"
#include "frm_local_users.h"
#include "support/baresip.h"
#include "support/console_fixture.h"
#include "support/sip_client.h"
#include "support/sipp.h"
#include "support/temporary_folder.h"

#include "bcl2/date.h"
#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "callserver/app.h"

#include <QAction>
#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QIcon>
#include <QLineEdit>
#include <QSignalSpy>
#include <QToolBar>
#include <QTreeView>

#include <atomic>
#include <csignal>
#include <thread>

namespace {

class LocalUsersLive : public ConsoleFixture {
protected:
    // Users from 1000 on.
    void start(unsigned users, const std::function<void(Cdb_fac_mgr&)>& fill = {})
    {
        _port = keepServerLocal(users);
        if (fill) {
            Cdb_fac_mgr store;
            fill(store);
        }
        buildWindow().show();
        ASSERT_NO_FATAL_FAILURE(waitForServer(_port));
        _page = window->findChild<Cfrm_local_users*>();
        ASSERT_NE(_page, nullptr) << "made with the first show of the window";
        ASSERT_FALSE(_page->isVisible());
    }
    void openPage() { pressMenu({"&Data", "Local users"}); }
    [[nodiscard]] uint16_t port() const { return _port; }
    [[nodiscard]] Cfrm_local_users& page() const { return *_page; }
    [[nodiscard]] QAbstractItemModel& model() const
    {
        return *_page->findChild<QTreeView*>(QStringLiteral("recordView"))->model();
    }
    [[nodiscard]] std::string cell(int row, int column) const
    {
        return model().index(row, column).data().toString().toStdString();
    }
    [[nodiscard]] bool hasImage(int row, const char* name) const
    {
        const auto icon = model().index(row, 0).data(Qt::DecorationRole).value<QIcon>();
        const QIcon wanted(QStringLiteral(":/images/") + QLatin1String(name));
        return icon.pixmap(32, 32).toImage() == wanted.pixmap(32, 32).toImage();
    }
    // What the page shows of the user: address, User-Agent, image.
    bool waitForRow(int row, const std::string& address, const std::string& agent, const char* image)
    {
        const bool isShown =
            waitUntil([&] { return cell(row, 3) == address && cell(row, 4) == agent && hasImage(row, image); });
        EXPECT_TRUE(isShown) << "shows " << cell(row, 3) << " and " << cell(row, 4);
        return isShown;
    }
    static int registerFrom(SipClient& telephone, const std::string& user, const std::string& agent,
                            unsigned expires = 600)
    {
        return telephone
            .registerUser(user, "secret",
                          {"Contact: <" + telephone.contact(user) + ">", "User-Agent: " + agent,
                           "Expires: " + std::to_string(expires)})
            .status;
    }
    void press(int textItem) const
    {
        for (QAction* const action : _page->findChild<QToolBar*>()->actions()) {
            if (action->text() == GetLangItem(textItem))
                action->trigger();
        }
    }
    [[nodiscard]] Cdb_fac_mgr& store() const { return *window->GetApp()->GetFacMgr(); }

private:
    uint16_t _port = 0;
    Cfrm_local_users* _page = nullptr;
};

TEST_F(LocalUsersLive, HearsOfTelephonesBeforeItWasEverShown)
{
    start(1);
    QSignalSpy states(&page(), &Cfrm_local_users::sigUserStateUpdate);
    SipClient telephone("127.0.0.1", port());
    ASSERT_EQ(registerFrom(telephone, "1000", "first"), 200);
    ASSERT_TRUE(waitUntil([&states] { return !states.empty(); }));
    EXPECT_EQ(states[0], (QVariantList{"1000", 1}));
    EXPECT_EQ(model().rowCount(), 0);
    openPage();
    EXPECT_TRUE(waitForRow(0, telephone.source(), "first", "idle_user.png"));
}

TEST_F(LocalUsersLive, FollowsATelephoneThatRegistersMovesAndLeaves)
{
    start(3);
    openPage();
    ASSERT_TRUE(waitForRow(1, "", "", "offline_user.png"));
    SipClient desk("127.0.0.1", port());
    ASSERT_EQ(registerFrom(desk, "1001", "desk"), 200);
    ASSERT_TRUE(waitForRow(1, desk.source(), "desk", "idle_user.png"));
    SipClient mobile("127.0.0.1", port());
    ASSERT_EQ(registerFrom(mobile, "1001", "mobile"), 200);
    ASSERT_TRUE(waitForRow(1, mobile.source(), "mobile", "idle_user.png"));
    ASSERT_EQ(registerFrom(mobile, "1001", "mobile", 0), 200);
    ASSERT_TRUE(waitForRow(1, desk.source(), "desk", "idle_user.png")) << "the other telephone is still there";
    ASSERT_EQ(registerFrom(desk, "1001", "desk", 0), 200);
    ASSERT_TRUE(waitForRow(1, "", "", "offline_user.png"));
    for (const int other : {0, 2})
        EXPECT_TRUE(waitForRow(other, "", "", "offline_user.png"));
    page().hide();
    page().show();
    EXPECT_TRUE(waitForRow(1, "", "", "offline_user.png")) << "as the store says";
}

TEST_F(LocalUsersLive, FollowsASoftphone)
{
    start(2);
    openPage();
    const TemporaryFolder folder;
    const std::unique_ptr<ChildProcess> telephone = startBaresip(folder, "1001", port());
    ASSERT_TRUE(waitUntil([this] { return hasImage(1, "idle_user.png") && !cell(1, 3).empty(); }))
        << telephone->output();
    EXPECT_EQ(cell(1, 3).substr(0, 10), "127.0.0.1:");
    EXPECT_EQ(cell(1, 4).substr(0, 9), "baresip v");
    telephone->sendSignal(SIGTERM);
    EXPECT_TRUE(waitForRow(1, "", "", "offline_user.png"));
    EXPECT_TRUE(telephone->wait().has_value());
}

TEST_F(LocalUsersLive, FollowsARegistrationThatExpires)
{
    start(1, [](Cdb_fac_mgr& filled) {
        Cdb_user_bindings bindings;
        bindings.userName = "1000";
        bindings.hasRow = true;
        BclCopyStr(bindings.row.userName, "1000");
        BclCopyStr(bindings.row.preAddr, "127.0.0.1");
        BclCopyStr(bindings.row.userAgent, "desk");
        bindings.row.prePort = 5070;
        bindings.row.usrStage = kUsrIdle;
        Cdb_sip_contact& contact = bindings.contacts.emplace_back();
        BclCopyStr(contact.userName, "1000");
        BclCopyStr(contact.contact, "sip:1000@127.0.0.1:5070");
        BclCopyStr(contact.srcAddr, "127.0.0.1");
        BclCopyStr(contact.userAgent, "desk");
        contact.srcPort = 5070;
        // A third of their minute longer than stored: refreshes within it would not have been.
        contact.expiresAt = BclGetCurrTimestamp() - 20 + 8; // not before the page shows it
        contact.registeredAt = contact.expiresAt - 60;
        ASSERT_EQ(filled.DbWriteRegistrations({bindings}), kDbOk);
    });
    openPage();
    EXPECT_TRUE(waitForRow(0, "127.0.0.1:5070", "desk", "idle_user.png"));
    EXPECT_TRUE(waitForRow(0, "", "", "offline_user.png"));
}

TEST_F(LocalUsersLive, AUserWithIpAuthenticationShowsAlikeByEventAndAfterAReload)
{
    start(1);
    openPage();
    Cdb_usr_info record;
    ASSERT_EQ(store().DbGetUsrInfo("1000", record), kDbOk);
    record.flags |= kUsrIpAuth;
    BclCopyStr(record.ipAddr, "127.0.0.9");
    record.ipPort = 5090;
    ASSERT_EQ(store().DbSetLocalUserData(record), kDbOk);
    EXPECT_TRUE(waitForRow(0, "127.0.0.9:5090", "", "idle_user.png"));
    press(311);
    EXPECT_TRUE(waitForRow(0, "127.0.0.9:5090", "", "idle_user.png"));
    record.flags &= ~static_cast<uint32_t>(kUsrIpAuth);
    ASSERT_EQ(store().DbSetLocalUserData(record), kDbOk);
    EXPECT_TRUE(waitForRow(0, "", "", "offline_user.png"));
}

TEST_F(LocalUsersLive, FollowsItsTelephoneWhileThousandsRegisterElsewhere)
{
    constexpr unsigned kUsers = 2050;
    constexpr unsigned kOnPage = 50;
    writeSwitches("gVarSipChallengeRate=0\n"); // all of them share one address
    start(kUsers);
    openPage();
    ASSERT_EQ(model().rowCount(), 50);
    const TemporaryFolder folder;
    SippPlan plan;
    plan.scenario = "register_changed.xml"; // each with news for the page
    plan.serverPort = port();
    for (unsigned number = kOnPage; number < kUsers; ++number)
        plan.users.push_back({std::to_string(1000 + number), "secret"});
    plan.count = 6000;
    plan.perSecond = 2000;
    SippLoad crowd(folder, plan);
    ASSERT_TRUE(waitUntil([this] {
        Cdb_usr_info first;
        return store().DbGetUsrInfo("1050", first) == kDbOk && first.prePort != 0;
    })) << "nobody registers elsewhere";
    SipClient telephone("127.0.0.1", port());
    for (int round = 0; round < 10; ++round) {
        const std::string agent = "round " + std::to_string(round);
        ASSERT_EQ(registerFrom(telephone, "1007", agent), 200);
        ASSERT_TRUE(waitForRow(7, telephone.source(), agent, "idle_user.png"));
    }
    const SippResult result = crowd.wait();
    EXPECT_TRUE(result.isAll(plan.count)) << result.output;
    for (int row = 0; row < model().rowCount(); ++row)
        EXPECT_EQ(cell(row, 4), row == 7 ? "round 9" : "") << row;
}

TEST_F(LocalUsersLive, UsersAreAddedWhileTelephonesRegister)
{
    constexpr unsigned kFirst = 40;
    start(kFirst);
    openPage();
    std::atomic<bool> isOver = false;
    std::atomic<unsigned> refused = 0;
    std::thread telephones([&] {
        SipClient telephone("127.0.0.1", port());
        for (unsigned number = 0; !isOver || number < kFirst; ++number) {
            const std::string user = std::to_string(1000 + number % kFirst);
            refused += registerFrom(telephone, user, "call " + std::to_string(number)) == 200 ? 0 : 1;
        }
    });
    boxes.expectEditor(GetLangItem(388), [](QDialog& dialog) {
        const QList<QLineEdit*> lines = dialog.findChildren<QLineEdit*>();
        lines.at(0)->setText("2000");
        lines.at(1)->setText("300");
        pressOk(dialog);
    });
    press(387);
    EXPECT_EQ(store().DbGetUsrCnt(), kFirst + 300);
    isOver = true;
    telephones.join();
    EXPECT_EQ(refused, 0u);
    SipClient fresh("127.0.0.1", port());
    Cdb_usr_info added;
    ASSERT_EQ(store().DbGetUsrInfo("2299", added), kDbOk);
    EXPECT_EQ(fresh.registerUser("2299", added.password, {"Contact: <" + fresh.contact("2299") + ">"}).status, 200);
    press(311);
    EXPECT_EQ(model().rowCount(), 50);
    for (int row = 0; row < static_cast<int>(kFirst); ++row)
        EXPECT_TRUE(waitUntil([&] { return hasImage(row, "idle_user.png"); })) << row;
}

} // namespace
