// How the connection to a server comes, goes and comes back.
#include "bcl2/text.h"
#include "dbproxy2/greedy_server.h"
#include "dbproxy2/name_service.h"
#include "dbproxy2/proxy.h"
#include "dbproxy2/remote_fixture.h"
#include "dbproxy2/slow_proxy.h"
#include "support/free_port.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <mysql.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

Ctbl_prepaid_rate rate(uint32_t id)
{
    Ctbl_prepaid_rate record;
    record.rate_id = id;
    record.tariff_interval = 60;
    return record;
}

long count(const std::vector<std::string>& lines, const std::string& text)
{
    return std::count_if(lines.begin(), lines.end(),
                         [&text](const std::string& line) { return line.find(text) != std::string::npos; });
}

// Listens on a port of 127.0.0.1; 0: one that the system chooses.
int listenOn(uint16_t port)
{
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address));
    EXPECT_EQ(0, listen(listener, 8));
    return listener;
}

uint16_t portOf(int listener)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    return getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) == 0 ? ntohs(address.sin_port)
                                                                                    : uint16_t{0};
}

// A port of ::1 on which connections neither come about nor are refused: its queue is full.
class FullListener {
public:
    explicit FullListener(uint16_t port) : _listener(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_port = htons(port);
        address.sin6_addr = in6addr_loopback;
        const auto* generic = reinterpret_cast<const sockaddr*>(&address);
        EXPECT_EQ(0, bind(_listener, generic, sizeof address));
        EXPECT_EQ(0, listen(_listener, 0));
        for (int& waiting : _waiting) {
            waiting = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            (void)connect(waiting, generic, sizeof address);
        }
    }
    ~FullListener()
    {
        for (const int waiting : _waiting)
            close(waiting);
        close(_listener);
    }
    FullListener(const FullListener&) = delete;
    FullListener& operator=(const FullListener&) = delete;

private:
    int _listener;
    std::array<int, 4> _waiting{};
};

// Stands where a server should be and hangs up on so many connections.
void turnAway(uint16_t port, int connections)
{
    const int listener = listenOn(port);
    for (int i = 0; i < connections; ++i) {
        pollfd entry{listener, POLLIN, 0};
        const int patience = static_cast<int>(std::chrono::milliseconds(kTestPatience).count());
        ASSERT_EQ(1, poll(&entry, 1, patience));
        close(accept(listener, nullptr, nullptr));
    }
    close(listener);
}

} // namespace

class RemoteConnection : public RemoteFixture {
protected:
    // A server with the database open on it.
    void openServer(std::vector<std::string> options = {})
    {
        startServer(std::move(options));
        open(settings(Engine::MariaDb));
        ASSERT_TRUE(waitForLog("is connected")); // the line follows the moment in which it can be used
    }

    // Whatever is asked fails, rather than waiting for somebody.
    void expectUnusable()
    {
        Ctbl_prepaid_rate record = rate(1);
        EXPECT_EQ(kDbFailed, remote().get(record));
        EXPECT_EQ(kDbFailed, remote().set(record));
        EXPECT_EQ(kDbFailed, remote().del(record));
        EXPECT_EQ(0u, remote().has(record));
        EXPECT_EQ(0u, remote().count<Ctbl_prepaid_rate>());
        EXPECT_EQ(kDbFailed, Cdb_proxy(&remote()).query("select rate_id from tbl_prepaid_rate"));
        EXPECT_EQ(kDbFailed, remote().debit({Ebalance_kind::Subscriber, "1000"}, 1));
        EXPECT_FALSE(remote().isActive());
    }

    void makeCertificate(const std::string& name) const
    {
        ChildProcess openssl({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
                              "-nodes", "-days", "2", "-subj", "/CN=" + name, "-addext", "subjectAltName=IP:127.0.0.1",
                              "-keyout", path(name + "-key.pem"), "-out", path(name + ".pem")},
                             path(name + ".log"));
        ASSERT_EQ(0, openssl.wait()) << openssl.output();
    }
};

