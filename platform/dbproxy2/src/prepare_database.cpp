#include "prepare_database.h"

#include "identity.h"
#include "remote_table.h"

namespace {

SqlResult makeTables(const SqlRun& run)
{
    SqlResult result;
    std::vector<const RemoteTable*> missing;
    for (const RemoteTable* table : remoteTables()) {
        result = run(table->probe());
        if (result.status == SqlStatus::Failed)
            missing.push_back(table);
        else if (!result.isDone() && result.status != SqlStatus::Conflict) // somebody locks it: it is there
            return result;
    }
    if (missing.empty())
        return {};
    // Together where the engine can, which saves waiting for the disk.
    result = run(run.dialect().begin);
    for (const RemoteTable* table : missing)
        if (result.isDone())
            result = run(table->createStatement(run.dialect()));
    if (result.isDone())
        result = run("commit");
    else
        (void)run("rollback");
    for (const RemoteTable* table : missing)
        if (result.isDone())
            result = run(table->probe());
    return result;
}

} // namespace

SqlResult prepareDatabase(const SqlRun& run, std::string& identity)
{
    SqlResult result = makeTables(run);
    if (result.isDone())
        result = run.dialect().checkTables(run);
    return result.isDone() ? readIdentity(run, identity) : result;
}
