#include "maria_engine.h"

#include "bcl2/text.h"
#include "maria_tables.h"
#include "remote_times.h"

#include <mysql.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <openssl/crypto.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr unsigned kDefaultPort = 3306;

// Errors of a server that mean more to us than "refused".
constexpr unsigned kRecordChanged = 1020; // by somebody else, since this transaction began to read
constexpr unsigned kNotPrepared = 1047;   // a cluster node that may not serve at the moment
constexpr unsigned kShutdown = 1053;
constexpr unsigned kDuplicateKey = 1062;
constexpr unsigned kLockWaitTimeout = 1205;
constexpr unsigned kDeadlock = 1213; // also: another node of a cluster was faster
constexpr unsigned kKilled = 1927;
constexpr unsigned kFirstClientError = 2000; // the connector's own: the connection is of no use any more
constexpr unsigned kLastClientError = 2999;
constexpr unsigned kFirstNetworkError = 5000; // the same
constexpr unsigned kLastNetworkError = 5999;

// Each connection runs on a stack of its own. Name services and TLS are hungry.
constexpr size_t kStackSize = size_t{256} * 1024;
// How often a wait looks whether it has been cancelled.
constexpr std::chrono::milliseconds kCancelSlice{50};
constexpr std::chrono::hours kNever{24};
// An operation that has been cut off ends within a few steps; more would be an error of the connector.
constexpr int kMaxUnwindSteps = 1000;

// A server may be set up to wait for a commit that we never send.
constexpr const char* kSessionSettings = "set autocommit=1, sql_mode='STRICT_ALL_TABLES,NO_ENGINE_SUBSTITUTION'";
// Not every engine knows all of them, and where one is unknown it is not needed.
constexpr std::array kFurtherSettings = {
    "set completion_type=0",          // a commit does not begin another transaction
    "set innodb_lock_wait_timeout=1", // a row that somebody else holds fails within the time of an operation
    "set lock_wait_timeout=1",        // so does a whole table, of a backup for instance
    "set wait_timeout=28800",         // a session of ours rests for long
};

// The password in clear is never sent, whatever the server asks for.
constexpr const char* kAuthentications = "mysql_native_password,client_ed25519,caching_sha2_password";

bool hasConnector()
{
    static std::once_flag once;
    static bool isReady = false;
    std::call_once(once, [] {
        // Its clean-up at exit would pull the ground from under running threads.
        OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
        isReady = mysql_library_init(0, nullptr, nullptr) == 0;
    });
    return isReady;
}

void appendHex(std::string& sql, std::string_view text)
{
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    sql += "x'";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        sql += kDigits[byte >> 4];
        sql += kDigits[byte & 0xf];
    }
    sql += '\'';
}

// Texts go as hexadecimal literals: no character set and no mode of the server gives a byte of them another meaning.
std::string filledIn(std::string_view sql, std::span<const SqlValue> values)
{
    std::string text;
    text.reserve(sql.size() + values.size() * 16);
    size_t next = 0;
    for (const char c : sql) {
        if (c != '?' || next >= values.size()) {
            text += c;
            continue;
        }
        const SqlValue& value = values[next++];
        if (value.isText)
            appendHex(text, value.text);
        else
            text += std::to_string(value.number);
    }
    return text;
}

bool isClientError(unsigned code)
{
    return (code >= kFirstClientError && code <= kLastClientError) ||
           (code >= kFirstNetworkError && code <= kLastNetworkError);
}

SqlStatus statusOf(unsigned code)
{
    switch (code) {
    case kDuplicateKey:
        return SqlStatus::Duplicate;
    case kRecordChanged:
    case kLockWaitTimeout:
    case kDeadlock:
        return SqlStatus::Conflict;
    case kNotPrepared:
    case kShutdown:
    case kKilled:
        return SqlStatus::Lost;
    default:
        return isClientError(code) ? SqlStatus::Lost : SqlStatus::Failed;
    }
}

// The connector's non-blocking calls on one handle.
class Driver {
public:
    explicit Driver(MYSQL* mysql) : _mysql(mysql) {}

