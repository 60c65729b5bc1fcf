// The running server follows the dialog over the system settings.
#include "bcl2/text.h"
#include "common/lang_res.h"
#include "support/console_fixture.h"
#include "support/free_port.h"
#include "support/sip_client.h"

#include <QDialog>
#include <QLabel>
#include <QLineEdit>

#include <map>

namespace {

using Transport = SipClient::Transport;

class ServerFollowsSettings : public ConsoleFixture {
protected:
    void SetUp() override
    {
        ConsoleFixture::SetUp();
        port = keepServerLocal(2);
        buildWindow().show();
        waitForServer(port);
    }

    static QLineEdit& field(QDialog& shown, int label)
    {
        for (const QLabel* const each : shown.findChildren<QLabel*>()) {
            if (each->text() == GetLangItem(label))
                return dynamic_cast<QLineEdit&>(*each->buddy());
        }
        throw std::logic_error("no such input");
    }
    // Enters the texts into the fields by the menu's dialog, and says OK.
    void enter(const std::map<int, QString>& texts)
    {
        boxes.expectEditor(GetLangItem(57), [&](QDialog& shown) {
            for (const auto& [label, text] : texts)
                field(shown, label).setText(text);
            pressOk(shown);
        });
        pressMenu({GetLangItem(15), GetLangItem(16)});
    }
    [[nodiscard]] static QString ready(uint16_t at)
    {
        return QStringLiteral("SIP over UDP is ready on 127.0.0.1:%1.").arg(at);
    }
    [[nodiscard]] QStringList linesWith(const QString& part) const { return logTexts().filter(part); }
    // Waits for a line with this text.
    [[nodiscard]] bool hasLine(const QString& part) const
    {
        return waitUntil([&] { return !linesWith(part).isEmpty(); });
    }
    static int registered(const char* user, uint16_t at, Transport transport = Transport::Udp)
    {
        SipClient phone("127.0.0.1", at, transport);
        return phone.registerUser(user, "secret", {"Contact: <" + phone.contact(user) + ">", "Expires: 600"}).status;
    }

