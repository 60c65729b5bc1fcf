// Call analysis over tables and calls that the input makes: it ends, nobody leaves who may not, no line or trunk is
// tried twice, and the longest prefix is the one that a search of all rules finds.
#include "bcl2/text.h"
#include "dialplan/dial_plan.h"
#include "dialplan/prefix_match.h"
#include "fuzz/fuzz_checks.h"
#include "fuzz/input_bytes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <set>
#include <string>
#include <string_view>

namespace {

constexpr size_t kMaxSteps = 300; // far above what these tables can give

class Choices : public InputBytes {
public:
    using InputBytes::InputBytes;

    // Few characters, so that numbers and rules often meet.
    std::string number(unsigned longest = 4)
    {
        constexpr std::array<std::string_view, 10> kCharacters = {"0", "1", "2", "1",        "0",
                                                                  "*", ".", "a", "\xc3\xa4", "\x1f"};
        std::string text;
        for (unsigned count = upTo(longest); count > 0; --count)
            text += kCharacters.at(upTo(kCharacters.size() - 1));
        return text;
    }
    // As keys are: without control characters and not empty.
    std::string key()
    {
        std::string text = number();
        std::erase(text, kDbKeySeparator);
        return text.empty() ? "." : text;
    }
    std::string plan() { return upTo(3) == 0 ? "other" : "default"; }
    std::string line() { return {static_cast<char>('a' + upTo(3))}; }
};

class FuzzedCounts final : public CallCounts {
public:
    explicit FuzzedCounts(Choices& choices)
    {
        for (unsigned& count : _counts)
            count = choices.upTo(2);
    }
    [[nodiscard]] unsigned ofUser(const std::string& user) const override { return at(user.size()); }
    [[nodiscard]] unsigned madeByUser(const std::string& user) const override { return at(user.size() + 1); }
    [[nodiscard]] unsigned ofLine(const std::string& line) const override { return at(lineNumber(line)); }
    [[nodiscard]] unsigned madeOverLine(const std::string& line) const override { return at(lineNumber(line) + 1); }
    [[nodiscard]] unsigned toPeer(uint32_t peerId) const override { return at(peerId); }
    [[nodiscard]] unsigned fromPeer(uint32_t peerId) const override { return at(peerId + 1); }
    [[nodiscard]] bool isLineOn(const std::string& line) const override { return at(lineNumber(line) + 2) != 2; }

private:
    static size_t lineNumber(const std::string& line) { return static_cast<size_t>(line.at(0) - 'a'); }
    [[nodiscard]] unsigned at(size_t index) const { return _counts.at(index % _counts.size()); }

    std::array<unsigned, 5> _counts{};
};

// Records are put in one after another, as the input says.
class FuzzedTables {
public:
    explicit FuzzedTables(Choices& choices) : _choices(choices)
    {
        for (unsigned count = choices.upTo(31); count > 0 && choices.areLeft(); --count)
            add();
        Cdb_sys_data system;
        system.callFlags = static_cast<uint8_t>(choices.upTo(127));
        system.defaultRoute = static_cast<uint8_t>(choices.upTo(1));
        tables.setSystem(std::make_shared<const Cdb_sys_data>(system));
        tables.setEmergencyNumbers("11,0");
        tables.setLuaNumbersExact(choices.upTo(1) == 1);
    }

