#include "calls/call_status.h"

#include "bcl2/text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

constexpr size_t kColumns = 6;
using Cells = std::array<std::string, kColumns>;
constexpr const char* kGap = "  ";

const char* stateOf(const Ccdr_record_data& record)
{
    if (record.has(kCdrHasAnswer))
        return "talking";
    return record.has(kCdrHasRing) ? "ringing" : "calling";
}

// "1:02:03", "2:03"
std::string timeText(Cbcl_timestamp seconds)
{
    seconds = std::max<Cbcl_timestamp>(0, seconds);
    std::array<char, 40> text{};
    if (seconds >= 3600)
        std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", static_cast<long long>(seconds / 3600),
                      static_cast<long long>(seconds / 60 % 60), static_cast<long long>(seconds % 60));
    else
        std::snprintf(text.data(), text.size(), "%lld:%02lld", static_cast<long long>(seconds / 60),
                      static_cast<long long>(seconds % 60));
    return text.data();
}

std::string withAddress(const char* number, const char* address)
{
    std::string text = number;
    if (*address != '\0')
        text.append(" (").append(address).append(")");
    return text;
}

// Characters, not bytes, of UTF-8.
size_t widthOf(const std::string& text)
{
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

std::string joined(const Cells& cells, const std::array<size_t, kColumns>& widths)
{
    std::string line;
    for (size_t i = 0; i < kColumns; ++i) {
        line += kGap + cells[i];
        if (i + 1 < kColumns)
            line.append(widths[i] - widthOf(cells[i]), ' ');
    }
    return line;
}

} // namespace

std::vector<std::string> callStatusTable(const std::vector<CallStatusRow>& rows, Cbcl_timestamp now)
{
    if (rows.empty())
        return {};
    std::vector<Cells> table = {{"Call", "State", "Caller", "Dialed", "Called", "Time"}};
    for (const CallStatusRow& row : rows) {
        const Ccdr_record_data& record = *row.record;
        const Cbcl_timestamp since = record.times[record.has(kCdrHasAnswer) ? kCdrAnswer : kCdrStart];
        table.push_back({std::to_string(row.number), stateOf(record), withAddress(record.callerNbr, record.callerAddr),
                         record.dialedNbr, withAddress(record.calledNbr, record.calledAddr), timeText(now - since)});
    }
    std::array<size_t, kColumns> widths{};
    for (const Cells& cells : table)
        for (size_t i = 0; i < kColumns; ++i)
            widths[i] = std::max(widths[i], widthOf(cells[i]));
    std::vector<std::string> lines;
    lines.reserve(table.size());
    for (const Cells& cells : table)
        lines.push_back(joined(cells, widths));
    return lines;
}
