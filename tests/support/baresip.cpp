#include "support/baresip.h"

#include "support/temporary_folder.h"

#include <vector>

namespace {

constexpr const char* kConfig = "sip_listen\t127.0.0.1:0\n"
                                "module_path\t/usr/lib/baresip/modules\n"
                                "module\tg711.so\n"
                                "module_app\taccount.so\n";

} // namespace

std::unique_ptr<ChildProcess> startBaresip(const TemporaryFolder& folder, const std::string& user, uint16_t serverPort,
                                           const std::string& transport)
{
    (void)folder.write("config", kConfig);
    (void)folder.write("contacts", "");
    (void)folder.write("accounts", "<sip:" + user + "@127.0.0.1:" + std::to_string(serverPort) +
                                       ";transport=" + transport + ">;auth_pass=secret;regint=600\n");
    return std::make_unique<ChildProcess>(
        std::vector<std::string>{"baresip", "-f", folder.path(), "-t", std::to_string(kTestPatience.count())},
        folder.file("output.txt"));
}
