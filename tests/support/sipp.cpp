#include "support/sipp.h"

#include "support/child_process.h"
#include "support/temporary_folder.h"

int runSipp(const TemporaryFolder& folder, const std::string& scenario, uint16_t serverPort,
            const std::vector<SippUser>& users, unsigned callsPerSecond)
{
    std::string lines = "SEQUENTIAL\n";
    for (const SippUser& user : users)
        lines += user.name + ";[authentication username=" + user.name + " password=" + user.password + "]\n";
    const std::string injection = folder.write("sipp_users.csv", lines);
    ChildProcess sipp({"sipp",
                       "127.0.0.1:" + std::to_string(serverPort),
                       "-sf",
                       std::string(TEST_DATA) + "/sipp/" + scenario,
                       "-inf",
                       injection,
                       "-i",
                       "127.0.0.1",
                       "-m",
                       std::to_string(users.size()),
                       "-r",
                       std::to_string(callsPerSecond),
                       "-l",
                       "500",
                       "-nostdin",
                       "-timeout",
                       std::to_string(kTestPatience.count()),
                       "-timeout_error",
                       "-trace_err",
                       "-error_file",
                       folder.file("sipp_errors.log")},
                      folder.file("sipp_output.txt"));
    return sipp.wait(2 * kTestPatience).value_or(-1);
}
