// The messages of tests/data/torture: those of RFC 4475 and RFC 5118, and more of their kind.
#pragma once

#include <string>
#include <vector>

// One answer: the statuses that it may have.
using ExpectedAnswer = std::vector<int>;

struct TortureMessage {
    std::string folder; // the document that it is from
    std::string name;
    std::string section; // RFC and section
    bool isValid = false;
    std::vector<ExpectedAnswer> datagram; // what comes back over UDP, in order; empty: silence
    std::vector<ExpectedAnswer> stream;   // the same over a connection that the sender ends
    std::string reason;
    std::string bytes;

    // The value of a header, unfolded lines not put together; empty when it is not there.
    [[nodiscard]] std::string header(const std::string& name, const std::string& shortName) const;
};

// Reads them as expected.tsv there lists them; throws what is wrong with a file.
[[nodiscard]] std::vector<TortureMessage> tortureMessages(const std::string& folder);
[[nodiscard]] TortureMessage tortureMessage(const std::string& folder, const std::string& name);
