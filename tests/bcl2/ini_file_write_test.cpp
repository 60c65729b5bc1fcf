#include "bcl2/ini_file.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class IniFileWrite : public testing::Test {
protected:
    // What the file holds after one key was written into `content`.
    [[nodiscard]] std::string written(std::string_view content, const char* section, const char* key,
                                      const char* value) const
    {
        const std::string path = folder.write("test.ini", content);
        Cbcl_ini_file file(path.c_str());
        EXPECT_TRUE(file.WriteStr(section, key, value)) << content;
        EXPECT_EQ(*file.find(section, key), value);
        const Cbcl_ini_file again(path.c_str());
        EXPECT_TRUE(again.isWellFormed());
        const std::string* found = again.find(section, key);
        EXPECT_NE(found, nullptr) << content;
        EXPECT_EQ(found == nullptr ? "" : *found, value);
        EXPECT_EQ(folder.countFiles(), 1u);
        return TemporaryFolder::read(path);
    }
    static mode_t modeOf(const std::string& path)
    {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        return status.st_mode & 07777;
    }
    TemporaryFolder folder;
};

} // namespace

TEST_F(IniFileWrite, changesOneKeyAndKeepsEveryOtherLine)
{
    EXPECT_EQ(written("# head\n\n[a]\n; why\nk = old\n\n  l=2  \n[b]\nk=3\n", "a", "k", "new"),
              "# head\n\n[a]\n; why\nk = new\n\n  l=2  \n[b]\nk=3\n");
    EXPECT_EQ(written("[a]\nk=1\nk=2\n", "a", "k", "3"), "[a]\nk=3\nk=2\n");
    EXPECT_EQ(written("k=1\n[a]\nk=2\n", "a", "k", "3"), "k=1\n[a]\nk=3\n");
    EXPECT_EQ(written("[a]\nk=\n", "a", "k", "3"), "[a]\nk=3\n");
    EXPECT_EQ(written("[a]\nk=long=er\n", "a", "k", ""), "[a]\nk=\n");
    EXPECT_EQ(written("[a]\nk=1", "a", "k", "x;y=z"), "[a]\nk=x;y=z\n");
}

TEST_F(IniFileWrite, aMissingKeyComesBehindTheLastOfItsSection)
{
    EXPECT_EQ(written("[a]\nk=1\n; of l\nl=2\n\n; of b\n[b]\nk=3\n", "a", "m", "4"),
              "[a]\nk=1\n; of l\nl=2\nm=4\n\n; of b\n[b]\nk=3\n");
    EXPECT_EQ(written("[a]\n\n[b]\nk=3\n", "a", "m", "4"), "[a]\nm=4\n\n[b]\nk=3\n");
    EXPECT_EQ(written("[a]\nk=1", "a", "m", "4"), "[a]\nk=1\nm=4\n");
}

TEST_F(IniFileWrite, aMissingSectionComesAtTheEnd)
{
    EXPECT_EQ(written("[a]\nk=1\n; last\n", "b", "k", "2"), "[a]\nk=1\n; last\n[b]\nk=2\n");
    EXPECT_EQ(written("", "b", "k", "2"), "[b]\nk=2\n");
}

TEST_F(IniFileWrite, aKeyWithoutSectionComesBeforeTheFirstSection)
{
    EXPECT_EQ(written("; head\n[a]\nk=1\n", "", "k", "2"), "; head\nk=2\n[a]\nk=1\n");
    EXPECT_EQ(written("l=1\n[a]\nk=1\n", "", "k", "2"), "l=1\nk=2\n[a]\nk=1\n");
    EXPECT_EQ(written("; head\n", "", "k", "2"), "; head\nk=2\n");
}

TEST_F(IniFileWrite, keepsLineEndsAndByteOrderMark)
{
    EXPECT_EQ(written("[a]\r\nk=1\r\nl=2\r\n", "a", "k", "3"), "[a]\r\nk=3\r\nl=2\r\n");
    EXPECT_EQ(written("[a]\r\nk=1\r\n", "b", "k", "3"), "[a]\r\nk=1\r\n[b]\r\nk=3\r\n");
    EXPECT_EQ(written("\xEF\xBB\xBF[a]\nk=1\n", "", "k", "3"), "\xEF\xBB\xBFk=3\n[a]\nk=1\n");
    EXPECT_EQ(written("\xEF\xBB\xBFk=1\n", "", "k", "3"), "\xEF\xBB\xBFk=3\n");
}

