// What tests of the page of the external lines and of its editor share.
#pragma once

#include "support/page_fixture.h"

#include <functional>

class ExtLinesFixture : public PageFixture {
protected:
    // A provider account at 192.0.2.1.
    static Cdb_ext_line_info line(const char* name);
    void keep(const Cdb_ext_line_info& record);
    Cdb_ext_line_info stored(const char* name);

    // Opens the editor by the buttons of the page; `use` presses its way out.
    void add(const std::function<void(QDialog&)>& use);
    void edit(const char* name, const std::function<void(QDialog&)>& use);
};
