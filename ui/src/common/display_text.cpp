#include "common/display_text.h"

#include "common/lang_res.h"
#include "common/translations.h"

#include <array>

namespace {

constexpr std::array<int, 7> kDayItems = {424, 418, 419, 420, 421, 422, 423}; // from Sunday on

const QString kUnknown = QStringLiteral("Unknown");

} // namespace

QString GetBoolString(unsigned char value)
{
    return GetLangItem(value == 1 ? 69 : 70);
}

QString GetWeekStr(Ebcl_week day)
{
    return day < kDayItems.size() ? GetLangItem(kDayItems.at(day)) : MessageText(kUnknown);
}

QString GetDPString(int point)
{
    switch (point) {
    case 2:
        return GetLangItem(369);
    case 3:
        return GetLangItem(370);
    default:
        return {};
    }
}

QString actionToStr(unsigned char action)
{
    switch (action) {
    case 0:
        return GetLangItem(447);
    case 1:
        return GetLangItem(446);
    default:
        return MessageText(kUnknown);
    }
}

QString GetTransitionText(uint32_t transitionId)
{
    return transitionId == 0 ? MessageText(QStringLiteral("no change")) : QString::number(transitionId);
}