TEST_F(IniFileWrite, blanksAtTheEndsOfAValueAreNotKept)
{
    Cbcl_ini_file file(folder.file("new.ini").c_str());
    EXPECT_TRUE(file.WriteStr("s", "k", " two words\t"));
    EXPECT_EQ(*file.find("s", "k"), "two words");
    EXPECT_EQ(TemporaryFolder::read(folder.file("new.ini")), "[s]\nk=two words\n");
}

TEST_F(IniFileWrite, aNewFileIsForItsOwnerOnly)
{
    const std::string path = folder.file("new.ini");
    const mode_t mask = umask(0);
    Cbcl_ini_file file(path.c_str());
    EXPECT_FALSE(file.isRead());
    EXPECT_TRUE(file.WriteStr("s", "k", "1"));
    umask(mask);
    EXPECT_EQ(modeOf(path), 0600u);
    EXPECT_TRUE(file.isRead());
    EXPECT_TRUE(file.isWellFormed());
    EXPECT_TRUE(file.WriteStr("s", "l", "2"));
    EXPECT_EQ(TemporaryFolder::read(path), "[s]\nk=1\nl=2\n");
}

TEST_F(IniFileWrite, anOldFileKeepsItsModeAndALinkStaysALink)
{
    const std::string path = folder.write("real.ini", "[s]\nk=1\n");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    const std::string link = folder.file("link.ini");
    std::filesystem::create_symlink("real.ini", link);
    Cbcl_ini_file file(link.c_str());
    EXPECT_TRUE(file.WriteStr("s", "k", "2"));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(TemporaryFolder::read(path), "[s]\nk=2\n");
    EXPECT_EQ(modeOf(path), 0640u);
    EXPECT_EQ(folder.countFiles(), 2u);
}

TEST_F(IniFileWrite, takesAPathWithoutFolder)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    Cbcl_ini_file file("here.ini");
    EXPECT_TRUE(file.WriteStr("s", "k", "1"));
    EXPECT_EQ(TemporaryFolder::read(folder.file("here.ini")), "[s]\nk=1\n");
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(IniFileWrite, refusesWhatCouldNotBeReadBack)
{
    const std::string path = folder.write("test.ini", "[s]\nk=1\n");
    Cbcl_ini_file file(path.c_str());
    for (const char* key :
         {"", "a\nb", "a\rb", "a=b", " a", "a ", ";a", "#a", "[a", "\xFF", static_cast<const char*>(nullptr)})
        EXPECT_FALSE(file.WriteStr("s", key, "v")) << (key == nullptr ? "null" : key);
    for (const char* section : {"a\nb", "a\rb", " a", "a]", "\xFF", static_cast<const char*>(nullptr)})
        EXPECT_FALSE(file.WriteStr(section, "k", "v")) << (section == nullptr ? "null" : section);
    for (const char* value : {"a\nb", "a\rb", "\xFF", static_cast<const char*>(nullptr)})
        EXPECT_FALSE(file.WriteStr("s", "k", value)) << (value == nullptr ? "null" : value);
    EXPECT_EQ(TemporaryFolder::read(path), "[s]\nk=1\n");
    EXPECT_EQ(*file.find("s", "k"), "1");
}

TEST_F(IniFileWrite, neverWritesOverWhatItCouldNotRead)
{
    for (const std::string& content : {std::string("[s]\nk=1\nword\n"), std::string("k=\xFF\n"),
                                       std::string("k=1\n\0", 5), "[s]\nk=1\n;" + std::string(5u << 20, 'x')}) {
        const std::string path = folder.write("test.ini", content);
        Cbcl_ini_file file(path.c_str());
        EXPECT_FALSE(file.WriteStr("s", "k", "2"));
        EXPECT_EQ(TemporaryFolder::read(path), content);
        EXPECT_EQ(folder.countFiles(), 1u);
    }
    // Came after the object had seen that there was none.
    const std::string path = folder.file("late.ini");
    Cbcl_ini_file file(path.c_str());
    static_cast<void>(folder.write("late.ini", "[s]\nk=1\n"));
    EXPECT_FALSE(file.WriteStr("s", "k", "2"));
    EXPECT_EQ(TemporaryFolder::read(path), "[s]\nk=1\n");
}