    DialPlanTables tables;

private:
    template <class Record>
    void put(const std::string& key, const Record& record)
    {
        typename Snapshot<Record>::Builder builder(tables.newest<Record>());
        builder.set(key, record);
        tables.set<Record>(builder.finish());
    }
    void add()
    {
        switch (_choices.upTo(11)) {
        case 0:
            return addUser();
        case 1:
            return addLine();
        case 2:
            return addPeer();
        case 3:
            return addRoute();
        case 4:
            return addTransition();
        case 5:
            return addCallerRule();
        case 6:
            return addRefinements();
        case 7:
            return addTimeCondition();
        case 8:
            return addServices();
        case 9:
            return addBlackItem();
        default:
            return addCalledRule();
        }
    }
    void addUser()
    {
        Cdb_usr_info record;
        BclCopyStr(record.usrName, _choices.key().c_str());
        BclCopyStr(record.dialPlan, _choices.plan().c_str());
        record.levels = Cbcl_bit_set(_choices.upTo(127));
        record.maxCalls = static_cast<int>(_choices.upTo(3));
        record.maxOutCalls = static_cast<int>(_choices.upTo(3));
        record.timeCondId = _choices.upTo(2);
        record.maxDuration = static_cast<int>(_choices.upTo(3));
        if (_choices.upTo(1) == 1)
            BclCopyStr(record.extLine, _choices.line().c_str());
        put(record.usrName, record);
    }
    void addLine()
    {
        Cdb_ext_line_info record;
        BclCopyStr(record.extName, _choices.line().c_str());
        BclCopyStr(record.nextLine, _choices.line().c_str());
        record.maxCalls = static_cast<int>(_choices.upTo(3));
        record.timeCondId = _choices.upTo(2);
        record.cldRefineGroup = _choices.upTo(2);
        record.flags = _choices.upTo(7);
        if (_choices.upTo(1) == 1)
            BclCopyStr(record.destination, _choices.key().c_str());
        put(record.extName, record);
    }
    void addPeer()
    {
        Cdb_peer_server record;
        record.sid = 1 + _choices.upTo(3);
        record.backupSid = _choices.upTo(4);
        record.maxOutCalls = static_cast<uint16_t>(_choices.upTo(3));
        record.maxInCalls = static_cast<uint16_t>(_choices.upTo(3));
        record.timeCondId = _choices.upTo(2);
        record.cldRefineGroup = _choices.upTo(2);
        BclCopyStr(record.outCallerNbr, _choices.number().c_str());
        BclCopyStr(record.dialPlan, _choices.plan().c_str());
        put(std::to_string(record.sid), record);
    }
    void addRoute()
    {
        Cdb_route record;
        record.groupID = 1 + _choices.upTo(1);
        record.routeType = static_cast<uint8_t>(_choices.upTo(3));
        record.peerServerId = _choices.upTo(4);
        record.extLine.SetNbr(_choices.line().c_str());
        put(std::to_string(_choices.upTo(255)), record);
    }
    void addTransition()
    {
        Cdb_nbr_trans_data record;
        record.transid = 1 + _choices.upTo(3);
        record.type = _choices.upTo(4);
        record.startPos = _choices.upTo(5);
        record.length = _choices.upTo(5);
        BclCopyStr(record.digits, _choices.number().c_str());
        put(std::to_string(record.transid), record);
    }
    void addCallerRule()
    {
        Cdb_nbr_clr_ana_data record;
        BclCopyStr(record.callerPrefix, _choices.key().c_str());
        BclCopyStr(record.dialPlan, _choices.upTo(1) == 1 ? "" : "other");
        record.transId = _choices.upTo(5);
        put(record.callerPrefix, record);
    }
    void addRefinements()
    {
        const std::string before = std::to_string(1 + _choices.upTo(1)) + kDbKeySeparator;
        Cdb_nbr_clr_refine_data caller;
        BclCopyStr(caller.callerPrefix, _choices.key().c_str());
        caller.transId = _choices.upTo(5);
        put(before + caller.callerPrefix, caller);
        Cdb_nbr_cld_refine called;
        called.transId = _choices.upTo(5);
        put(before, called);
    }
    void addTimeCondition()
    {
        Cdb_time_cond record;
        record.startHour = static_cast<uint8_t>(_choices.upTo(255));
        record.endHour = static_cast<uint8_t>(_choices.upTo(255));
        record.startMinute = static_cast<uint8_t>(_choices.upTo(255));
        record.endMinute = static_cast<uint8_t>(_choices.upTo(255));
        record.weekdays = static_cast<uint8_t>(_choices.upTo(255));
        put("1", record);
    }
    void addServices()
    {
        const std::string before = _choices.plan() + kDbKeySeparator;
        Cdb_hunting_group_detect_data hunting;
        BclCopyStr(hunting.calledNbr, _choices.key().c_str());
        put(before + hunting.calledNbr, hunting);
        put(before + _choices.key(), Cdb_rg_detection());
        put("2" + std::string(1, kDbKeySeparator) + before + _choices.key(), Cdb_lua_trigger());
        Cdb_speed_dial_data speedDial;
        speedDial.destination.SetNbr(_choices.number().c_str());
        put("." + std::string(1, kDbKeySeparator) + _choices.key(), speedDial);
        Cdb_clr_rewriting_info rewriting;
        rewriting.isAnonymous = static_cast<uint8_t>(_choices.upTo(1));
        put(_choices.key(), rewriting);
    }
    void addBlackItem()
    {
        Cdb_sys_black_item record;
        BclCopyStr(record.callerNbr, _choices.key().c_str());
        BclCopyStr(record.calledNbr, _choices.key().c_str());
        record.code = static_cast<int>(_choices.upTo(7)) * 100;
        put(std::string(record.callerNbr) + kDbKeySeparator + record.calledNbr, record);
    }
    void addCalledRule()
    {
        Cdb_nbr_cld_ana_data record;
        BclCopyStr(record.calledPrefix, _choices.key().c_str());
        BclCopyStr(record.dialPlan, _choices.plan().c_str());
        record.routeType = _choices.upTo(7);
        record.peerServerId = _choices.upTo(4);
        record.rtGroupId = _choices.upTo(2);
        record.calledChanged = _choices.upTo(1);
        record.transId = _choices.upTo(5);
        record.transOption = _choices.upTo(1);
        record.level = _choices.upTo(7);
        record.clrRefineGroup = _choices.upTo(2);
        if (_choices.upTo(1) == 1)
            BclCopyStr(record.extLine, _choices.line().c_str());
        put(std::string(record.calledPrefix) + kDbKeySeparator + record.dialPlan, record);
    }