TEST_F(RemoteConnection, ComesBackWhenTheServerDoes)
{
    openServer();
    ASSERT_EQ(kDbOk, remote().set(rate(1)));
    server().stop();
    ASSERT_TRUE(waitForInactive());
    expectUnusable();
    EXPECT_FALSE(std::filesystem::exists(path("billing.db"))) << "the embedded engine is no fallback";

    ASSERT_TRUE(waitForLog("is lost"));
    server().start();
    ASSERT_TRUE(waitForActive());
    EXPECT_EQ(kDbHas, remote().has(rate(1)));
    EXPECT_EQ(kDbOk, remote().set(rate(2)));
    ASSERT_TRUE(waitForLog("is connected"));
    EXPECT_EQ(0, count(takeLog(), "database server"));
}

TEST_F(RemoteConnection, TellsEachOutageOnce)
{
    openServer();
    server().kill();
    ASSERT_TRUE(waitForInactive());
    // An attempt that fails: no further line.
    turnAway(server().port(), 1);
    server().start();
    ASSERT_TRUE(waitForActive());
    server().kill();
    ASSERT_TRUE(waitForInactive());
    server().start();
    ASSERT_TRUE(waitForActive());
    close();
    const auto lines = takeLog();
    EXPECT_EQ(2, count(lines, "is lost"));
    EXPECT_EQ(2, count(lines, "is connected"));
    EXPECT_EQ(4u, lines.size());
}

TEST_F(RemoteConnection, DoesNotHangWithTheServer)
{
    openServer();
    ASSERT_EQ(kDbOk, remote().set(rate(1)));
    server().suspend();
    Ctbl_prepaid_rate record = rate(1);
    EXPECT_EQ(kDbFailed, remote().get(record));
    expectUnusable();

    server().resume();
    ASSERT_TRUE(waitForActive());
    EXPECT_EQ(kDbOk, remote().get(record));

    server().suspend();
    close();
}

// A backup for instance locks tables for minutes.
TEST_F(RemoteConnection, IsNotLostWithATableThatSomebodyLocks)
{
    openServer();
    const std::unique_ptr<MYSQL, decltype(&mysql_close)> backup(mysql_init(nullptr), &mysql_close);
    ASSERT_NE(nullptr, mysql_real_connect(backup.get(), "127.0.0.1", "administrator", "", MariaServer::kDatabase,
                                          server().port(), nullptr, 0));
    const auto waiting = [this] {
        return server().sql("select count(*) from information_schema.processlist where state like '%metadata lock%'");
    };
    Ctbl_sub_balance stored;
    BclCopyStr(stored.cSubName, "1000");
    ASSERT_EQ(kDbOk, remote().set(stored));
    for (const char* table : {"tbl_prepaid_rate", "tbl_disa_account"}) {
        ASSERT_EQ(0, mysql_query(backup.get(), ("lock tables " + std::string(table) + " write").c_str()));
        // The wait for the lock takes half of the time that an answer has: a machine that stands still for the other
        // half loses the connection, but not each time.
        EXPECT_TRUE(waitUntil([&] {
            if (!waitForActive())
                return false;
            takeLog();
            if (std::string(table) == "tbl_prepaid_rate")
                EXPECT_EQ(kDbFailed, remote().set(rate(1)));
            else // the one that a probe reads
                EXPECT_TRUE(waitUntil([&] { return waiting() == "1"; }) && waitUntil([&] { return waiting() == "0"; }));
            return remote().has(stored) == kDbHas && count(takeLog(), "is lost") == 0;
        }));
        open(settings(Engine::MariaDb));
        EXPECT_TRUE(waitForActive()) << "with " << table << " locked";
        takeLog();
    }
    ASSERT_EQ(0, mysql_query(backup.get(), "unlock tables"));
    EXPECT_EQ(kDbOk, remote().set(rate(1)));
}

