// What happens to a call: an answer from the tables of the store, without side effects. The same answer drives the
// call, its trace, and what an administrator is told.
#pragma once

#include "bcl2/date.h"
#include "cachedb2/fac_mgr.h"
#include "dialplan/call_request.h"
#include "dialplan/dial_answer.h"

#include <memory>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

// One version of every table that an analysis reads. A call that keeps a copy keeps the versions that it began with.
// Copies share what they hold; any thread may read them.
class DialPlanTables {
public:
    template <class Record>
    using Rows = std::shared_ptr<const Snapshot<Record>>;
    template <class... Records>
    using RowsOf = std::tuple<Rows<Records>...>;
    using All = RowsOf<Cdb_usr_info, Cdb_ext_line_info, Cdb_peer_server, Cdb_route, Cdb_nbr_trans_data,
                       Cdb_nbr_cld_ana_data, Cdb_nbr_clr_ana_data, Cdb_nbr_clr_refine_data, Cdb_nbr_cld_refine,
                       Cdb_time_cond, Cdb_hunting_group_detect_data, Cdb_rg_detection, Cdb_ivr_trigger_data,
                       Cdb_lua_trigger, Cdb_speed_dial_data, Cdb_clr_rewriting_info, Cdb_sys_black_item>;

    // Empty tables, the default settings, no emergency numbers.
    DialPlanTables();

    template <class Record>
    [[nodiscard]] const Snapshot<Record>& rows() const
    {
        return *std::get<Rows<Record>>(_rows);
    }
    template <class Record>
    [[nodiscard]] const Rows<Record>& newest() const
    {
        return std::get<Rows<Record>>(_rows);
    }
    template <class Record>
    void set(const Rows<Record>& rows)
    {
        if (auto& held = std::get<Rows<Record>>(_rows); held != rows) {
            held = rows;
            changed(*rows);
        }
    }

    [[nodiscard]] const Cdb_sys_data& system() const { return *_system; }
    void setSystem(const std::shared_ptr<const Cdb_sys_data>& system) { _system = system; }

    // Numbers parted by commas; blanks around them do not count.
    void setEmergencyNumbers(std::string_view list);
    [[nodiscard]] bool isEmergencyNumber(std::string_view number) const;

    // External lines by name, and the routes of a group in the order in which they are tried.
    [[nodiscard]] const std::vector<std::shared_ptr<const Cdb_ext_line_info>>& linesByName() const
    {
        return *_linesByName;
    }
    [[nodiscard]] const std::vector<std::shared_ptr<const Cdb_route>>& routesOf(uint32_t groupId) const;
    // Lengths in bytes of the prefixes in the black list, a bit each: others need not be tried.
    struct BlackListLengths {
        uint64_t caller = 0;
        uint64_t called = 0;
    };
    [[nodiscard]] const BlackListLengths& blackListLengths() const { return _blackListLengths; }

    // The numbers of Lua triggers are whole numbers, not prefixes.
    void setLuaNumbersExact(bool areExact) { _areLuaNumbersExact = areExact; }
    [[nodiscard]] bool areLuaNumbersExact() const { return _areLuaNumbersExact; }

private:
    template <class Record>
    void changed(const Snapshot<Record>&)
    {}
    // What is kept in another shape follows its table.
    void changed(const Snapshot<Cdb_ext_line_info>& lines);
    void changed(const Snapshot<Cdb_route>& routes);
    void changed(const Snapshot<Cdb_sys_black_item>& blackList);

    using Routes = std::unordered_map<uint32_t, std::vector<std::shared_ptr<const Cdb_route>>>;

    All _rows;
    std::shared_ptr<const std::vector<std::shared_ptr<const Cdb_ext_line_info>>> _linesByName;
    std::shared_ptr<const Routes> _routes;
    BlackListLengths _blackListLengths;
    std::shared_ptr<const Cdb_sys_data> _system;
    std::shared_ptr<const std::vector<std::string>> _emergencyNumbers;
    bool _areLuaNumbersExact = false;
};

// Follows the store. One thread; the store outlives it.
class DialPlan {
public:
    explicit DialPlan(const Cdb_fac_mgr& store);

    // The newest versions; cheap when nothing has changed. Valid until the next call.
    [[nodiscard]] const DialPlanTables& now();

private:
    template <class Rows>
    struct ReadersOf;
    template <class... Records>
    struct ReadersOf<std::tuple<std::shared_ptr<const Snapshot<Records>>...>> {
        using Type = std::tuple<SnapshotReader<Snapshot<Records>>...>;
    };

    ReadersOf<DialPlanTables::All>::Type _readers;
    SnapshotReader<Cdb_sys_data> _system;
    DialPlanTables _tables;
};

// Pure: the same input gives the same answer. `now` is for expiry dates and time conditions, in the server's local
// time. Whether a local user can be reached is not asked.
[[nodiscard]] DialAnswer analyzeCall(const DialPlanTables& tables, const CallRequest& request, const CallCounts& counts,
                                     Cbcl_timestamp now);
