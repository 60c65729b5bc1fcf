#include "support/ext_lines_fixture.h"

#include "bcl2/text.h"

Cdb_ext_line_info ExtLinesFixture::line(const char* name)
{
    Cdb_ext_line_info record;
    BclCopyStr(record.extName, name);
    BclCopyStr(record.serverAddr, "192.0.2.1");
    return record;
}

void ExtLinesFixture::keep(const Cdb_ext_line_info& record)
{
    ASSERT_EQ(store().DbExtLineSet(record), kDbOk) << record.extName;
}

Cdb_ext_line_info ExtLinesFixture::stored(const char* name)
{
    Cdb_ext_line_info record;
    BclCopyStr(record.extName, name);
    EXPECT_EQ(store().DbExtLineGet(record), kDbOk) << name;
    return record;
}

void ExtLinesFixture::add(const std::function<void(QDialog&)>& use)
{
    boxes.expectEditor(item(159), use);
    press(Add);
}

void ExtLinesFixture::edit(const char* name, const std::function<void(QDialog&)>& use)
{
    select(column(0).indexOf(QString::fromUtf8(name)));
    boxes.expectEditor(item(159), use);
    press(Edit);
}