    uint16_t port = 0;
};

TEST_F(ServerFollowsSettings, APortThatIsChangedIsServedAtOnceAndRegistrationsStay)
{
    SipClient phone("127.0.0.1", port);
    ASSERT_EQ(phone.registerUser("1000", "secret", {"Contact: <" + phone.contact("1000") + ">"}).status, 200);
    const uint16_t next = freeUdpPort();
    enter({{90, QString::number(next)}});
    ASSERT_TRUE(hasLine(ready(next)));
    EXPECT_EQ(registered("1001", next), 200);
    pressMenu({GetLangItem(36), GetLangItem(271)});
    EXPECT_TRUE(hasLine("2 users are registered")) << "one of them registered at the former port";
    phone.send(phone.requestText("OPTIONS", "1000", {}));
    EXPECT_EQ(registered("1001", next), 200) << "a round trip after the packet to the former port";
    EXPECT_EQ(phone.receive(0).status, 0);
}

TEST_F(ServerFollowsSettings, APortInUseIsOneLogLineAndTheFormerOneIsServedOn)
{
    const TakenUdpPort taken;
    enter({{90, QString::number(taken.port())}});
    const QString failure = QStringLiteral("SIP over UDP cannot use port %1").arg(taken.port());
    ASSERT_TRUE(hasLine(failure));
    EXPECT_EQ(registered("1000", port), 200);
    EXPECT_EQ(linesWith(failure).size(), 1);
    EXPECT_EQ(linesWith(failure)[0],
              failure + QStringLiteral(" of 127.0.0.1: Address already in use; it stays on 127.0.0.1:%1.").arg(port));
    EXPECT_EQ(linesWith("SIP over").size(), 2) << "and the one of the start";
}

TEST_F(ServerFollowsSettings, ANumberThatIsNoPortIsOneLogLineAndTheFormerOneIsServedOn)
{
    for (const QString& text : {QStringLiteral("70000"), QStringLiteral("-1"), QStringLiteral("0")}) {
        enter({{90, text}});
        const QString failure = QStringLiteral("SIP over UDP cannot use port %1: ports are 1 to 65535.").arg(text);
        ASSERT_TRUE(hasLine(failure));
        EXPECT_EQ(registered("1000", port), 200);
        EXPECT_EQ(linesWith(failure), QStringList{failure + QStringLiteral(" Port %1 is served.").arg(port)});
    }
    EXPECT_EQ(linesWith("SIP over").size(), 4) << "and the one of the start";
    const uint16_t next = freeUdpPort();
    enter({{90, QString::number(next)}});
    ASSERT_TRUE(hasLine(ready(next)));
    EXPECT_EQ(registered("1000", next), 200);
}

TEST_F(ServerFollowsSettings, AnAddressThatIsNotOfThisMachineLeavesTheFormerOne)
{
    for (const char* const address : {"192.0.2.200", "nowhere"}) {
        enter({{89, address}});
        const QString failure = QStringLiteral("SIP over UDP cannot use port %1 of %2: ").arg(port).arg(address);
        ASSERT_TRUE(hasLine(failure));
        EXPECT_EQ(registered("1000", port), 200) << address;
        ASSERT_EQ(linesWith(failure).size(), 1);
        EXPECT_TRUE(linesWith(failure)[0].endsWith(QStringLiteral("; it stays on 127.0.0.1:%1.").arg(port)));
    }
    EXPECT_EQ(linesWith("SIP over").size(), 3) << "and the one of the start";
}

TEST_F(ServerFollowsSettings, TcpAndTlsAreSwitchedOnMovedAndOff)
{
    const uint16_t tcp = freeTcpPort();
    const uint16_t tls = freeTcpPort();
    enter({{399, QString::number(tcp)}, {400, QString::number(tls)}});
    ASSERT_TRUE(hasLine(QStringLiteral("SIP over TCP is ready on 127.0.0.1:%1.").arg(tcp)));
    ASSERT_TRUE(hasLine(QStringLiteral("SIP over TLS is ready on 127.0.0.1:%1.").arg(tls)));
    EXPECT_EQ(registered("1000", tcp, Transport::Tcp), 200);
    EXPECT_EQ(registered("1001", tls, Transport::Tls), 200);
    enter({{399, QString::number(tls)}});
    const QString failure = QStringLiteral("SIP over TCP cannot use 127.0.0.1:%1").arg(tls);
    EXPECT_TRUE(hasLine(failure));
    EXPECT_EQ(linesWith("SIP over TCP"),
              (QStringList{QStringLiteral("SIP over TCP is ready on 127.0.0.1:%1.").arg(tcp),
                           failure + QStringLiteral(": Address already in use; it stays on 127.0.0.1:%1.").arg(tcp)}));
    EXPECT_EQ(registered("1000", tcp, Transport::Tcp), 200);
    enter({{399, "0"}, {400, "0"}});
    EXPECT_TRUE(hasLine("SIP over TCP is switched off."));
    EXPECT_TRUE(hasLine("SIP over TLS is switched off."));
    EXPECT_THROW(SipClient("127.0.0.1", tcp, Transport::Tcp), std::runtime_error);
}

TEST_F(ServerFollowsSettings, ARealmThatIsChangedIsChallengedWithAtOnce)
{
    const auto challenge = [this] {
        SipClient phone("127.0.0.1", port);
        return challengeParam(
            phone.request("REGISTER", "1000", {"Contact: <" + phone.contact("1000") + ">"}).header("WWW-Authenticate"),
            "realm");
    };
    EXPECT_EQ(challenge(), "parlovex");
    enter({{451, "office"}});
    EXPECT_TRUE(waitUntil([&] { return challenge() == "office"; }));
    EXPECT_EQ(registered("1000", port), 200);
}

} // namespace