TEST_F(RemoteConnection, IsNotLostWithASessionThatTheServerRefuses)
{
    startServer();
    server().sql("alter user " + std::string(MariaServer::kUser) + "@'127.0.0.1' with max_user_connections 2");
    open(settings(Engine::MariaDb));
    ASSERT_TRUE(waitForLog("is connected"));
    ASSERT_EQ(kDbOk, remote().set(rate(1)));
    std::atomic<bool> isOver = false;
    std::vector<std::thread> operations;
    operations.reserve(4);
    while (operations.size() < 4)
        operations.emplace_back([&] {
            while (!isOver)
                EXPECT_EQ(kDbHas, remote().has(rate(1)));
        });
    EXPECT_TRUE(waitForLog("A further connection"));
    isOver = true;
    for (std::thread& operation : operations)
        operation.join();
    EXPECT_EQ(kDbHas, remote().has(rate(1)));
    EXPECT_EQ(0, count(takeLog(), "is lost"));
}

TEST_F(RemoteConnection, TellsEachRefusalOnce)
{
    openServer();
    Ctbl_sub_balance balance;
    BclCopyStr(balance.cSubName, "1000");
    server().sql("drop table billing.tbl_prepaid_rate, billing.tbl_sub_balance");
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(kDbFailed, remote().set(rate(1)));
        EXPECT_EQ(kDbFailed, remote().set(balance));
    }
    close();
    EXPECT_EQ(2, count(takeLog(), "refused"));
}

TEST_F(RemoteConnection, NoticesAServerThatHangsWhileNobodyAsks)
{
    openServer();
    server().suspend();
    EXPECT_TRUE(waitForInactive());
    EXPECT_TRUE(waitForLog("is lost: no answer in time"));
}

// Each byte that comes could start the time-out of a read anew.
TEST_F(RemoteConnection, DoesNotWaitForAServerThatTrickles)
{
    startServer();
    SlowProxy proxy(server().port());
    Cdb_remote_settings slow = settings(Engine::MariaDb);
    slow.port = proxy.port();
    open(slow);
    ASSERT_TRUE(waitForActive());
    for (uint32_t id = 1; id <= 200; ++id)
        ASSERT_EQ(kDbOk, remote().set(rate(id)));
    proxy.trickle();
    Cdb_proxy page(&remote());
    // All of it would come in some minutes.
    EXPECT_EQ(kDbFailed, page.query("select * from tbl_prepaid_rate order by rate_id"));
    EXPECT_FALSE(remote().isActive());
}

TEST_F(RemoteConnection, TellsWhyItCannotBeMade)
{
    startServer();
    Cdb_remote_settings wrong = settings(Engine::MariaDb);
    wrong.password = "guessed by mistake";
    open(wrong);
    ASSERT_TRUE(waitForLog("Access denied"));
    expectUnusable();

    // The account of the documentation, without one thing or another.
    server().sql("create user reader@'127.0.0.1' identified by 'r'; grant select on billing.* to reader@'127.0.0.1'");
    Cdb_remote_settings reader = settings(Engine::MariaDb);
    reader.user = "reader";
    reader.password = "r";
    remote().apply(reader);
    ASSERT_TRUE(waitForLog("CREATE command denied"));
    expectUnusable();

    Cdb_remote_settings elsewhere = settings(Engine::MariaDb);
    elsewhere.database = "mysql";
    remote().apply(elsewhere);
    ASSERT_TRUE(waitForLog("Access denied"));
    expectUnusable();

    Cdb_remote_settings nobody = settings(Engine::MariaDb);
    nobody.port = freeTcpPort();
    remote().apply(nobody);
    ASSERT_TRUE(waitForLog("cannot be used"));
    expectUnusable();

    remote().apply(settings(Engine::MariaDb));
    ASSERT_TRUE(waitForActive());
    ASSERT_EQ(kDbOk, remote().set(rate(1)));

    // The tables are there now: somebody may read them who may not write.
    remote().apply(reader);
    ASSERT_TRUE(waitForActive());
    EXPECT_EQ(kDbHas, remote().has(rate(1)));
    EXPECT_EQ(kDbFailed, remote().set(rate(2)));
    EXPECT_EQ(kDbFailed, remote().del(rate(1)));
    EXPECT_TRUE(waitForLog("refused tbl_prepaid_rate: INSERT"));
    EXPECT_TRUE(remote().isActive()) << "a refusal is no loss";
    EXPECT_EQ(1u, remote().count<Ctbl_prepaid_rate>());

    for (const std::string& line : takeLog())
        EXPECT_EQ(std::string::npos, line.find("guessed")) << line;
}