TEST_F(IniFileWrite, writesNoFileThatWouldBeTooLargeToRead)
{
    const std::string start = "[s]\nk=1\n;";
    const std::string content = start + std::string(Cbcl_ini_file::kMaxFileSize - start.size() - 1, 'x') + "\n";
    const std::string path = folder.write("test.ini", content);
    Cbcl_ini_file file(path.c_str());
    EXPECT_TRUE(file.WriteStr("s", "k", "2"));
    EXPECT_FALSE(file.WriteStr("s", "k", "12"));
    EXPECT_EQ(*file.find("s", "k"), "2");
    EXPECT_EQ(*Cbcl_ini_file(path.c_str()).find("s", "k"), "2");
}

TEST_F(IniFileWrite, whereNothingCanBeWrittenItSaysSo)
{
    const std::string plain = folder.write("plain", "");
    const std::string noFolder = folder.file("missing/test.ini");
    for (const std::string& path :
         {plain + "/test.ini", noFolder, folder.path(), std::string("/proc/test.ini"), std::string()}) {
        Cbcl_ini_file file(path.c_str());
        EXPECT_FALSE(file.WriteStr("s", "k", "1")) << path;
        EXPECT_EQ(file.find("s", "k"), nullptr);
    }
    EXPECT_EQ(folder.countFiles(), 1u);
}

TEST_F(IniFileWrite, anUnwritableFolderKeepsTheOldFile)
{
    const std::string path = folder.write("test.ini", "[s]\nk=1\n");
    const WithoutRoot user(folder);
    ASSERT_EQ(chmod(folder.path().c_str(), 0500), 0);
    Cbcl_ini_file file(path.c_str());
    EXPECT_FALSE(file.WriteStr("s", "k", "2"));
    EXPECT_EQ(*file.find("s", "k"), "1");
    ASSERT_EQ(chmod(folder.path().c_str(), 0700), 0);
    EXPECT_EQ(TemporaryFolder::read(path), "[s]\nk=1\n");
}

TEST_F(IniFileWrite, aFullDiskKeepsTheOldFileAndLeavesNothingBesideIt)
{
    const std::string content = "[s]\nk=1\n;" + std::string(10'000, 'x') + "\n";
    const std::string path = folder.write("test.ini", content);
    Cbcl_ini_file file(path.c_str());
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit full{5'000, before.rlim_max}; // stands for the disk: writing fails in the middle of the file
    std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
    EXPECT_FALSE(file.WriteStr("s", "k", "2"));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(*file.find("s", "k"), "1");
    EXPECT_EQ(TemporaryFolder::read(path), content);
    EXPECT_EQ(folder.countFiles(), 1u);
    EXPECT_TRUE(file.WriteStr("s", "k", "2"));
}

TEST_F(IniFileWrite, manyKeysAreReadBack)
{
    const std::string path = folder.file("new.ini");
    Cbcl_ini_file file(path.c_str());
    for (int i = 0; i < 60; ++i)
        ASSERT_TRUE(
            file.WriteStr(i % 2 == 0 ? "even" : "odd", std::to_string(i).c_str(), std::to_string(i * i).c_str()));
    const Cbcl_ini_file again(path.c_str());
    for (int i = 0; i < 60; ++i) {
        const std::string* value = again.find(i % 2 == 0 ? "even" : "odd", std::to_string(i));
        ASSERT_NE(value, nullptr) << i;
        EXPECT_EQ(*value, std::to_string(i * i));
        EXPECT_EQ(again.find(i % 2 == 0 ? "odd" : "even", std::to_string(i)), nullptr);
    }
}
