#include "cachedb2/data_folder.h"

#include "cachedb2/store_fixture.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

class DataFolder : public StoreFixture {
protected:
    static std::string folder()
    {
        Cbcl_tmp_str path;
        DbGetDataFolder(path);
        return path.c_str();
    }
};

TEST_F(DataFolder, IsTheOwnVariableThenTheUsersDataThenTheHome)
{
    setenv("PARLOVEX_HOME", "/one/", 1);
    setenv("XDG_DATA_HOME", "/two", 1);
    setenv("HOME", "/three", 1);
    EXPECT_EQ("/one/", folder());
    setenv("PARLOVEX_HOME", "/one", 1);
    EXPECT_EQ("/one/", folder());
    setenv("PARLOVEX_HOME", "", 1);
    EXPECT_EQ("/two/parlovex/", folder());
    unsetenv("PARLOVEX_HOME");
    unsetenv("XDG_DATA_HOME");
    EXPECT_EQ("/three/.local/share/parlovex/", folder());
}

TEST_F(DataFolder, WithoutAnyVariableIsInTheUsersHome)
{
    for (const char* name : {"PARLOVEX_HOME", "XDG_DATA_HOME", "HOME"})
        unsetenv(name);
    const passwd* const user = getpwuid(getuid());
    ASSERT_NE(nullptr, user);
    EXPECT_EQ(std::string(user->pw_dir) + "/.local/share/parlovex/", folder());
}

TEST_F(DataFolder, OfARelativeNameCountsFromTheCurrentDirectory)
{
    setenv("PARLOVEX_HOME", "below", 1);
    EXPECT_EQ((std::filesystem::current_path() / "below/").string(), folder());
}

TEST_F(DataFolder, IsMadeWithThoseAboveItForTheOwnerOnly)
{
    setenv("PARLOVEX_HOME", path("a/b/c").c_str(), 1);
    EXPECT_EQ(0, DbMakeDataFolder());
    EXPECT_EQ(0, DbMakeDataFolder());
    struct stat status {};
    ASSERT_EQ(0, stat(path("a/b").c_str(), &status));
    EXPECT_EQ(0700u, status.st_mode & 0777);
}

TEST_F(DataFolder, BelowAFileIsAnError)
{
    writeFile(path("file"), "x");
    setenv("PARLOVEX_HOME", path("file/below").c_str(), 1);
    EXPECT_NE(0, DbMakeDataFolder());
}
