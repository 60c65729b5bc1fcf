// All list frames, for tests that hold over each of them.
#pragma once

#include "common/frm_list.h"

#include <functional>
#include <memory>
#include <ostream>
#include <vector>

namespace list_pages {

constexpr const char* kWholeToolbar = "Add Edit Delete Gap Previous Next Refresh Query";
constexpr const char* kUncounted = ""; // counted by the store, without a statement

struct Page {
    const char* name;
    int caption;              // language items from here
    std::vector<int> columns; // titles of those that show
    const char* toolbar = kWholeToolbar;
    const char* select;          // statement of a page without its limit
    const char* count = nullptr; // statement; null: the page shows the whole table
    const char* help;            // address of its documentation
    std::function<std::unique_ptr<Cfrm_list>(Cdb_fac_mgr*)> make;
    std::function<unsigned(Cdb_fac_mgr&, unsigned number)> addRow; // rows sort by their numbers
    std::function<void(Cdb_fac_mgr&)> prepare = {};                // makes what its editor opens with only
    unsigned most = 1000;                                          // rows that the table can hold
};

void PrintTo(const Page& page, std::ostream* out);

[[nodiscard]] const std::vector<Page>& pages();

} // namespace list_pages
