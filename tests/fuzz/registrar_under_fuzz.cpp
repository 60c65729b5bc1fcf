#include "fuzz/registrar_under_fuzz.h"

#include "bcl2/text.h"
#include "fuzz/fuzz_checks.h"
#include "registrar/digest_params.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view kPassword = "secret";
constexpr std::string_view kNonceMark = "NONCE";
constexpr std::string_view kResponseMark = "RESPONSE";
constexpr size_t kMaxLine = 1024;     // bytes of a log line
constexpr uint8_t kMaxPriority = 100; // percent

void replace(std::string& text, std::string_view mark, std::string_view value)
{
    if (const size_t at = text.find(mark); at != std::string::npos)
        text.replace(at, mark.size(), value);
}

bool isOneWord(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c > ' ' && c != 0x7f; });
}

// A line of an answer can be made of it.
bool isOneLine(std::string_view text)
{
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

std::string nonceOf(const RegisterReply& challenge)
{
    static constexpr std::string_view kBegin = "nonce=\"";
    require(challenge.status == 401 && !challenge.challenges.empty());
    const std::string& text = challenge.challenges.front();
    const size_t start = text.find(kBegin) + kBegin.size();
    return text.substr(start, text.find('"', start) - start);
}

void checkReply(const RegisterReply& reply)
{
    require(reply.status >= 200 && reply.status <= 699);
    require(isOneLine(reply.phrase) && (reply.status == 401) == !reply.challenges.empty());
    require(std::all_of(reply.challenges.begin(), reply.challenges.end(), isOneLine));
    require(reply.contacts.size() <= kMaxContacts && (reply.status == 200 || reply.contacts.empty()));
    for (const RegisterReply::Contact& contact : reply.contacts) {
        require(isOneWord(contact.uri) && contact.uri.size() <= kMaxContactUri);
        require(contact.expires <= Registrar::kMaxExpires && contact.priority <= kMaxPriority);
    }
}

} // namespace

RegistrarUnderFuzz::RegistrarUnderFuzz()
{
    Snapshot<Cdb_usr_info>::Builder users(nullptr);
    for (const auto& [name, password] :
         {std::pair("1000", kPassword), std::pair("watson", kPassword), std::pair("1001", std::string_view())}) {
        Cdb_usr_info record;
        BclCopyStr(record.usrName, name);
        BclCopyText(record.password, sizeof record.password, password, sizeof record.password - 1);
        users.set(name, record);
    }
    _users.put(users.finish());
    _system.put(std::make_shared<const Cdb_sys_data>());
    reset();
}

void RegistrarUnderFuzz::reset()
{
    _registrar =
        std::make_unique<Registrar>(_users, _system, _clock, [this](UserChange&& change) { checkChange(change); });
    _registrar->load({});
}

void RegistrarUnderFuzz::checkChange(const UserChange& change) const
{
    for (const std::string& line : change.lines)
        require(line.size() <= kMaxLine && BclPrintable(line, kMaxLine) == line);
    const Cdb_user_bindings& stored = change.stored;
    require(stored.userName.empty() || _users.get()->find(stored.userName) != nullptr);
    require(stored.contacts.size() <= kMaxContacts);
    require(BclIsUtf8(BclFieldText(stored.row.userAgent)));
    for (const Cdb_sip_contact& contact : stored.contacts) {
        require(BclFieldText(contact.userName) == stored.userName && isOneWord(BclFieldText(contact.contact)));
        require(BclIsUtf8(BclFieldText(contact.userAgent)) && contact.priority <= kMaxPriority);
        require(contact.expiresAt - contact.registeredAt <= int64_t{Registrar::kMaxExpires});
    }
}

std::string RegistrarUnderFuzz::signedText(const RegisterRequest& request, const std::string& text)
{
    std::string result = text;
    RegisterRequest bare = request;
    bare.authorizations.clear();
    replace(result, kNonceMark, nonceOf(_registrar->handle(bare)));
    DigestParams params;
    const std::string header = result;
    if (parseDigestParams(header, params) != DigestParse::Ok || !params.username || !params.realm || !params.nonce ||
        !params.uri || !params.nc || !params.cnonce)
        return result;
    const auto algorithm = digestAlgorithmOf(params.algorithm.value_or("MD5"));
    if (algorithm) {
        const auto response = _hasher.response(*algorithm, *params.username, *params.realm, kPassword,
                                               {"REGISTER", *params.uri, *params.nonce, *params.nc, *params.cnonce});
        replace(result, kResponseMark, response.view());
    }
    return result;
}

RegisterReply RegistrarUnderFuzz::handle(RegisterRequest request)
{
    for (std::string& text : request.authorizations)
        if (text.find(kNonceMark) != std::string::npos)
            text = signedText(request, text);
    RegisterReply reply = _registrar->handle(request);
    checkReply(reply);
    // The same again is a retransmission.
    require(_registrar->handle(request).status == reply.status || reply.status == 401);
    return reply;
}
