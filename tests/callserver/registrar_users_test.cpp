#include "callserver/registrar_fixture.h"

#include "bcl2/text.h"

namespace {

constexpr const char* kPhone = "sip:1000@192.0.2.1:5060";

class RegistrarUsersTest : public RegistrarFixture {
protected:
    void putIpUser(const std::string& name, const char* address, uint32_t port)
    {
        putUser(name, "secret", [&](Cdb_usr_info& record) {
            record.flags |= kUsrIpAuth;
            BclCopyStr(record.ipAddr, address);
            record.ipPort = port;
        });
    }
};

TEST_F(RegistrarUsersTest, UserWithIpAuthenticationHasARow)
{
    putIpUser("2000", "192.0.2.9", 5090);
    registrar->userChanged("2000");
    const UserChange change = takeChange();
    EXPECT_TRUE(change.isStateNew && change.isAddressNew);
    EXPECT_TRUE(change.stored.hasRow);
    EXPECT_STREQ(change.stored.row.preAddr, "192.0.2.9");
    EXPECT_EQ(change.stored.row.prePort, 5090);
    EXPECT_EQ(change.stored.row.usrStage, kUsrIdle);
    registrar->userChanged("2000");
    EXPECT_TRUE(changes.empty()) << "nothing is different";
}

TEST_F(RegistrarUsersTest, CallsChangeNothingButTheRow)
{
    registerFrom(kPhone);
    takeChanges();
    registrar->setCallStage("1000", kUsrTalking);
    const UserChange change = takeChange();
    EXPECT_TRUE(change.isStateNew);
    EXPECT_FALSE(change.isAgentNew || change.isAddressNew);
    EXPECT_TRUE(change.stored.isRowOnly);
    EXPECT_TRUE(change.stored.isStageOnly);
    EXPECT_EQ(change.stored.row.usrStage, kUsrTalking);
    ASSERT_EQ(stored().size(), 1U);
    EXPECT_EQ(stored().front().row.usrStage, kUsrTalking);
    EXPECT_STREQ(stored().front().row.preAddr, "192.0.2.1");
    registrar->setCallStage("1000", kUsrTalking);
    EXPECT_TRUE(changes.empty()) << "nothing is different";
    registrar->setCallStage("1000", kUsrOffline);
    EXPECT_EQ(takeChange().stored.row.usrStage, kUsrIdle);
    registrar->setCallStage("1000", kUsrTalking);
    takeChanges();
    restart();
    EXPECT_NE(registrar->contactsOf("1000"), nullptr) << "a restart during the call";
}

TEST_F(RegistrarUsersTest, WhoCallsWithoutHavingRegisteredHasARowMeanwhile)
{
    registrar->setCallStage("1000", kUsrCallingOut);
    UserChange change = takeChange();
    EXPECT_TRUE(change.stored.hasRow);
    EXPECT_FALSE(change.stored.isStageOnly) << "there was none";
    EXPECT_STREQ(change.stored.row.userName, "1000");
    registrar->setCallStage("1000", kUsrTalking);
    EXPECT_TRUE(takeChange().stored.isStageOnly);
    registrar->setCallStage("1000", kUsrOffline);
    change = takeChange();
    EXPECT_TRUE(change.isStateNew);
    EXPECT_FALSE(change.stored.hasRow);
    EXPECT_TRUE(stored().empty());
}

TEST_F(RegistrarUsersTest, RowOfACallThatOutlivesTheRegistrationStaysUntilItsEnd)
{
    registerFrom(kPhone);
    registrar->setCallStage("1000", kUsrTalking);
    takeChanges();
    clock.passSeconds(2 * Registrar::kMaxExpires);
    registrar->expire();
    UserChange change = takeChange();
    EXPECT_TRUE(change.stored.hasRow);
    EXPECT_TRUE(change.isAddressNew);
    EXPECT_EQ(change.stored.row.usrStage, kUsrTalking);
    registrar->setCallStage("1000", kUsrOffline);
    EXPECT_FALSE(takeChange().stored.hasRow);
}

TEST_F(RegistrarUsersTest, RowFollowsTheRecord)
{
    putIpUser("2000", "192.0.2.9", 5090);
    registrar->userChanged("2000");
    takeChanges();
    putIpUser("2000", "192.0.2.9", 5091);
    registrar->userChanged("2000");
    UserChange change = takeChange();
    EXPECT_TRUE(change.isAddressNew);
    EXPECT_FALSE(change.isStateNew);
    EXPECT_EQ(change.stored.row.prePort, 5091);
    putUser("2000", "secret");
    registrar->userChanged("2000");
    change = takeChange();
    EXPECT_TRUE(change.isStateNew);
    EXPECT_FALSE(change.stored.hasRow);
}

TEST_F(RegistrarUsersTest, BulkChangeLooksAtAllUsers)
{
    registerFrom(kPhone);
    takeChanges();
    putIpUser("2000", "192.0.2.9", 5090);
    removeUser("1000");
    registrar->userChanged("");
    ASSERT_EQ(changes.size(), 2U);
    for (const UserChange& change : takeChanges())
        EXPECT_EQ(change.stored.hasRow, change.stored.userName == "2000");
}

TEST_F(RegistrarUsersTest, RowsAreThereAtStart)
{
    putIpUser("2000", "192.0.2.9", 5090);
    restart();
    EXPECT_EQ(takeChange().stored.userName, "2000");
    restart();
    EXPECT_TRUE(changes.empty()) << "it was stored";
}

TEST_F(RegistrarUsersTest, RegistrationsBehindIpAuthenticationShowWhenItIsSwitchedOff)
{
    registerFrom(kPhone);
    putIpUser("1000", "192.0.2.9", 5090);
    registrar->userChanged("1000");
    EXPECT_STREQ(takeChanges().back().stored.row.preAddr, "192.0.2.9");
    clock.passSeconds(1200); // the next refresh is stored
    handle(request({contact(kPhone)}));
    EXPECT_STREQ(takeChange().stored.row.preAddr, "192.0.2.9");
    putUser("1000", "secret");
    registrar->userChanged("1000");
    const UserChange change = takeChange();
    EXPECT_STREQ(change.stored.row.preAddr, "192.0.2.1");
    EXPECT_FALSE(change.isStateNew);
}

TEST_F(RegistrarUsersTest, DeletedUserLosesHisBindings)
{
    registerFrom(kPhone);
    takeChanges();
    removeUser("1000");
    registrar->userChanged("1000");
    const UserChange change = takeChange();
    EXPECT_TRUE(change.isStateNew);
    EXPECT_FALSE(change.stored.hasRow);
    EXPECT_TRUE(change.stored.contacts.empty());
    EXPECT_EQ(change.lines.size(), 1U);
    putUser("1000", "secret");
    EXPECT_TRUE(handle(request({})).contacts.empty()) << "a new user of the same name begins without";
}

TEST_F(RegistrarUsersTest, UserDeletedWhileTheServerWasDownIsForgotten)
{
    registerFrom(kPhone);
    takeChanges();
    removeUser("1000");
    restart();
    EXPECT_FALSE(takeChange().stored.hasRow);
}

TEST_F(RegistrarUsersTest, ChangeOfAnOrdinaryUserIsSilent)
{
    registerFrom(kPhone);
    takeChanges();
    putUser("1000", "other");
    registrar->userChanged("1000");
    registrar->userChanged("nobody");
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegistrarUsersTest, UserAddedAgainBeginsWithoutTheFormerBindings)
{
    registerFrom(kPhone);
    takeChanges();
    // Deleted and added before the registrar heard of the first.
    registrar->userChanged("1000", true);
    const UserChange change = takeChange();
    EXPECT_TRUE(change.isStateNew);
    EXPECT_FALSE(change.stored.hasRow);
    EXPECT_TRUE(change.stored.contacts.empty());
    EXPECT_EQ(change.lines.size(), 1U);
    registrar->userChanged("1000", false);
    EXPECT_TRUE(changes.empty());
    EXPECT_TRUE(handle(request({})).contacts.empty());
}

TEST_F(RegistrarUsersTest, RowOfAUserWithIpAuthenticationWhoWasAddedAgainIsWrittenAnew)
{
    putIpUser("2000", "192.0.2.9", 5090);
    registrar->userChanged("2000");
    takeChanges();
    registrar->userChanged("2000", true);
    const UserChange change = takeChange();
    EXPECT_TRUE(change.stored.hasRow);
    EXPECT_FALSE(change.isStateNew || change.isAddressNew);
}

TEST_F(RegistrarUsersTest, APortThatIsNoneIsToldOnce)
{
    const auto told = [this] {
        std::vector<std::string> lines;
        for (const UserChange& change : takeChanges())
            lines.insert(lines.end(), change.lines.begin(), change.lines.end());
        return lines;
    };
    const auto lineOf = [](const char* port) {
        return std::vector<std::string>{"User 2000 with IP authentication: " + std::string(port) +
                                        " is no port. He is known by his address alone, and called at port 5060."};
    };
    putIpUser("2000", "192.0.2.9", 70000);
    registrar->userChanged("2000");
    EXPECT_EQ(told(), lineOf("70000"));
    registrar->userChanged("2000");
    registrar->userChanged("");
    EXPECT_TRUE(told().empty());
    putIpUser("2000", "192.0.2.9", 65536);
    registrar->userChanged("2000");
    EXPECT_EQ(told(), lineOf("65536"));
    restart();
    EXPECT_EQ(told(), lineOf("65536"));
    putIpUser("2000", "192.0.2.9", 0);
    registrar->userChanged("2000");
    EXPECT_TRUE(told().empty()) << "any port, as new users have it";
    putIpUser("2000", "192.0.2.9", 5060);
    registrar->userChanged("2000");
    putUser("2001", "secret");
    registrar->userChanged("");
    EXPECT_TRUE(told().empty());
    putIpUser("2000", "192.0.2.9", 65536);
    registrar->userChanged("");
    EXPECT_EQ(told(), lineOf("65536"));
    removeUser("2000");
    registrar->userChanged("2000", true);
    putIpUser("2000", "192.0.2.9", 65536);
    registrar->userChanged("2000");
    EXPECT_EQ(told(), lineOf("65536"));
}

TEST_F(RegistrarUsersTest, PortBeyondTheLargestIsNone)
{
    putIpUser("2000", "192.0.2.9", 65536 + 5090);
    registrar->userChanged("2000");
    EXPECT_EQ(takeChanges().back().stored.row.prePort, 0);
    putIpUser("2000", "192.0.2.9", 65535);
    registrar->userChanged("2000");
    EXPECT_EQ(takeChange().stored.row.prePort, 65535);
}

} // namespace