// Somebody else made the tables: money is not entrusted to them as they are.
TEST_F(RemoteConnection, RefusesTablesThatCannotKeepMoney)
{
    openServer();
    close();
    struct Flaw {
        const char* made;
        const char* told;
    };
    const std::array<Flaw, 6> flaws = {{
        {"alter table tbl_sub_balance engine=MyISAM", "alter table tbl_sub_balance engine=InnoDB"},
        {"alter table tbl_callingcard_balance modify cCard varchar(32) not null",
         "alter table tbl_callingcard_balance modify cCard varbinary(32) not null"},
        {"alter table tbl_sub_balance modify nBalance int unsigned not null",
         "alter table tbl_sub_balance modify nBalance int not null"},
        {"alter table tbl_booking modify cBooking varbinary(20) not null",
         "alter table tbl_booking modify cBooking varbinary(32) not null"},
        {"alter table tbl_disa_account drop primary key, add index (cAccount)",
         "the primary key of tbl_disa_account lacks the column cAccount"},
        {"alter table tbl_caller_prepaid drop primary key, add primary key (cSubscriber, cRouteNbr, nRateId)",
         "the column nRateId is no part of the primary key of tbl_caller_prepaid"},
    }};
    const std::array<const char*, 2> mended = {
        "alter table tbl_disa_account add primary key (cAccount)",
        "alter table tbl_caller_prepaid drop primary key, add primary key (cSubscriber, cRouteNbr)"};
    for (const Flaw& flaw : flaws) {
        SCOPED_TRACE(flaw.made);
        server().sql(flaw.made);
        open(settings(Engine::MariaDb));
        EXPECT_TRUE(waitForLog(flaw.told));
        EXPECT_FALSE(remote().isActive());
        const std::string told = flaw.told;
        server().sql(told.starts_with("alter")                 ? told
                     : told.find("lacks") != std::string::npos ? mended[0]
                                                               : mended[1]);
    }
    // A wider column keeps all that a narrow one does.
    server().sql("alter table tbl_prepaid_rate modify rate_id bigint not null");
    open(settings(Engine::MariaDb));
    EXPECT_TRUE(waitForActive());
    EXPECT_EQ(kDbOk, remote().set(rate(UINT32_MAX)));
    EXPECT_EQ(kDbHas, remote().has(rate(UINT32_MAX)));
}

TEST_F(RemoteConnection, FollowsItsSettingsAtOnce)
{
    openServer();
    ASSERT_EQ(kDbOk, remote().set(rate(1)));

    remote().apply({"local", 0, "", "", ""});
    ASSERT_TRUE(waitForActive());
    EXPECT_EQ(0u, remote().count<Ctbl_prepaid_rate>());
    EXPECT_EQ(kDbOk, remote().set(rate(7)));

    remote().apply({});
    EXPECT_FALSE(remote().isActive());
    expectUnusable();

    // Something that takes connections and never says a word.
    const int mute = listenOn(0);
    Cdb_remote_settings silent = settings(Engine::MariaDb);
    silent.port = portOf(mute);
    remote().apply(silent);
    expectUnusable();
    remote().apply(settings(Engine::MariaDb));
    ASSERT_TRUE(waitForActive());
    ::close(mute);
    EXPECT_EQ(kDbHas, remote().has(rate(1)));
    EXPECT_EQ(0u, remote().has(rate(7)));

    // The same once more changes nothing.
    remote().apply(settings(Engine::MariaDb));
    EXPECT_TRUE(remote().isActive());
}

