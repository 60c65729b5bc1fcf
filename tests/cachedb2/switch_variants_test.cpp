#include "cachedb2/switch_variants.h"

#include "cachedb2/store_fixture.h"

class SwitchVariants : public StoreFixture {
protected:
    unsigned read(const std::string& content)
    {
        writeFile(path("switch.ini"), content);
        return DbInitSwitchVariants(path("switch.ini").c_str());
    }

    static void expectDefaults()
    {
        EXPECT_EQ(0, gVarGuiLang);
        EXPECT_EQ(0u, gVarGuiLayoutDir);
        EXPECT_EQ(0u, gVarGuiHideSysTrayIcon);
        EXPECT_EQ(0u, gVarGuiDisplayPassword);
        EXPECT_EQ(0u, gVarCcfLuaServiceMatchCld);
        EXPECT_EQ(0u, gVarSipDigestSha256);
        EXPECT_EQ(200u, gVarSipChallengeRate);
        EXPECT_STREQ("110,112,119,911,999", gVarCcfEmergencyNumbers);
        EXPECT_STREQ("https://www.parlovex.test/version.txt", gVarGuiVersionUrl);
    }
};

TEST_F(SwitchVariants, LieInTheDataFolder)
{
    Cbcl_tmp_str file;
    DbGetSwitchVarFile(file);
    EXPECT_EQ(path("switch.ini").string(), file.c_str());
}

TEST_F(SwitchVariants, AreReadFromTheSwitchSection)
{
    EXPECT_EQ(0u, read("[other]\ngVarGuiLang=9\n[switch]\ngVarGuiLang=1\ngVarGuiLayoutDir=2\n"
                       "gVarGuiHideSysTrayIcon=1\ngVarGuiDisplayPassword=1\ngVarCcfLuaServiceMatchCld=1\n"
                       "gVarSipDigestSha256=2\ngVarSipChallengeRate=1000000\ngVarCcfEmergencyNumbers="
                       "112\ngVarGuiVersionUrl=http://127.0.0.1:8/v\n"));
    EXPECT_EQ(1, gVarGuiLang);
    EXPECT_EQ(2u, gVarGuiLayoutDir);
    EXPECT_EQ(1u, gVarGuiHideSysTrayIcon);
    EXPECT_EQ(1u, gVarGuiDisplayPassword);
    EXPECT_EQ(1u, gVarCcfLuaServiceMatchCld);
    EXPECT_EQ(2u, gVarSipDigestSha256);
    EXPECT_EQ(1000000u, gVarSipChallengeRate);
    EXPECT_STREQ("112", gVarCcfEmergencyNumbers);
    EXPECT_STREQ("http://127.0.0.1:8/v", gVarGuiVersionUrl);
    EXPECT_TRUE(takeLog().empty());
}

TEST_F(SwitchVariants, OfAMissingFileAreTheDefaultsWithALogLine)
{
    EXPECT_EQ(1u, DbInitSwitchVariants(path("switch.ini").c_str()));
    expectDefaults();
    EXPECT_EQ(1u, takeLog().size());
}

TEST_F(SwitchVariants, OfAFileThatCannotBeReadAreTheDefaultsWithALogLine)
{
    std::filesystem::create_directory(path("switch.ini"));
    EXPECT_EQ(1u, DbInitSwitchVariants(path("switch.ini").c_str()));
    expectDefaults();
    const auto log = takeLog();
    ASSERT_EQ(1u, log.size());
    EXPECT_NE(std::string::npos, log[0].find("cannot be read")) << log[0];
    EXPECT_EQ(1u, DbSetUILanguage(1));
    EXPECT_TRUE(std::filesystem::is_directory(path("switch.ini")));
}

TEST_F(SwitchVariants, OfGarbageAreTheDefaultsWithALogLine)
{
    for (const std::string& garbage :
         {std::string("\x7f"
                      "ELF\0\1\2\3",
                      8),
          std::string(5000, '\xfe'), std::string("[switch]\ngVarGuiLang=1\nnonsense without a sign\n")}) {
        EXPECT_EQ(1u, read(garbage));
        expectDefaults();
        const auto log = takeLog();
        ASSERT_EQ(1u, log.size());
        EXPECT_NE(std::string::npos, log[0].find("damaged")) << log[0];
    }
}

TEST_F(SwitchVariants, OutsideTheirRangeAreTheDefaultsWithALogLineEach)
{
    EXPECT_EQ(0u, read("[switch]\ngVarGuiLang=english\ngVarGuiLayoutDir=3\ngVarGuiHideSysTrayIcon=-1\n"
                       "gVarSipDigestSha256=99999999999999999999\ngVarCcfEmergencyNumbers=fire\n"
                       "gVarGuiVersionUrl=file:///etc/passwd\ngVarGuiDisplayPassword=1x\n"
                       "gVarSipChallengeRate=1000001\n"));
    expectDefaults();
    EXPECT_EQ(8u, takeLog().size());
}

TEST_F(SwitchVariants, ChallengeRateCanBeSwitchedOff)
{
    EXPECT_EQ(0u, read("[switch]\ngVarSipChallengeRate=0\n"));
    EXPECT_EQ(0u, gVarSipChallengeRate);
    EXPECT_EQ(0u, read("[switch]\n"));
    EXPECT_EQ(200u, gVarSipChallengeRate) << "not what the last reading left";
}

TEST_F(SwitchVariants, LanguageIsThereAtTheNextStart)
{
    EXPECT_EQ(0u, DbSetUILanguage(1));
    EXPECT_EQ(0u, DbInitSwitchVariants(path("switch.ini").c_str()));
    EXPECT_EQ(1, gVarGuiLang);
    EXPECT_EQ(0u, DbSetUILanguage(0));
    EXPECT_EQ(0u, DbInitSwitchVariants(path("switch.ini").c_str()));
    EXPECT_EQ(0, gVarGuiLang);
}

TEST_F(SwitchVariants, LanguageKeepsEverythingElseInTheFile)
{
    writeFile(path("switch.ini"), "; mine\n[switch]\ngVarGuiLayoutDir=1\ngVarGuiLang=0\n# end\n[other]\na=b\n");
    EXPECT_EQ(0u, DbSetUILanguage(1));
    EXPECT_EQ("; mine\n[switch]\ngVarGuiLayoutDir=1\ngVarGuiLang=1\n# end\n[other]\na=b\n",
              readFile(path("switch.ini")));
}

TEST_F(SwitchVariants, LanguageKeepsADamagedFileAside)
{
    writeFile(path("switch.ini"), std::string("\0garbage", 8));
    EXPECT_EQ(0u, DbSetUILanguage(1));
    EXPECT_EQ(1, countFiles("switch.ini.damaged-"));
    EXPECT_EQ(0u, DbInitSwitchVariants(path("switch.ini").c_str()));
    EXPECT_EQ(1, gVarGuiLang);
}

TEST_F(SwitchVariants, LanguageThatCannotBeStoredIsALogLine)
{
    writeFile(path("file"), "x");
    setenv("PARLOVEX_HOME", path("file").c_str(), 1);
    EXPECT_EQ(1u, DbSetUILanguage(1));
    EXPECT_EQ(1u, takeLog().size());
}