    // Starts an operation and goes on with it until it ends; false when it was cut off, and then the handle is of no
    // use any more.
    template <class Start, class Continue>
    bool run(Start&& start, Continue&& goOn, Deadline deadline)
    {
        int status = start();
        while (status != 0) {
            const int ready = wait(status, deadline);
            if (ready == 0) {
                unwind(goOn, status);
                return false;
            }
            status = goOn(ready);
        }
        return true;
    }

private:
    // What of `status` has come; 0: the time is over.
    int wait(int status, Deadline deadline)
    {
        pollfd entry{mysql_get_socket(_mysql), 0, 0};
        const auto timeOut = timeOutOf(status);
        entry.events = static_cast<short>(((status & MYSQL_WAIT_READ) != 0 ? POLLIN : 0) |
                                          ((status & MYSQL_WAIT_WRITE) != 0 ? POLLOUT : 0) |
                                          ((status & MYSQL_WAIT_EXCEPT) != 0 ? POLLPRI : 0));
        while (!deadline.isOver()) {
            const auto now = std::chrono::steady_clock::now();
            if (now >= timeOut)
                return MYSQL_WAIT_TIMEOUT;
            auto slice = std::min(deadline.left(), std::chrono::ceil<std::chrono::milliseconds>(timeOut - now));
            if (deadline.cancel != nullptr)
                slice = std::min(slice, kCancelSlice);
            const int count = poll(&entry, 1, static_cast<int>(std::max<int64_t>(slice.count(), 0)));
            if (count > 0) {
                const bool isBroken = (entry.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
                const int came = ((entry.revents & POLLIN) != 0 ? MYSQL_WAIT_READ : 0) |
                                 ((entry.revents & POLLOUT) != 0 ? MYSQL_WAIT_WRITE : 0) |
                                 ((entry.revents & POLLPRI) != 0 ? MYSQL_WAIT_EXCEPT : 0);
                return isBroken ? status : came; // the operation itself finds out what is broken
            }
            if (count < 0 && errno != EINTR)
                return 0;
        }
        return 0;
    }

    // When the operation itself gives up what it waits for, to try another address for instance.
    [[nodiscard]] std::chrono::steady_clock::time_point timeOutOf(int status) const
    {
        const auto now = std::chrono::steady_clock::now();
        return (status & MYSQL_WAIT_TIMEOUT) != 0 ? now + std::chrono::milliseconds(mysql_get_timeout_value_ms(_mysql))
                                                  : now + kNever;
    }

    // The operation must come to its end, so that what it holds is freed.
    template <class Continue>
    void unwind(Continue&& goOn, int status)
    {
        if (const my_socket fd = mysql_get_socket(_mysql); fd >= 0)
            shutdown(fd, SHUT_RDWR);
        for (int i = 0; status != 0 && i < kMaxUnwindSteps; ++i)
            status = goOn(MYSQL_WAIT_TIMEOUT);
    }

    MYSQL* _mysql;
};

class MariaSession final : public SqlSession {
public:
    MariaSession() : _mysql(mysql_init(nullptr)) {}
    ~MariaSession() override
    {
        if (_mysql == nullptr)
            return;
        // The connector says good-bye: it must not wait for a peer that does not read.
        if (const my_socket fd = _isLost ? mysql_get_socket(_mysql) : -1; fd >= 0)
            shutdown(fd, SHUT_RDWR);
        mysql_close(_mysql);
    }

    [[nodiscard]] bool open(const MariaAddress& address, Deadline deadline, std::string& reason)
    {
        if (_mysql == nullptr) {
            reason = "out of memory";
            return false;
        }
        setOptions(address);
        MYSQL* connected = nullptr;
        const bool isEnded = Driver(_mysql).run(
            [&] {
                return mysql_real_connect_start(&connected, _mysql, address.host.c_str(), address.user.c_str(),
                                                address.password.c_str(), address.database.c_str(), address.port,
                                                nullptr, CLIENT_FOUND_ROWS);
            },
            [&](int ready) { return mysql_real_connect_cont(&connected, _mysql, ready); }, deadline);
        if (!isEnded || connected == nullptr) {
            _isLost = true;
            reason = isEnded ? mysql_error(_mysql) : "no answer";
            return false;
        }
        const SqlResult result = run(kSessionSettings, {}, nullptr, deadline);
        reason = result.reason;
        for (const char* setting : kFurtherSettings)
            (void)run(setting, {}, nullptr, deadline);
        return result.isDone() && !_isLost;
    }

    [[nodiscard]] std::string encryption() const
    {
        const char* cipher = mysql_get_ssl_cipher(_mysql);
        const char* version = nullptr;
        if (cipher == nullptr || mariadb_get_infov(_mysql, MARIADB_CONNECTION_TLS_VERSION, &version) != 0 ||
            version == nullptr)
            return "without TLS";
        return std::string("over ") + version;
    }

    SqlResult run(std::string_view sql, std::span<const SqlValue> values, SqlRows* rows, Deadline deadline) override
    {
        if (_isLost)
            return {SqlStatus::Lost, 0, "the connection is lost"};
        const std::string text = filledIn(sql, values);
        int failed = 0;
        const bool isEnded =
            Driver(_mysql).run([&] { return mysql_real_query_start(&failed, _mysql, text.data(), text.size()); },
                               [&](int ready) { return mysql_real_query_cont(&failed, _mysql, ready); }, deadline);
        if (!isEnded)
            return cutOff();
        if (failed != 0)
            return failure();
        if (mysql_field_count(_mysql) > 0)
            return takeRows(rows, deadline);
        return {SqlStatus::Done, mysql_affected_rows(_mysql), {}};
    }

