#include "local_users.h"

#include "bcl2/text.h"
#include "tables.h"

#include <array>
#include <sys/random.h>

namespace {

using U = Cdb_usr_info;

constexpr uint32_t kDefaultFlags = kUsrVideo | kUsrCallWaiting | kUsrTransfer | kUsrMessages;
static_assert(kDefaultFlags == 0x804480);
constexpr uint32_t kAllLevels = 0x7e; // bits 1 to 6

constexpr unsigned kPickUpTime = 5; // s: nobody reaches a ringing telephone faster

// Stored order. Run-time state (preAddr, prePort, usrStage) is not here: it lies in tbl_sip_reg, where no typed write
// of a user reaches it.
constexpr std::array kFields = {
    field<&U::usrName>("usrName").key(),
    field<&U::password>("password"),
    field<&U::description>("description"),
    field<&U::dispName>("dispName"),
    field<&U::email>("email"),
    field<&U::flags>("flags").def(kDefaultFlags),
    field<&U::pickupGroup>("pickupGroup"),
    field<&U::callWaitingLimit>("callWaitingLimit").def(1).group(8),
    field<&U::noAnsTime>("noAnsTime"),
    field<&U::extLine>("extLine"),
    field<&U::maxDuration>("maxDuration"),
    field<&U::maxCalls>("maxCalls"),
    field<&U::maxOutCalls>("maxOutCalls"),
    field<&U::dialPlan>("dialPlan").def("default"),
    field<&U::expiryDate>("expiryDate"),
    field<&U::timeCondId>("timeCondId"),
    field<&U::levels>("levels").def(kAllLevels),
    field<&U::maxConfParties>("maxConfParties").def(10),
    field<&U::cfuNbr>("cfuNbr"),
    field<&U::cfncNbr>("cfncNbr"),
    field<&U::cfbNbr>("cfbNbr"),
    field<&U::cfnaNbr>("cfnaNbr"),
    field<&U::followMeType>("followMeType").def(1).group(13),
    field<&U::followMeTime>("followMeTime").def(20).group(13),
    field<&U::followMeNbr1>("followMeNbr1").group(13),
    field<&U::followMeNbr2>("followMeNbr2").group(13),
    field<&U::followMeNbr3>("followMeNbr3").group(13),
    field<&U::ipAddr>("ipAddr"),
    field<&U::ipPort>("ipPort"),
};

} // namespace

const Table& localUsersTable()
{
    static const Table& table = *new Table("tbl_local_users", kFields, Edb_table::LocalUsers);
    return table;
}

template <>
const Table& tableOf<Cdb_usr_info>()
{
    return localUsersTable();
}

void Cdb_usr_info::Init()
{
    resetRecord(*this);
}

void Cdb_usr_info::InitV8()
{
    localUsersTable().initGroup(this, 8);
}

void Cdb_usr_info::InitV13()
{
    localUsersTable().initGroup(this, 13);
}

void Cdb_usr_info::refineNoAnsTimer()
{
    if (noAnsTime > 0 && noAnsTime < kPickUpTime)
        noAnsTime = kPickUpTime;
}

void Cdb_usr_info::restorePreStatus(const Cdb_usr_info& stored)
{
    BclCopyText(preAddr, sizeof preAddr, BclFieldText(stored.preAddr), sizeof preAddr);
    prePort = stored.prePort;
    usrStage = stored.usrStage;
}

std::string randomPassword()
{
    constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    constexpr size_t kLength = 12;
    constexpr unsigned kFair =
        256 / kLetters.size() * kLetters.size(); // above it the first letters would come too often
    std::string password;
    for (int round = 0; round < 100 && password.size() < kLength; ++round) {
        std::array<unsigned char, 32> bytes{};
        if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
            continue;
        for (const unsigned char byte : bytes)
            if (byte < kFair && password.size() < kLength)
                password += kLetters[byte % kLetters.size()];
    }
    return password.size() == kLength ? password : std::string();
}

bool makeUsers(unsigned start, unsigned total, std::string_view password,
               const std::function<bool(const std::string&)>& isTaken, std::vector<Cdb_usr_info>& users)
{
    for (uint64_t number = start; number < uint64_t{start} + total; ++number) {
        const std::string name = std::to_string(number);
        if (isTaken(name))
            continue;
        const std::string secret = password.empty() ? randomPassword() : std::string(password);
        if (secret.empty())
            return false;
        Cdb_usr_info& user = users.emplace_back();
        BclCopyText(user.usrName, sizeof user.usrName, name, sizeof user.usrName);
        BclCopyText(user.password, sizeof user.password, secret, sizeof user.password);
    }
    return true;
}
