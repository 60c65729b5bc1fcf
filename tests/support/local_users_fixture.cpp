#include "support/local_users_fixture.h"

#include "bcl2/text.h"

#include <QAction>
#include <QCheckBox>
#include <QLineEdit>

Cdb_usr_info LocalUsersFixture::user(const char* name)
{
    Cdb_usr_info record;
    BclCopyStr(record.usrName, name);
    BclCopyStr(record.password, "kept");
    return record;
}

void LocalUsersFixture::keep(const Cdb_usr_info& record)
{
    ASSERT_EQ(store().DbSetLocalUserData(record), kDbOk) << record.usrName;
}

Cdb_usr_info LocalUsersFixture::stored(const char* name)
{
    Cdb_usr_info record;
    EXPECT_EQ(store().DbGetUsrInfo(name, record), kDbOk) << name;
    return record;
}

void LocalUsersFixture::addUsers(unsigned count)
{
    ASSERT_EQ(store().DbAddUserMany(1000, count, "secret"), kDbOk);
}

void LocalUsersFixture::addLine(const char* name, const char* description)
{
    Cdb_ext_line_info line;
    BclCopyStr(line.extName, name);
    BclCopyStr(line.description, description);
    ASSERT_EQ(store().DbExtLineSet(line), kDbOk);
}

void LocalUsersFixture::writeRegistration(const std::string& name, const char* address, uint16_t port, uint8_t state,
                                          const char* agent)
{
    Cdb_user_bindings bindings;
    bindings.userName = name;
    bindings.hasRow = true;
    BclCopyStr(bindings.row.userName, name.c_str());
    BclCopyStr(bindings.row.preAddr, address);
    bindings.row.prePort = port;
    bindings.row.usrStage = state;
    BclCopyStr(bindings.row.userAgent, agent);
    ASSERT_EQ(store().DbWriteRegistrations({bindings}), kDbOk);
}

void LocalUsersFixture::pressAddMany()
{
    for (QAction* const action : toolbarActions()) {
        if (action->text() == item(387))
            return press(action);
    }
    ADD_FAILURE() << "no such button";
}

void LocalUsersFixture::addMany(const QString& start, const QString& total, const QString& password)
{
    boxes.expectEditor(item(388), [=](QDialog& dialog) {
        input<QLineEdit>(dialog, 389).setText(start);
        input<QLineEdit>(dialog, 390).setText(total);
        check(dialog, 391).setChecked(password.isEmpty());
        input<QLineEdit>(dialog, 304).setText(password);
        pressOk(dialog);
    });
    pressAddMany();
}
