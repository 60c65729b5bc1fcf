// What tests of the page of the local users and of its dialogs share.
#pragma once

#include "support/page_fixture.h"

#include <string>

class LocalUsersFixture : public PageFixture {
protected:
    [[nodiscard]] QString title() const { return item(110); }

    // With the password "kept".
    static Cdb_usr_info user(const char* name);
    void keep(const Cdb_usr_info& record);
    Cdb_usr_info stored(const char* name);
    // 1000, 1001, ...
    void addUsers(unsigned count);
    void addLine(const char* name, const char* description = "");
    // What the server writes when a telephone registers.
    void writeRegistration(const std::string& name, const char* address, uint16_t port, uint8_t state,
                           const char* agent);

    void pressAddMany();
    // Through the dialog; an empty password: random ones.
    void addMany(const QString& start, const QString& total, const QString& password);
};
