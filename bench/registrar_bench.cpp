// What the registrar's decision costs, without sockets and the stack: the challenge of a REGISTER without credentials
// and the refresh that follows it, for 10,000 registered users in turn.
#include "registrar/digest.h"
#include "registrar/registrar.h"

#include "bcl2/text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kUsers = 10'000;
constexpr size_t kBatch = 1'000; // requests that are timed together, so that reading the clock costs nothing
constexpr size_t kRounds = 11;   // the median of them is told; the first registers everybody and does not count

using Seconds = std::chrono::duration<double>;

std::string valueOf(const std::string& challenge, const std::string& name)
{
    const size_t start = challenge.find(name + "=\"") + name.size() + 2;
    return challenge.substr(start, challenge.find('"', start) - start);
}

std::string credentials(DigestHasher& hasher, const RegisterRequest& request, const std::string& challenge)
{
    const std::string nonce = valueOf(challenge, "nonce");
    const std::string realm = valueOf(challenge, "realm");
    const HexDigest response = hasher.response(DigestAlgorithm::Md5, request.user, realm, "p" + request.user,
                                               {"REGISTER", request.requestUri, nonce, "00000001", "5f1b2c3d"});
    return "Digest username=\"" + request.user + "\",realm=\"" + realm + "\",nonce=\"" + nonce + "\",uri=\"" +
           request.requestUri + "\",response=\"" + std::string(response.view()) +
           "\",algorithm=MD5,cnonce=\"5f1b2c3d\",qop=auth," + "nc=00000001";
}

