#include "bcl2/ini_file.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class IniFile : public testing::Test {
protected:
    // The file of this content, read.
    [[nodiscard]] Cbcl_ini_file read(std::string_view content) const
    {
        return Cbcl_ini_file(folder.write("test.ini", content).c_str());
    }
    // The value, or "-" when there is none.
    static std::string value(const Cbcl_ini_file& file, std::string_view section, std::string_view key)
    {
        const std::string* found = file.find(section, key);
        return found == nullptr ? "-" : *found;
    }
    TemporaryFolder folder;
};

} // namespace

TEST_F(IniFile, findsKeysBySectionAndName)
{
    const Cbcl_ini_file file = read("top=0\n[a]\nk=1\nl=2\n\n; comment=3\n# k=4\n[b]\nk=5\n");
    EXPECT_TRUE(file.isRead());
    EXPECT_TRUE(file.isWellFormed());
    EXPECT_EQ(value(file, "", "top"), "0");
    EXPECT_EQ(value(file, "a", "k"), "1");
    EXPECT_EQ(value(file, "a", "l"), "2");
    EXPECT_EQ(value(file, "b", "k"), "5");
    EXPECT_EQ(value(file, "b", "l"), "-");
    EXPECT_EQ(value(file, "c", "k"), "-");
    EXPECT_EQ(value(file, "a", "; comment"), "-");
    EXPECT_EQ(value(file, "a", ""), "-");
    EXPECT_EQ(value(file, "", "k"), "-");
}

TEST_F(IniFile, comparesByteForByte)
{
    const Cbcl_ini_file file = read("[s]\n7=seven\n08=eight\nKey=upper\n");
    EXPECT_EQ(value(file, "s", "7"), "seven");
    EXPECT_EQ(value(file, "s", "07"), "-");
    EXPECT_EQ(value(file, "s", "8"), "-");
    EXPECT_EQ(value(file, "s", "08"), "eight");
    EXPECT_EQ(value(file, "s", "key"), "-");
    EXPECT_EQ(value(file, "S", "7"), "-");
    EXPECT_EQ(value(file, "s", "7 "), "-");
}

TEST_F(IniFile, keepsWhatStandsInAValue)
{
    const Cbcl_ini_file file = read("[s]\na= x=y;z # w \nb=\"q\"\\n\nc=\n d\t =\t [e] \n");
    EXPECT_EQ(value(file, "s", "a"), "x=y;z # w");
    EXPECT_EQ(value(file, "s", "b"), "\"q\"\\n");
    EXPECT_EQ(value(file, "s", "c"), "");
    EXPECT_EQ(value(file, "s", "d"), "[e]");
    EXPECT_TRUE(file.isWellFormed());
}

TEST_F(IniFile, theFirstOfTwoEqualKeysCounts)
{
    const Cbcl_ini_file file = read("[s]\nk=1\nk=2\n[t]\nk=3\n[s]\nk=4\nl=5\n");
    EXPECT_EQ(value(file, "s", "k"), "1");
    EXPECT_EQ(value(file, "s", "l"), "5");
    EXPECT_TRUE(file.isWellFormed());
}

TEST_F(IniFile, theFirstOfManyEqualKeysCounts)
{
    std::string content = "[s]\n";
    for (int i = 0; i < 500; ++i)
        content.append("k").append(std::to_string(i % 5)).append("=").append(std::to_string(i)).append("\n");
    const Cbcl_ini_file file = read(content);
    for (const std::string key : {"k0", "k1", "k2", "k3", "k4"})
        EXPECT_EQ(value(file, "s", key), key.substr(1));
}

TEST_F(IniFile, readsOtherEditorsFiles)
{
    const Cbcl_ini_file marked = read("\xEF\xBB\xBF[s]\r\nk=1\r\n\r\nl = two words \r\n");
    EXPECT_TRUE(marked.isWellFormed());
    EXPECT_EQ(value(marked, "s", "k"), "1");
    EXPECT_EQ(value(marked, "s", "l"), "two words");
    EXPECT_EQ(value(read("\xEF\xBB\xBFk=1"), "", "k"), "1");
    EXPECT_EQ(value(read("[s]\nk=no end"), "s", "k"), "no end");
    EXPECT_EQ(value(read("[s]\nk=\xE2\x82\xAC"), "s", "k"), "\xE2\x82\xAC");
    const Cbcl_ini_file empty = read("");
    EXPECT_TRUE(empty.isRead());
    EXPECT_TRUE(empty.isWellFormed());
}

