// Messages in a stream: the same ones come out however the bytes come in, and the bounds hold.
#include "fuzz/fuzz_checks.h"
#include "streams/message_framer.h"

#include <string>
#include <vector>

namespace {

using Result = MessageFramer::Result;

struct Framed {
    std::vector<std::string> messages;
    size_t pings = 0;
    bool isBroken = false;

    friend bool operator==(const Framed& a, const Framed& b)
    {
        return a.messages == b.messages && a.isBroken == b.isBroken;
    }
};

// True while it goes on.
bool drain(MessageFramer& framer, Framed& framed, size_t fed)
{
    // Each result takes bytes away.
    for (size_t i = 0; i <= fed; ++i) {
        std::string message;
        switch (framer.next(message)) {
        case Result::NeedsMore:
            return true;
        case Result::Message:
            require(!message.empty() && message.size() <= MessageFramer::kMaxMessageBytes);
            framed.messages.push_back(std::move(message));
            break;
        case Result::Ping:
            ++framed.pings;
            break;
        case Result::Broken:
            framed.isBroken = true;
            return false;
        }
    }
    std::abort();
}

Framed framedInPieces(std::string_view bytes, size_t piece)
{
    MessageFramer framer;
    Framed framed;
    for (size_t at = 0; at < bytes.size(); at += piece) {
        framer.add(bytes.substr(at, piece));
        if (!drain(framer, framed, bytes.size() + 1))
            break;
    }
    return framed;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view bytes = textOf(data, size);
    const Framed whole = framedInPieces(bytes, size == 0 ? 1 : size);
    for (const size_t piece : {size_t{1}, size_t{2}, size_t{7}, size_t{100}})
        require(framedInPieces(bytes, piece) == whole);
    return 0;
}
