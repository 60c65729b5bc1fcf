// Statements of one operation.
#pragma once

#include "engine.h"

#include <initializer_list>

// One operation on one session, with the time that it has.
class SqlRun {
public:
    SqlRun(SqlSession& session, const SqlDialect& dialect, Deadline deadline)
        : _session(session), _dialect(dialect), _deadline(deadline)
    {}

    SqlResult operator()(std::string_view sql, std::span<const SqlValue> values = {}, SqlRows* rows = nullptr) const
    {
        return _session.run(sql, values, rows, _deadline);
    }
    SqlResult operator()(std::string_view sql, std::initializer_list<SqlValue> values, SqlRows* rows = nullptr) const
    {
        return _session.run(sql, std::span(values.begin(), values.size()), rows, _deadline);
    }

    [[nodiscard]] const SqlDialect& dialect() const { return _dialect; }

private:
    SqlSession& _session;
    const SqlDialect& _dialect;
    Deadline _deadline;
};
