#include "sip/ip_list.h"

#include "bcl2/text.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>
#include <tuple>

namespace {

constexpr uint32_t kAllowAction = 1;
constexpr unsigned kByteBits = 8;
constexpr unsigned kMappedBits = kMappedPrefix * kByteBits;

struct Network {
    IpAddress first;
    unsigned bits = 0;
    IpVerdict verdict = IpVerdict::None;
};

// Nothing: it is no number.
std::optional<unsigned> numberOf(std::string_view text)
{
    unsigned number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

void clearBehind(IpAddress& address, unsigned bits)
{
    for (size_t i = bits / kByteBits; i < address.bytes.size(); ++i) {
        const unsigned kept = i == bits / kByteBits ? bits % kByteBits : 0;
        address.bytes[i] &= static_cast<uint8_t>(0xff00U >> kept);
    }
}

// "192.0.2.1", "2001:db8::/32"; blanks around it are nothing.
std::optional<Network> networkOf(std::string_view text)
{
    text = BclTrimmed(text);
    const size_t slash = text.find('/');
    const std::string_view literal = text.substr(0, slash);
    Network network{ipAddress(literal)};
    const unsigned most = ipBits(network.first.family);
    if (most == 0)
        return std::nullopt;
    network.bits = most;
    if (slash != std::string_view::npos) {
        std::optional<unsigned> bits = numberOf(text.substr(slash + 1));
        // Those of a mapped address are counted as it is written.
        if (bits && network.first.family == IpAddress::kV4 && literal.find(':') != std::string_view::npos)
            bits = *bits < kMappedBits ? std::nullopt : std::optional(*bits - kMappedBits);
        if (!bits || *bits > most)
            return std::nullopt;
        network.bits = *bits;
    }
    clearBehind(network.first, network.bits);
    return network;
}

// The first address behind it. Behind the last one of a family the next family begins.
IpAddress endOf(const Network& network)
{
    IpAddress end = network.first;
    if (network.bits == 0) {
        ++end.family;
        return end;
    }
    unsigned carry = 1U << (kByteBits - 1 - (network.bits - 1) % kByteBits);
    for (size_t i = (network.bits - 1) / kByteBits + 1; i-- > 0 && carry != 0;) {
        const unsigned sum = end.bytes[i] + carry;
        end.bytes[i] = static_cast<uint8_t>(sum);
        carry = sum >> kByteBits;
    }
    end.family = static_cast<uint8_t>(end.family + carry);
    return end;
}

// A network stands before those in it.
bool isBefore(const Network& a, const Network& b)
{
    return std::tie(a.first, a.bits, a.verdict) < std::tie(b.first, b.bits, b.verdict);
}

bool isSame(const Network& a, const Network& b)
{
    return a.first == b.first && a.bits == b.bits;
}

} // namespace

IpList::IpList(const Snapshot<Cdb_ip_bwlist>& entries)
{
    std::vector<Network> networks;
    networks.reserve(entries.size());
    entries.forEach([&](const std::string& /*key*/, const Cdb_ip_bwlist& entry) {
        const std::string_view text = BclFieldText(entry.ipAddr);
        std::optional<Network> network = networkOf(text);
        if (!network) {
            _unreadable.emplace_back(text);
            return;
        }
        network->verdict = entry.action == kAllowAction ? IpVerdict::Allow : IpVerdict::Deny;
        networks.push_back(*network);
    });
    std::sort(_unreadable.begin(), _unreadable.end());
    std::sort(networks.begin(), networks.end(), isBefore);
    networks.erase(std::unique(networks.begin(), networks.end(), isSame), networks.end());

    // Two networks lie in each other or apart. Those that are open hold the one that is being looked at.
    std::vector<Network> open;
    const auto close = [&] {
        const IpAddress end = endOf(open.back());
        open.pop_back();
        begin(end, open.empty() ? IpVerdict::None : open.back().verdict);
    };
    for (const Network& network : networks) {
        while (!open.empty() && endOf(open.back()) <= network.first)
            close();
        begin(network.first, network.verdict);
        open.push_back(network);
    }
    while (!open.empty())
        close();
    _ranges.shrink_to_fit();
}

void IpList::begin(const IpAddress& first, IpVerdict verdict)
{
    if (!_ranges.empty() && _ranges.back().first == first)
        _ranges.back().verdict = verdict;
    else
        _ranges.push_back({first, verdict});
}

IpVerdict IpList::of(const IpAddress& address) const
{
    if (_ranges.empty())
        return IpVerdict::None;
    const auto behind = std::upper_bound(_ranges.begin(), _ranges.end(), address,
                                         [](const IpAddress& a, const Range& range) { return a < range.first; });
    return behind == _ranges.begin() ? IpVerdict::None : std::prev(behind)->verdict;
}