    [[nodiscard]] bool isLost() const override { return _isLost; }

private:
    void setOptions(const MariaAddress& address)
    {
        const size_t stackSize = kStackSize;
        const unsigned protocol = MYSQL_PROTOCOL_TCP; // "localhost" is an address like others
        const unsigned addressTime = std::chrono::duration_cast<std::chrono::seconds>(kAddressTime).count();
        const unsigned off = 0;
        const my_bool on = 1;
        const my_bool no = 0;
        mysql_options(_mysql, MYSQL_OPT_NONBLOCK, &stackSize);
        mysql_options(_mysql, MYSQL_OPT_CONNECT_TIMEOUT, &addressTime);
        mysql_options(_mysql, MYSQL_OPT_PROTOCOL, &protocol);
        mysql_options(_mysql, MYSQL_SET_CHARSET_NAME, "utf8mb4");
        mysql_options(_mysql, MYSQL_OPT_LOCAL_INFILE, &off); // a server could read our files
        mysql_options(_mysql, MARIADB_OPT_RESTRICTED_AUTH, kAuthentications);
        mysql_options(_mysql, MYSQL_OPT_SSL_ENFORCE, &on);
        const bool isChecked = !address.caFile.empty() && access(address.caFile.c_str(), F_OK) == 0;
        if (isChecked)
            mysql_options(_mysql, MYSQL_OPT_SSL_CA, address.caFile.c_str());
        mysql_options(_mysql, MYSQL_OPT_SSL_VERIFY_SERVER_CERT, isChecked ? &on : &no);
    }

    SqlResult takeRows(SqlRows* rows, Deadline deadline)
    {
        MYSQL_RES* result = nullptr;
        const bool isEnded =
            Driver(_mysql).run([&] { return mysql_store_result_start(&result, _mysql); },
                               [&](int ready) { return mysql_store_result_cont(&result, _mysql, ready); }, deadline);
        if (!isEnded || result == nullptr) {
            mysql_free_result(result);
            return isEnded ? failure() : cutOff();
        }
        if (rows != nullptr) {
            rows->columns = mysql_num_fields(result);
            rows->cells.clear();
            rows->cells.reserve(rows->columns * mysql_num_rows(result));
            while (MYSQL_ROW row = mysql_fetch_row(result)) {
                const unsigned long* lengths = mysql_fetch_lengths(result);
                for (size_t i = 0; i < rows->columns; ++i)
                    rows->cells.emplace_back(row[i] == nullptr ? "" : row[i], row[i] == nullptr ? 0 : lengths[i]);
            }
        }
        mysql_free_result(result);
        return {};
    }

    SqlResult failure()
    {
        const unsigned code = mysql_errno(_mysql);
        SqlResult result{statusOf(code), 0, mysql_error(_mysql)};
        _isLost = result.status == SqlStatus::Lost;
        return result;
    }

    SqlResult cutOff()
    {
        _isLost = true;
        return {SqlStatus::Lost, 0, "no answer in time"};
    }

    MYSQL* _mysql;
    bool _isLost = false;
};

constexpr SqlDialect kDialect{&mariaColumnType, " engine=InnoDB",          "start transaction",
                              " for update",    "select unix_timestamp()", &checkMariaTables};

class MariaEngine final : public SqlEngine {
public:
    explicit MariaEngine(MariaAddress address) : _address(std::move(address))
    {
        if (_address.port == 0)
            _address.port = kDefaultPort;
    }

    [[nodiscard]] const SqlDialect& dialect() const override { return kDialect; }

    [[nodiscard]] std::unique_ptr<SqlSession> connect(Deadline deadline, std::string& reason) override
    {
        if (!hasConnector()) {
            reason = "the connector cannot be started";
            return nullptr;
        }
        auto session = std::make_unique<MariaSession>();
        if (!session->open(_address, deadline, reason))
            return nullptr;
        _remark = session->encryption();
        return session;
    }

    [[nodiscard]] std::string name() const override
    {
        return "database server " + BclPrintable(_address.host) + ":" + std::to_string(_address.port);
    }
    [[nodiscard]] std::string remark() const override { return _remark; }
    [[nodiscard]] size_t maxSessions() const override { return kMaxSessions; }

private:
    static constexpr size_t kMaxSessions = 8; // more than ever write at the same time: the console and the workers

    MariaAddress _address;
    std::string _remark;
};

} // namespace

std::unique_ptr<SqlEngine> makeMariaEngine(MariaAddress address)
{
    return std::make_unique<MariaEngine>(std::move(address));
}