TEST_F(RemoteConnection, TakesOtherSettingsWhileANameServiceHangs)
{
    startServer();
    const HangingNames hanging;
    Cdb_remote_settings unknown = settings(Engine::MariaDb);
    unknown.address = kHangingName;
    open(unknown);
    ASSERT_TRUE(waitUntil([] { return HangingNames::waiting() == 1; }));
    EXPECT_FALSE(remote().isActive());

    remote().apply(settings(Engine::Embedded));
    EXPECT_TRUE(waitForActive());
    remote().apply(unknown);
    EXPECT_FALSE(remote().isActive());
    remote().apply(settings(Engine::MariaDb));
    EXPECT_TRUE(waitForActive());
    EXPECT_EQ(kDbOk, remote().set(rate(1)));
    EXPECT_GE(HangingNames::waiting(), 1) << "it hangs all the time";
}

TEST_F(RemoteConnection, TriesTheNextAddressOfAName)
{
    startServer();
    const FullListener dead(server().port());
    Cdb_remote_settings named = settings(Engine::MariaDb);
    named.address = kTwoAddresses;
    open(named);
    EXPECT_TRUE(waitForActive());
    EXPECT_EQ(kDbOk, remote().set(rate(1)));
}

TEST_F(RemoteConnection, NeverSendsThePasswordInClear)
{
    GreedyServer greedy(GreedyServer::Wish::PasswordInClear);
    open({"127.0.0.1", greedy.port(), "parlovex", "not for everybody", "billing"});
    ASSERT_TRUE(waitForLog("cannot be used"));
    ASSERT_TRUE(waitUntil([&] { return greedy.asked() > 0; }));
    EXPECT_NE(std::string::npos, greedy.received().find("parlovex")) << "it got as far as that";
    EXPECT_EQ(std::string::npos, greedy.received().find("not for everybody"));
}

TEST_F(RemoteConnection, GivesNoFileAway)
{
    const std::string secret = path("secret");
    std::ofstream(secret) << "not for everybody";
    GreedyServer greedy(GreedyServer::Wish::File, secret);
    open({"127.0.0.1", greedy.port(), "parlovex", "p", "billing"});
    ASSERT_TRUE(waitUntil([&] { return greedy.asked() > 0; }));
    close();
    EXPECT_NE(std::string::npos, greedy.received().find("autocommit")) << "it got as far as that";
    // The capabilities stand behind the four bytes of the first packet's head.
    constexpr size_t kCapabilities = 4;
    constexpr unsigned kFiles = 0x80;
    EXPECT_EQ(0u, static_cast<unsigned char>(greedy.received()[kCapabilities]) & kFiles) << "files are on offer";
    EXPECT_EQ(std::string::npos, greedy.received().find("not for everybody"));
}

TEST_F(RemoteConnection, IsEncryptedWhereTheServerOffersIt)
{
    makeCertificate("own");
    makeCertificate("other");
    startServer({"--ssl-cert=" + path("own.pem"), "--ssl-key=" + path("own-key.pem")});
    open(settings(Engine::MariaDb));
    ASSERT_TRUE(waitForActive());
    ASSERT_TRUE(waitForLog("is connected over TLSv1."));

    std::filesystem::copy_file(path("own.pem"), path("remote-ca.pem"));
    open(settings(Engine::MariaDb));
    ASSERT_TRUE(waitForActive()) << "the certificate is the expected one";

    std::filesystem::copy_file(path("other.pem"), path("remote-ca.pem"),
                               std::filesystem::copy_options::overwrite_existing);
    takeLog();
    open(settings(Engine::MariaDb));
    ASSERT_TRUE(waitForLog("cannot be used: "));
    EXPECT_FALSE(remote().isActive());
}

TEST_F(RemoteConnection, IsNotMadeInClearWhenACertificateIsExpected)
{
    startServer();
    open(settings(Engine::MariaDb));
    ASSERT_TRUE(waitForLog("is connected without TLS"));
    makeCertificate("own");
    std::filesystem::copy_file(path("own.pem"), path("remote-ca.pem"));
    open(settings(Engine::MariaDb));
    ASSERT_TRUE(waitForLog("cannot be used: "));
    EXPECT_FALSE(remote().isActive());
}