// The resident memory of this process in bytes.
size_t residentBytes()
{
    size_t pages = 0;
    size_t resident = 0;
    if (std::FILE* file = std::fopen("/proc/self/statm", "r"); file != nullptr) {
        if (std::fscanf(file, "%zu %zu", &pages, &resident) != 2)
            resident = 0;
        std::fclose(file);
    }
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// A registrar with its users, and the telephones that use it.
class Office {
public:
    Office()
    {
        Snapshot<Cdb_usr_info>::Builder builder(nullptr);
        for (size_t i = 0; i < kUsers; ++i) {
            const std::string name = std::string("u").append(std::to_string(i));
            Cdb_usr_info record;
            BclCopyStr(record.usrName, name.c_str());
            BclCopyStr(record.password, ("p" + name).c_str());
            builder.set(name, record);
        }
        _users.put(builder.finish());
        _system.put(std::make_shared<const Cdb_sys_data>());
        for (size_t i = 0; i < kUsers; ++i)
            _requests.push_back(request(i));
    }

    // Mean times of a challenge and of what follows it, in seconds.
    struct Times {
        double challenge;
        double refresh;
    };
    Times round()
    {
        Times sum{};
        for (size_t first = 0; first < kUsers; first += kBatch)
            batch(first, sum);
        return {sum.challenge / kUsers, sum.refresh / kUsers};
    }
    // Seconds that the next start takes for what is stored of these users.
    double load() const
    {
        std::vector<Cdb_user_bindings> stored;
        for (const RegisterRequest& asked : _requests)
            stored.push_back(storedOf(asked));
        Registrar next(_users, _system, _clock, [](UserChange&&) {});
        const auto start = std::chrono::steady_clock::now();
        next.load(stored);
        return Seconds(std::chrono::steady_clock::now() - start).count();
    }
    [[nodiscard]] size_t changes() const { return _changes; }

private:
    static RegisterRequest request(size_t i)
    {
        const std::string name = std::string("u").append(std::to_string(i));
        const std::string address =
            std::string("10.0.").append(std::to_string(i / 250)).append(".").append(std::to_string(i % 250 + 1));
        RegisterRequest result;
        result.source = {address, 5060, 0};
        result.requestUri = "sip:192.0.2.1:5060";
        result.user = name;
        result.callId = "5e7c4a1b-" + name + "@" + address;
        RegisterContact& contact = result.contacts.emplace_back();
        contact.uri = makeContactUri("sip:" + name + "@" + address + ":5060");
        result.expires = 3600;
        result.userAgent = "example phone 1.0";
        return result;
    }
    void batch(size_t first, Times& sum)
    {
        std::vector<RegisterReply> replies(kBatch);
        for (size_t i = 0; i < kBatch; ++i) {
            ++_requests[first + i].cseq;
            _requests[first + i].authorizations.clear();
        }
        const auto start = std::chrono::steady_clock::now();
        for (size_t i = 0; i < kBatch; ++i)
            replies[i] = _registrar.handle(_requests[first + i]);
        sum.challenge += Seconds(std::chrono::steady_clock::now() - start).count();
        for (size_t i = 0; i < kBatch; ++i) {
            RegisterRequest& asked = _requests[first + i];
            ++asked.cseq;
            asked.authorizations = {credentials(_hasher, asked, replies[i].challenges.at(0))};
        }
        const auto next = std::chrono::steady_clock::now();
        for (size_t i = 0; i < kBatch; ++i)
            replies[i] = _registrar.handle(_requests[first + i]);
        sum.refresh += Seconds(std::chrono::steady_clock::now() - next).count();
        for (const RegisterReply& reply : replies)
            if (reply.status != 200)
                std::printf("A registration was answered %d.\n", reply.status);
    }
    [[nodiscard]] Cdb_user_bindings storedOf(const RegisterRequest& asked) const
    {
        Cdb_user_bindings result;
        result.userName = asked.user;
        result.hasRow = true;
        BclCopyStr(result.row.userName, asked.user.c_str());
        BclCopyStr(result.row.preAddr, asked.source.address.c_str());
        BclCopyStr(result.row.userAgent, asked.userAgent.c_str());
        result.row.prePort = asked.source.port;
        result.row.usrStage = kUsrIdle;
        Cdb_sip_contact& contact = result.contacts.emplace_back();
        BclCopyStr(contact.userName, asked.user.c_str());
        BclCopyStr(contact.contact, asked.contacts.at(0).uri.text.c_str());
        BclCopyStr(contact.callId, asked.callId.c_str());
        BclCopyStr(contact.srcAddr, asked.source.address.c_str());
        BclCopyStr(contact.userAgent, asked.userAgent.c_str());
        contact.srcPort = asked.source.port;
        contact.registeredAt = _clock.wallSeconds();
        contact.expiresAt = contact.registeredAt + Registrar::kMaxExpires;
        return result;
    }

    SystemClock _clock;
    SnapshotBox<Snapshot<Cdb_usr_info>> _users;
    SnapshotBox<Cdb_sys_data> _system;
    Registrar _registrar{_users, _system, _clock, [this](UserChange&&) { ++_changes; }};
    DigestHasher _hasher;
    std::vector<RegisterRequest> _requests;
    size_t _changes = 0;
};

} // namespace

int main()
{
    Office office;
    const size_t before = residentBytes();
    office.round();
    std::printf("memory of a registered user: %.2f kB\n",
                static_cast<double>(residentBytes() - before) / kUsers / 1000.0);
    std::vector<double> challenges;
    std::vector<double> refreshes;
    for (size_t i = 0; i < kRounds; ++i) {
        const Office::Times times = office.round();
        challenges.push_back(times.challenge * 1e6);
        refreshes.push_back(times.refresh * 1e6);
    }
    std::printf("challenge %.2f us, authenticated refresh %.2f us, together %.2f us (medians of %zu)\n",
                median(challenges), median(refreshes), median(challenges) + median(refreshes), kRounds);
    std::printf("the same after %zu more registrations of each: %.2f kB\n", kRounds,
                static_cast<double>(residentBytes() - before) / kUsers / 1000.0);
    std::printf("changes told to the store: %zu of %zu registrations\n", office.changes(), kUsers * (kRounds + 1));
    const double load = office.load();
    std::printf("taking over %zu stored users at a start: %.1f ms\n", kUsers, load * 1e3);
    return 0;
}
