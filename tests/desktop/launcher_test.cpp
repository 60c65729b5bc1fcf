// The launcher of an installed Parlovex, with a program in its place that tells where it was started and with what.
#include "support/child_process.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

class Launcher : public testing::Test {
protected:
    Launcher() { install("installed", {"res.english", "res.german", "help"}); }

    // An installation below the scratch folder with these files for the program to read.
    void install(const std::string& prefix, const std::vector<std::string>& files) const
    {
        for (const char* const folder : {"/bin", "/lib/parlovex", "/share/parlovex"})
            fs::create_directories(scratch.file(prefix + folder));
        fs::copy_file(PARLOVEX_LAUNCHER, scratch.file(prefix + "/bin/parlovex"));
        const std::string program = scratch.write(
            prefix + "/lib/parlovex/parlovex", "#!/bin/sh\npwd\nprintf '%s\\n' \"home ${PARLOVEX_HOME:-}\" \"$@\"\n");
        fs::permissions(program, fs::perms::owner_all);
        for (const std::string& file : files)
            (void)scratch.write(prefix + "/share/parlovex/" + file, file + " of " + prefix);
    }
    // What the program printed, line by line. The command is given in `folder`.
    std::string run(const std::vector<std::string>& command, const std::vector<std::string>& variables,
                    const std::string& folder = "/")
    {
        std::vector<std::string> whole = {"env", "-i", "-C", folder, "PATH=" + std::string(getenv("PATH"))};
        whole.insert(whole.end(), variables.begin(), variables.end());
        whole.insert(whole.end(), command.begin(), command.end());
        ChildProcess process(whole, scratch.file("output" + std::to_string(++_runs)));
        EXPECT_EQ(process.wait(), 0) << process.output();
        return process.output();
    }
    std::string runInstalled(const std::string& prefix = "installed")
    {
        return run({scratch.file(prefix + "/bin/parlovex")}, {"PARLOVEX_HOME=" + home});
    }
    [[nodiscard]] std::string linked(const std::string& name) const
    {
        return TemporaryFolder::read(home + "/desktop/" + name);
    }

    TemporaryFolder scratch;
    const std::string home = scratch.file("data of mine");

private:
    int _runs = 0;
};

TEST_F(Launcher, StartsTheProgramInAPrivateFolderOfTheUsersOwnWithTheInstalledFiles)
{
    EXPECT_EQ(runInstalled(), home + "/desktop\nhome " + home + "\n");
    EXPECT_EQ(linked("res.english"), "res.english of installed");
    EXPECT_EQ(linked("res.german"), "res.german of installed");
    EXPECT_EQ(linked("help"), "help of installed");
    EXPECT_EQ(fs::status(home).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(home + "/desktop").permissions(), fs::perms::owner_all);
}

TEST_F(Launcher, TakesTheFoldersThatTheProgramTakes)
{
    const std::string launcher = scratch.file("installed/bin/parlovex");
    EXPECT_EQ(run({launcher}, {"HOME=" + home, "XDG_DATA_HOME=" + home + "/x"}), home + "/x/parlovex/desktop\nhome \n");
    EXPECT_EQ(run({launcher}, {"HOME=" + home, "PARLOVEX_HOME=", "XDG_DATA_HOME="}),
              home + "/.local/share/parlovex/desktop\nhome \n");
}

TEST_F(Launcher, CountsRelativeFoldersFromWhereTheCommandWasGiven)
{
    fs::create_directories(home);
    const std::string launcher = scratch.file("installed/bin/parlovex");
    EXPECT_EQ(run({launcher}, {"PARLOVEX_HOME=here"}, home), home + "/here/desktop\nhome " + home + "/here\n");
    EXPECT_EQ(run({launcher}, {"XDG_DATA_HOME=there"}, home), home + "/there/parlovex/desktop\nhome \n");
}

TEST_F(Launcher, FindsItsFilesThroughALinkAndHandsTheArgumentsOver)
{
    fs::create_symlink(scratch.file("installed/bin/parlovex"), scratch.file("link"));
    EXPECT_EQ(run({scratch.file("link"), "-style", "two words"}, {"PARLOVEX_HOME=" + home}),
              home + "/desktop\nhome " + home + "\n-style\ntwo words\n");
    EXPECT_EQ(linked("res.english"), "res.english of installed");
}

TEST_F(Launcher, FollowsAnotherInstallation)
{
    runInstalled();
    install("newer", {"res.english", "res.russian"});
    runInstalled("newer");
    EXPECT_EQ(linked("res.english"), "res.english of newer");
    EXPECT_EQ(linked("res.russian"), "res.russian of newer");
    EXPECT_EQ(linked("res.german"), "res.german of installed") << "it is still there";

    fs::remove_all(scratch.file("installed"));
    runInstalled("newer");
    EXPECT_FALSE(fs::is_symlink(home + "/desktop/res.german")) << "a link to nothing";
}

TEST_F(Launcher, LeavesAloneWhatTheUserPutThere)
{
    fs::create_directories(home + "/desktop");
    (void)scratch.write("data of mine/desktop/res.english", "my own");
    (void)scratch.write("data of mine/desktop/log.txt", "saved");
    fs::create_symlink("/nowhere/notes", home + "/desktop/notes");
    runInstalled();
    EXPECT_EQ(linked("res.english"), "my own");
    EXPECT_EQ(linked("log.txt"), "saved");
    EXPECT_TRUE(fs::is_symlink(home + "/desktop/notes"));
    EXPECT_EQ(linked("res.german"), "res.german of installed");
}

TEST_F(Launcher, StartsTheProgramAmongTheInstalledFilesWhenThereCanBeNoFolder)
{
    (void)scratch.write("data of mine", "a file");
    EXPECT_EQ(runInstalled(), scratch.file("installed/share/parlovex") + "\nhome " + home + "\n");
}

} // namespace
