#include "server_log.h"

#include "callserver/event_ids.h"

#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "bcl2/tmp_str.h"

#include <cstdarg>
#include <string>

void ServerLog(const char* format, ...)
{
    Cbcl_tmp_str text;
    va_list args;
    va_start(args, format);
    text.vappend(format, args);
    va_end(args);
    const std::string line = BclPrintable(text.view());
    BclPubEvent(kEvtLog, line.c_str(), nullptr);
}
