#include "support/baresip.h"

#include "support/temporary_folder.h"

#include <arpa/inet.h>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <numbers>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* kConfig = "sip_listen\t127.0.0.1:0\n"
                                "module_path\t/usr/lib/baresip/modules\n"
                                "module\tg711.so\n"
                                "module_app\taccount.so\n";

constexpr unsigned kSampleRate = 8000;
constexpr unsigned kToneSeconds = 60; // at its end the telephone hangs up

void append(std::string& bytes, uint32_t value, unsigned count)
{
    for (unsigned i = 0; i < count; ++i)
        bytes += static_cast<char>(value >> (8 * i) & 0xff);
}

// A RIFF file of one channel with 16 bits a sample.
std::string toneFile(unsigned hertz)
{
    constexpr unsigned kSamples = kSampleRate * kToneSeconds;
    constexpr double kAmplitude = 12'000;
    std::string bytes = "RIFF";
    append(bytes, 36 + 2 * kSamples, 4);
    bytes += "WAVEfmt ";
    append(bytes, 16, 4);
    append(bytes, 1, 2); // PCM
    append(bytes, 1, 2); // channel
    append(bytes, kSampleRate, 4);
    append(bytes, 2 * kSampleRate, 4);
    append(bytes, 2, 2);
    append(bytes, 16, 2);
    bytes += "data";
    append(bytes, 2 * kSamples, 4);
    for (unsigned i = 0; i < kSamples; ++i) {
        const double angle = 2 * std::numbers::pi * hertz * i / kSampleRate;
        append(bytes, static_cast<uint16_t>(std::lround(kAmplitude * std::sin(angle))), 2);
    }
    return bytes;
}

std::unique_ptr<ChildProcess> start(const TemporaryFolder& folder, const std::string& config,
                                    const std::string& account, const std::vector<std::string>& commands)
{
    (void)folder.write("config", config);
    (void)folder.write("contacts", "");
    (void)folder.write("accounts", account + "\n");
    std::vector<std::string> arguments = {"baresip", "-f", folder.path(), "-t", std::to_string(kTestPatience.count())};
    for (const std::string& command : commands)
        arguments.insert(arguments.end(), {"-e", command});
    return std::make_unique<ChildProcess>(arguments, folder.file("output.txt"));
}

std::string accountOf(const std::string& user, uint16_t serverPort, const std::string& transport)
{
    return "<sip:" + user + "@127.0.0.1:" + std::to_string(serverPort) + ";transport=" + transport +
           ">;auth_pass=secret;regint=600";
}

} // namespace

std::unique_ptr<ChildProcess> startBaresip(const TemporaryFolder& folder, const std::string& user, uint16_t serverPort,
                                           const std::string& transport)
{
    return start(folder, kConfig, accountOf(user, serverPort, transport), {});
}

std::unique_ptr<ChildProcess> startBaresipWithAudio(const TemporaryFolder& folder, const std::string& user,
                                                    uint16_t serverPort, const std::string& transport,
                                                    const BaresipAudio& audio)
{
    const std::string config =
        std::string(kConfig) +
        "net_interface\t127.0.0.1\n"
        "module\taufile.so\n"
        "module\taubridge.so\n" // plays to nobody
        "module\tsndfile.so\n"
        "module_app\tmenu.so\n"
        "audio_player\taubridge,nobody\n"
        "audio_source\taufile," +
        folder.write("tone.wav", toneFile(audio.toneHz)) + "\nsnd_path\t" + folder.path() + "\n" +
        (audio.commandPort == 0
             ? std::string()
             : "module_app\tctrl_tcp.so\nctrl_tcp_listen\t127.0.0.1:" + std::to_string(audio.commandPort) + "\n");
    const std::string account = accountOf(user, serverPort, transport);
    if (audio.dialed.empty())
        return start(folder, config, account + ";answermode=auto", {});
    return start(folder, config, account, {"/dial " + audio.dialed});
}

bool tellBaresip(uint16_t commandPort, const std::string& command, const std::string& argument)
{
    const std::string json = R"({"command":")" + command + R"(","params":")" + argument + R"("})";
    const std::string text = std::to_string(json.size()) + ":" + json + ","; // a netstring
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(commandPort);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isSent = fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                        send(fd, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    std::array<char, 256> reply{};
    timeval patience{kTestPatience.count(), 0};
    const bool isTaken = isSent && setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) == 0 &&
                         recv(fd, reply.data(), reply.size() - 1, 0) > 0;
    if (fd >= 0)
        close(fd);
    return isTaken && std::string_view(reply.data()).find("\"ok\":true") != std::string_view::npos;
}

std::vector<int16_t> heardBy(const TemporaryFolder& folder)
{
    constexpr size_t kHeader = 44;
    std::vector<int16_t> samples;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        if (!entry.path().string().ends_with("-dec.wav"))
            continue;
        const std::string bytes = TemporaryFolder::read(entry.path());
        if (bytes.size() <= kHeader)
            continue;
        samples.resize((bytes.size() - kHeader) / sizeof(int16_t));
        std::memcpy(samples.data(), bytes.data() + kHeader, samples.size() * sizeof(int16_t));
    }
    return samples;
}
