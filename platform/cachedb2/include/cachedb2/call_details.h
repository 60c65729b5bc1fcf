// Finished calls on disk: cdr.db in the data folder.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <type_traits>

// One leg of a call that has ended.
struct Cdb_call_detail {
    Cdb_call_detail() { Init(); }
    void Init();

    int64_t id;        // key: counts over all runs of the server, given by the file
    int64_t startTime; // seconds since 1970, like the three that follow; 0: did not come to it
    int64_t ringTime;
    int64_t answerTime;
    int64_t endTime;
    int32_t recordId; // from 1 in each run of the server, as callId
    int32_t callId;   // shared by all legs of one call
    int32_t peerServerId;
    uint32_t releaseCode;
    uint32_t flags; // as in the record of the live window
    uint32_t duration;
    char callerNbr[33];
    char dialedNbr[33];
    char calledNbr[33];
    char extLine[33];
    char calledAddr[65];
    char callerAddr[65];
    char fci[142];
    char unused[4]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_call_detail>, "padding would break byte comparison");

// The file, opened at the first write. A damaged, foreign or newer one is renamed and a new one begun, with a log line,
// also when the damage shows later. One thread at a time.
class Cdb_call_details {
public:
    explicit Cdb_call_details(std::string path);
    ~Cdb_call_details();
    Cdb_call_details(const Cdb_call_details&) = delete;
    Cdb_call_details& operator=(const Cdb_call_details&) = delete;

    // Appends the records in one transaction and sets their ids. True: they are on disk. Else `reason` says why none of
    // them is, and the same ones can be given again: they are never stored twice.
    [[nodiscard]] bool add(std::span<Cdb_call_detail> records, std::string& reason);

private:
    [[nodiscard]] bool open(std::string& reason);
    [[nodiscard]] bool write(std::span<Cdb_call_detail> records);

    struct File;
    const std::string _path;
    std::unique_ptr<File> _file;
};
