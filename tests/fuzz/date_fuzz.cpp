// Dates as texts and numbers, and time stamps.
#include "bcl2/date.h"
#include "fuzz/fuzz_checks.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

constexpr uint32_t kMaxDate = 99'999'999; // YYYYMMDD

std::string dateText(uint32_t date)
{
    Cbcl_tmp_str text;
    BclIntToDate(date, text);
    return std::string(text.view());
}

void readDate(const std::string& text)
{
    const uint32_t date = BclDateToInt(text.c_str());
    require(date <= kMaxDate && (date == 0 || dateText(date) == text));
}

void writeDate(uint32_t date)
{
    const std::string text = dateText(date);
    require(text.size() == 10 && BclDateToInt(text.c_str()) == (date <= kMaxDate ? date : 0));
}

void readStamp(Cbcl_timestamp stamp)
{
    Cbcl_tmp_str text;
    BclGetDateTimeStr(stamp, text);
    require(text.empty() || text.getStrLen() == 19);
    require(BclGetWeek(stamp) <= EBCL_SATURDAY);
    // Both tell of the same day.
    if (!text.empty())
        require(dateText(BclGetDateInt(stamp)) == text.view().substr(0, 10));
    else
        (void)BclGetDateInt(stamp);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    readDate(std::string(textOf(data, size)).c_str());
    uint64_t number = 0;
    std::memcpy(&number, data, std::min(size, sizeof number));
    writeDate(static_cast<uint32_t>(number));
    writeDate(static_cast<uint32_t>(number % (kMaxDate + 1)));
    readStamp(static_cast<Cbcl_timestamp>(number));
    readStamp(static_cast<Cbcl_timestamp>(number % 253'402'300'800)); // years of four digits
    return 0;
}