    Choices& _choices;
};

CallRequest makeRequest(Choices& choices)
{
    CallRequest request;
    request.source.kind = static_cast<SourceKind>(choices.upTo(3));
    request.source.name = request.source.kind == SourceKind::Line ? choices.line() : choices.number();
    request.source.peerId = choices.upTo(4);
    request.caller = request.source.kind == SourceKind::User ? request.source.name : choices.number(40);
    request.dialed = choices.number(40);
    request.toUser = choices.number();
    return request;
}

void checkPrefix(const DialPlanTables& tables, const std::string& number)
{
    const auto& rules = tables.rows<Cdb_nbr_cld_ana_data>();
    const auto rank = [](std::string_view prefix) {
        return prefix == kAnyNumber ? -1 : static_cast<int>(prefix.size());
    };
    const Cdb_nbr_cld_ana_data* best = nullptr;
    rules.forEach([&](const std::string&, const Cdb_nbr_cld_ana_data& rule) {
        const std::string_view prefix = BclFieldText(rule.calledPrefix);
        if (BclFieldText(rule.dialPlan) == "default" && (prefix == kAnyNumber || number.starts_with(prefix)) &&
            (best == nullptr || rank(prefix) > rank(BclFieldText(best->calledPrefix))))
            best = &rule;
    });
    require(findLongestPrefix(rules, number, {}, std::string(1, kDbKeySeparator) + "default").get() == best);
}

void checkAnswer(const DialPlanTables& tables, const CallRequest& request, const DialAnswer& answer)
{
    const bool isRefused = answer.status != 0;
    require(isRefused == answer.targets.empty() && isRefused == !answer.reason.empty());
    require(!isRefused || (answer.status >= 400 && answer.status <= 699));
    require(!answer.mayAnnounce || isRefused);
    const bool mayLeave = request.source.kind == SourceKind::User || (request.source.kind != SourceKind::Unknown &&
                                                                      (tables.system().callFlags & kSysTransit) != 0);
    std::set<std::string> lines;
    std::set<uint32_t> peers;
    for (const DialTarget& target : answer.targets) {
        const bool isLine = target.kind == DialTarget::Kind::Line;
        const bool isTrunk = target.kind == DialTarget::Kind::Trunk;
        require(mayLeave || (!isLine && !isTrunk));
        require(!isLine || lines.insert(target.name).second);
        require(!isTrunk || peers.insert(target.peerId).second);
    }
    require(!answer.steps.empty() && answer.steps.size() <= kMaxSteps);
    for (const DialStep& step : answer.steps)
        require(!step.text.empty() && BclPrintable(step.text) == step.text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Choices choices(data, size);
    const CallRequest request = makeRequest(choices);
    const FuzzedCounts counts(choices);
    const Cbcl_timestamp now = 1'767'225'600 + Cbcl_timestamp{choices.upTo(255)} * 3600;
    const FuzzedTables fuzzed(choices);

    const DialAnswer answer = analyzeCall(fuzzed.tables, request, counts, now);
    checkAnswer(fuzzed.tables, request, answer);
    checkPrefix(fuzzed.tables, request.dialed);
    const DialAnswer again = analyzeCall(fuzzed.tables, request, counts, now);
    require(again.status == answer.status && again.steps.size() == answer.steps.size() &&
            again.targets.size() == answer.targets.size());
    return 0;
}
