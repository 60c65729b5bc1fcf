#include "cachedb2/call_details.h"

#include "store_files.h"
#include "tables.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace {

// Stored order of tbl_cdr.
using D = Cdb_call_detail;
constexpr std::array kFields = {
    field<&D::id>("id").key(),           field<&D::recordId>("recordId"),         field<&D::callId>("callId"),
    field<&D::callerNbr>("callerNbr"),   field<&D::dialedNbr>("dialedNbr"),       field<&D::calledNbr>("calledNbr"),
    field<&D::extLine>("extLine"),       field<&D::peerServerId>("peerServerId"), field<&D::releaseCode>("releaseCode"),
    field<&D::flags>("flags"),           field<&D::startTime>("startTime"),       field<&D::ringTime>("ringTime"),
    field<&D::answerTime>("answerTime"), field<&D::endTime>("endTime"),           field<&D::duration>("duration"),
    field<&D::calledAddr>("calledAddr"), field<&D::callerAddr>("callerAddr"),     field<&D::fci>("fci"),
};

} // namespace

const Table& callDetailsTable()
{
    static const Table& table = *new Table("tbl_cdr", kFields, Edb_table::RunTime, "startTime");
    return table;
}

void Cdb_call_detail::Init()
{
    std::memset(static_cast<void*>(this), 0, sizeof *this);
    callDetailsTable().init(this);
}

struct Cdb_call_details::File {
    std::unique_ptr<DbConnection> db;
    int64_t lastId = 0;
};

Cdb_call_details::Cdb_call_details(std::string path) : _path(std::move(path)) {}

Cdb_call_details::~Cdb_call_details() = default;

bool Cdb_call_details::open(std::string& reason)
{
    if (_file)
        return true;
    auto file = std::make_unique<File>();
    file->db = openCallDetailsFile(_path, file->lastId, reason);
    if (!file->db)
        return false;
    _file = std::move(file);
    return true;
}

bool Cdb_call_details::write(std::span<Cdb_call_detail> records)
{
    DbConnection& db = *_file->db;
    // A commit that failed may have come to the disk all the same. Records that come again have the same ids then, and
    // take their own place.
    int64_t id = _file->lastId;
    for (Cdb_call_detail& record : records)
        record.id = ++id;
    const bool isDone = db.exec("begin immediate") &&
                        std::all_of(records.begin(), records.end(),
                                    [&db](const D& record) { return callDetailsTable().set(db, &record); }) &&
                        db.exec("commit");
    if (isDone)
        _file->lastId = id;
    else
        db.rollBack();
    return isDone;
}

bool Cdb_call_details::add(std::span<Cdb_call_detail> records, std::string& reason)
{
    if (!open(reason))
        return false;
    if (write(records))
        return true;
    reason = _file->db->reason();
    if (_file->db->fault() != DbFault::Damaged)
        return false;
    // Damage that shows only now: the calls that come are worth more than a file that takes none.
    _file.reset();
    if (!keepCallDetailsAside(_path, "damaged", reason) || !open(reason))
        return false;
    if (write(records))
        return true;
    reason = _file->db->reason();
    return false;
}
