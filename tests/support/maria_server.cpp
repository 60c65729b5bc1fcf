#include "support/maria_server.h"

#include "support/free_port.h"

#include <mysql.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

// Where Debian keeps the statements that make the system tables.
constexpr const char* kSystemTables = "/usr/share/mysql/mysql_system_tables.sql";
constexpr const char* kSystemData = "/usr/share/mysql/mysql_system_tables_data.sql";
constexpr const char* kAdministrator = "administrator";

std::string program()
{
    // Not in everybody's PATH.
    return access("/usr/sbin/mariadbd", X_OK) == 0 ? "/usr/sbin/mariadbd" : "mariadbd";
}

// Small files, and no waiting for the disk: tests kill the server, but no test cuts the power.
std::vector<std::string> commonArguments(const TemporaryFolder& folder)
{
    std::vector<std::string> arguments = {program(),
                                          "--no-defaults",
                                          "--datadir=" + folder.file("data"),
                                          "--tmpdir=" + folder.path(),
                                          "--innodb-flush-method=nosync",
                                          "--innodb-log-file-size=4M",
                                          "--innodb-buffer-pool-size=16M",
                                          "--innodb-data-file-path=ibdata1:4M:autoextend",
                                          "--innodb-autoextend-increment=1",
                                          "--innodb-temp-data-file-path=ibtmp1:1M:autoextend"};
    if (geteuid() == 0)
        arguments.emplace_back("--user=root");
    return arguments;
}

} // namespace

MariaServer::MariaServer(std::vector<std::string> options) : _options(std::move(options)), _port(freeTcpPort())
{
    std::filesystem::copy(MARIA_DATA, _folder.file("data"), std::filesystem::copy_options::recursive);
    writeAccounts();
}

MariaServer::~MariaServer()
{
    kill();
}

void MariaServer::makeData(const std::string& folder)
{
    const TemporaryFolder made;
    std::filesystem::create_directory(made.file("data"));
    const std::string script =
        made.write("bootstrap.sql", "create database mysql;\nuse mysql;\n" + TemporaryFolder::read(kSystemTables) +
                                        TemporaryFolder::read(kSystemData));
    std::string command = "exec";
    for (const std::string& argument : commonArguments(made))
        command += " '" + argument + "'";
    command += " --bootstrap < '" + script + "'";
    ChildProcess process({"sh", "-c", command}, made.file("bootstrap.log"));
    if (process.wait() != 0)
        throw std::runtime_error("no system tables: " + process.output());
    std::filesystem::remove_all(folder);
    std::filesystem::copy(made.file("data"), folder, std::filesystem::copy_options::recursive);
}

void MariaServer::writeAccounts() const
{
    // The statements of docs/remote-database.md, and an account that looks on.
    const std::string user = std::string(kUser) + "@'127.0.0.1'";
    (void)_folder.write("init.sql", "create user if not exists " + std::string(kAdministrator) +
                                        "@'127.0.0.1';\n"
                                        "grant all on *.* to " +
                                        kAdministrator +
                                        "@'127.0.0.1' with grant option;\n"
                                        "create database if not exists " +
                                        kDatabase + ";\ncreate user if not exists " + user +
                                        " identified by 'it''s \"secret\" %s';\n"
                                        "grant select, insert, update, delete, create on " +
                                        kDatabase + ".* to " + user + ";\n");
}

void MariaServer::start()
{
    std::vector<std::string> arguments = commonArguments(_folder);
    arguments.insert(arguments.end(),
                     {"--bind-address=127.0.0.1", "--port=" + std::to_string(_port),
                      "--socket=" + _folder.file("socket"), "--pid-file=" + _folder.file("pid"),
                      "--init-file=" + _folder.file("init.sql"), "--skip-name-resolve", "--skip-log-bin"});
    arguments.insert(arguments.end(), _options.begin(), _options.end());
    const std::string log = _folder.file("server" + std::to_string(++_starts) + ".log");
    _process = std::make_unique<ChildProcess>(arguments, log);
    if (!_process->waitForOutput("ready for connections"))
        throw std::runtime_error("no server: " + _process->output());
}

void MariaServer::stop()
{
    if (!_process)
        return;
    _process->sendSignal(SIGTERM);
    if (!_process->wait())
        throw std::runtime_error("the server does not end: " + _process->output());
    _process.reset();
}

void MariaServer::kill()
{
    _process.reset();
}

void MariaServer::suspend() const
{
    _process->sendSignal(SIGSTOP);
    // Its threads stop one after another, and one may answer until then.
    siginfo_t info{};
    (void)waitid(P_PID, static_cast<id_t>(_process->pid()), &info, WSTOPPED | WEXITED | WNOWAIT);
}

void MariaServer::resume() const
{
    _process->sendSignal(SIGCONT);
}

std::string MariaServer::sql(const std::string& statements) const
{
    const std::unique_ptr<MYSQL, decltype(&mysql_close)> mysql(mysql_init(nullptr), &mysql_close);
    std::string last;
    const auto fail = [&] { throw std::runtime_error(statements + ": " + mysql_error(mysql.get())); };
    if (mysql_real_connect(mysql.get(), "127.0.0.1", kAdministrator, "", kDatabase, _port, nullptr,
                           CLIENT_MULTI_STATEMENTS) == nullptr ||
        mysql_query(mysql.get(), statements.c_str()) != 0)
        fail();
    int next = 0;
    while (next == 0) {
        if (MYSQL_RES* result = mysql_store_result(mysql.get()); result != nullptr) {
            while (MYSQL_ROW row = mysql_fetch_row(result))
                last = row[0] == nullptr ? "" : row[0];
            mysql_free_result(result);
        }
        next = mysql_next_result(mysql.get());
    }
    if (next > 0)
        fail();
    return last;
}
