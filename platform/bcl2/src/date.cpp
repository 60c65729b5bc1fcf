#include "bcl2/date.h"

#include <cstddef>
#include <ctime>

namespace {

constexpr uint32_t kLastDate = 99999999; // eight digits
constexpr int kFirstYear = 1000;
constexpr int kLastYear = 9999;

// False when the calendar has no such moment.
bool toLocal(Cbcl_timestamp stamp, tm& out)
{
    const time_t seconds = stamp;
    return localtime_r(&seconds, &out) != nullptr;
}

// As toLocal, and the year has four digits.
bool toShownLocal(Cbcl_timestamp stamp, tm& out)
{
    return toLocal(stamp, out) && out.tm_year >= kFirstYear - 1900 && out.tm_year <= kLastYear - 1900;
}

} // namespace

Cbcl_timestamp BclGetCurrTimestamp()
{
    return std::time(nullptr);
}

void BclGetDateTimeStr(Cbcl_timestamp stamp, Cbcl_tmp_str& out)
{
    tm local{};
    if (!toShownLocal(stamp, local)) {
        out.clear();
        return;
    }
    out.set("%04d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
            local.tm_min, local.tm_sec);
}

Ebcl_week BclGetWeek(Cbcl_timestamp stamp)
{
    tm local{};
    return toLocal(stamp, local) ? static_cast<Ebcl_week>(local.tm_wday) : EBCL_SUNDAY;
}

uint32_t BclGetDateInt(Cbcl_timestamp stamp)
{
    tm local{};
    if (!toShownLocal(stamp, local))
        return 0;
    return static_cast<uint32_t>((local.tm_year + 1900) * 10000 + (local.tm_mon + 1) * 100 + local.tm_mday);
}

uint32_t BclDateToInt(const char* text)
{
    constexpr char kForm[] = "dddd-dd-dd"; // with its NUL, so that a longer text does not fit
    if (text == nullptr)
        return 0;
    uint32_t date = 0;
    for (size_t i = 0; i < sizeof kForm; ++i) {
        const char c = text[i];
        if (kForm[i] == 'd' && c >= '0' && c <= '9')
            date = date * 10 + static_cast<uint32_t>(c - '0');
        else if (c != kForm[i] || c == 'd')
            return 0;
    }
    return date;
}

void BclIntToDate(uint32_t date, Cbcl_tmp_str& out)
{
    const uint32_t shown = date > kLastDate ? 0 : date;
    out.set("%04u-%02u-%02u", shown / 10000, shown / 100 % 100, shown % 100);
}
