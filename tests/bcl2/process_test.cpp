#include "bcl2/process.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <climits>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string currentFolder()
{
    Cbcl_tmp_str out("left over");
    BclGetCurrDir(out);
    return out.c_str();
}

rlimit handleLimit()
{
    rlimit limit{};
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    return limit;
}

} // namespace

TEST(CurrDir, endsInOneSeparator)
{
    const TemporaryFolder folder;
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    EXPECT_EQ(currentFolder(), folder.path() + "/");
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_EQ(currentFolder(), "/");
}

TEST(CurrDir, mayBeLongerThanAnArgumentOfACall)
{
    const TemporaryFolder folder;
    const std::string step(200, 'd');
    constexpr int kSteps = 60;
    static_assert(kSteps * 201 > 2 * PATH_MAX);
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    std::string expected = folder.path() + "/";
    for (int i = 0; i < kSteps; ++i) {
        ASSERT_EQ(mkdir(step.c_str(), 0700), 0);
        ASSERT_EQ(chdir(step.c_str()), 0);
        expected += step + "/";
    }
    EXPECT_EQ(currentFolder(), expected);
    for (int i = 0; i < kSteps; ++i) {
        ASSERT_EQ(chdir(".."), 0);
        ASSERT_EQ(rmdir(step.c_str()), 0);
    }
    ASSERT_EQ(chdir("/"), 0);
}

TEST(CurrDir, aRemovedFolderIsShownAsHere)
{
    const TemporaryFolder folder;
    const std::string gone = folder.file("gone");
    ASSERT_EQ(mkdir(gone.c_str(), 0700), 0);
    ASSERT_EQ(chdir(gone.c_str()), 0);
    ASSERT_EQ(rmdir(gone.c_str()), 0);
    EXPECT_EQ(currentFolder(), "./");
    ASSERT_EQ(chdir("/"), 0);
}

TEST(FileHandles, theLimitIsRaisedAndNeverLowered)
{
    const rlimit before = handleLimit();
    ASSERT_GE(before.rlim_max, 200u);
    const rlimit low{100, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
    EXPECT_EQ(BclSetMaxFileHandles(150), 0u);
    EXPECT_EQ(handleLimit().rlim_cur, 150u);
    for (const unsigned less : {0u, 1u, 149u, 150u}) {
        EXPECT_EQ(BclSetMaxFileHandles(less), 0u);
        EXPECT_EQ(handleLimit().rlim_cur, 150u);
    }
    EXPECT_EQ(handleLimit().rlim_max, before.rlim_max);
}

TEST(FileHandles, theHardLimitBounds)
{
    ASSERT_GE(handleLimit().rlim_max, 200u);
    const rlimit both{100, 200};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &both), 0); // this process ends with this test
    EXPECT_EQ(BclSetMaxFileHandles(UINT_MAX), 1u);
    EXPECT_EQ(handleLimit().rlim_cur, 200u);
    EXPECT_EQ(handleLimit().rlim_max, 200u);
    EXPECT_EQ(BclSetMaxFileHandles(200), 0u);
    EXPECT_EQ(BclSetMaxFileHandles(201), 1u);
    EXPECT_EQ(handleLimit().rlim_cur, 200u);
}
