#include "identity.h"

#include <sys/random.h>

namespace {

constexpr size_t kIdentityBytes = 16;
constexpr int64_t kTheRow = 1;
constexpr int kMaxTries = 3; // read, made by somebody, read again

constexpr const char* kRead = "select cIdentity from tbl_identity where nRow=?";
constexpr const char* kMake = "insert into tbl_identity (cIdentity, nRow) values (?, ?)";

} // namespace

SqlResult readIdentity(const SqlRun& run, std::string& identity)
{
    SqlResult result;
    for (int i = 0; i < kMaxTries; ++i) {
        SqlRows rows;
        result = run(kRead, {kTheRow}, &rows);
        if (result.isDone() && rows.count() == 1) {
            identity = rows.cells.front();
            return identity.empty() ? SqlResult{SqlStatus::Failed, 0, "the row of tbl_identity is empty"} : result;
        }
        const std::string made = randomDigits(kIdentityBytes);
        if (result.isDone())
            result = run(kMake, {std::string_view(made), kTheRow});
        const bool isToBeRead = result.isDone() || result.status == SqlStatus::Duplicate;
        if (!isToBeRead && result.status != SqlStatus::Conflict)
            return result;
    }
    return {SqlStatus::Failed, 0, "tbl_identity cannot be read: " + result.reason};
}

std::string randomDigits(size_t bytes)
{
    constexpr const char* kDigits = "0123456789abcdef";
    std::string random(bytes, '\0');
    size_t got = 0;
    while (got < bytes)
        if (const ssize_t count = getrandom(random.data() + got, bytes - got, 0); count > 0)
            got += static_cast<size_t>(count);
    std::string digits;
    for (const char c : random) {
        const auto byte = static_cast<unsigned char>(c);
        digits += kDigits[byte >> 4];
        digits += kDigits[byte & 0xf];
    }
    return digits;
}