TEST_F(IniFile, copiesIntoABufferOrGivesTheDefault)
{
    const Cbcl_ini_file file = read("[s]\nlong=123456789\neuro=123456\xE2\x82\xAC\nempty=\n");
    char buffer[9];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_TRUE(file.ReadStr("s", "long", buffer, "def"));
    EXPECT_STREQ(buffer, "12345678");
    EXPECT_TRUE(file.ReadStr("s", "euro", buffer, "def"));
    EXPECT_EQ(std::memcmp(buffer, "123456\0\0", sizeof buffer), 0);
    EXPECT_TRUE(file.ReadStr("s", "empty", buffer, "def"));
    EXPECT_STREQ(buffer, "");
    EXPECT_FALSE(file.ReadStr("s", "none", buffer, "default text"));
    EXPECT_STREQ(buffer, "default ");
    EXPECT_FALSE(file.ReadStr("s", "none", buffer, buffer));
    EXPECT_STREQ(buffer, "default ");
    EXPECT_FALSE(file.ReadStr("s", "none", buffer, nullptr));
    EXPECT_STREQ(buffer, "");
    EXPECT_FALSE(file.ReadStr(nullptr, nullptr, buffer, "x"));
    EXPECT_STREQ(buffer, "x");
}

TEST_F(IniFile, whatCannotBeReadIsEmpty)
{
    const std::string fifo = folder.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string missing = folder.file("missing.ini");
    for (const char* path :
         {missing.c_str(), folder.path().c_str(), fifo.c_str(), "", static_cast<const char*>(nullptr)}) {
        const Cbcl_ini_file file(path);
        EXPECT_FALSE(file.isRead());
        EXPECT_FALSE(file.isWellFormed());
        EXPECT_EQ(file.find("s", "k"), nullptr);
    }
}

TEST_F(IniFile, anUnreadableFileIsEmpty)
{
    const std::string path = folder.write("test.ini", "[s]\nk=1\n");
    std::filesystem::permissions(path, std::filesystem::perms::none);
    const WithoutRoot user(folder);
    Cbcl_ini_file file(path.c_str());
    EXPECT_FALSE(file.isRead());
    EXPECT_FALSE(file.WriteStr("s", "k", "2"));
}

TEST_F(IniFile, aTooLargeFileIsEmpty)
{
    const std::string start = "[s]\nk=1\n;";
    const std::string largest = start + std::string(Cbcl_ini_file::kMaxFileSize - start.size(), 'x');
    EXPECT_EQ(value(read(largest), "s", "k"), "1");
    EXPECT_FALSE(read(largest + "x").isRead());
    EXPECT_FALSE(read(start + std::string(5u << 20, 'x')).isRead());
    const std::string lines(Cbcl_ini_file::kMaxLines - 2, '\n');
    EXPECT_EQ(value(read("[s]\nk=1\n" + lines), "s", "k"), "1");
    EXPECT_FALSE(read("[s]\nk=1\n\n" + lines).isRead());
}

TEST_F(IniFile, knowsDamage)
{
    for (const char* good : {"", "\n", " \t\r\n", ";", " # x", "[s]", " [ s ] ", "k=", "k=v", "a b = c d"})
        EXPECT_TRUE(read(good).isWellFormed()) << good;
    for (const char* bad : {"word", "=value", " = ", "[s", "[s] x", "[s]]", "k=\xFF", "\xC3", "[s]\nk=v\nword\n"}) {
        EXPECT_TRUE(read(bad).isRead()) << bad;
        EXPECT_FALSE(read(bad).isWellFormed()) << bad;
    }
    EXPECT_FALSE(read(std::string_view("k=v\0", 4)).isWellFormed());
}

TEST_F(IniFile, aDamagedFileGivesTheKeysThatCanBeRead)
{
    const std::string content =
        std::string("[s]\n") + '\0' + "\xFF\x80 garbage\nk=1\nword\n=x\n[t\nk=2\nl=3\n[u] x\nk=4\n";
    const Cbcl_ini_file file = read(content);
    EXPECT_EQ(value(file, "s", "k"), "1");
    EXPECT_EQ(value(file, "s", "l"), "-"); // it belongs to a section whose name cannot be read
    EXPECT_EQ(value(file, "t", "k"), "-");
    EXPECT_EQ(value(file, "", "k"), "-");
    EXPECT_EQ(value(file, "u", "k"), "4");
}

TEST_F(IniFile, garbageNeverCrashes)
{
    std::minstd_rand random(20261120);
    for (int round = 0; round < 200; ++round) {
        std::string garbage(random() % 2000, '\0');
        for (char& c : garbage)
            c = random() % 4 == 0 ? "[]=\n;#\r "[random() % 8] : static_cast<char>(random());
        const Cbcl_ini_file file = read(garbage);
        EXPECT_TRUE(file.isRead());
        char buffer[8];
        file.ReadStr("", "", buffer, "def");
        EXPECT_STREQ(buffer, "def");
    }
}
