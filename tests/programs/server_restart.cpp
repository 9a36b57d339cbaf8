// What a restart does to the host, and what it takes back when a step fails.

#include "Swapper.h"
#include "server_carry_out.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

class ServerRestart : public tests::ServerCarryOut {};

TEST_F(ServerRestart, WritesTheFileAndSignalsTheEngine)
{
    start();
    host.asked.clear();
    host.onSignal = [this](int /*signal*/) {
        EXPECT_NE(std::string::npos, tests::readFile(directory + "/.current").find("\"fips\": true"));
        host.announce();
    };
    EXPECT_EQ("success: the engine took over the new settings", restart());
    EXPECT_EQ(Lines{"signal 1"}, host.asked);
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
    EXPECT_FALSE(tests::exists(host.readyFile));
}

TEST_F(ServerRestart, IsRefusedWhileTheEngineDoesNotRun)
{
    EXPECT_EQ("failure: the engine is not running", restart());
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerRestart, DoesNotSignalThePidOfAnotherProcess)
{
    tests::writeFile(host.pidFile, std::to_string(getpid()) + "\n");
    EXPECT_EQ("failure: the engine is not running", restart());
    EXPECT_EQ("failure: the engine is not running", shutDown());
}

TEST_F(ServerRestart, WithAnotherPathRemovesTheOldFile)
{
    start();
    EXPECT_EQ("success: the engine took over the new settings", carryOut(tests::restartText(otherFile)));
    EXPECT_EQ((Lines{".current", "other.conf"}), files());
    EXPECT_EQ("other.conf", std::filesystem::read_symlink(directory + "/.current"));
}

TEST_F(ServerRestart, ThatFailsGivesTheEngineItsOldSettingsAgain)
{
    start();
    const std::string before = settings();
    host.asked.clear();
    Lines read;
    host.onSignal = [&](int /*signal*/) { read.push_back(tests::readFile(directory + "/.current")); };
    EXPECT_EQ("failure: wait limit reached", restart());
    ASSERT_EQ((Lines{"signal 1", "signal 1"}), host.asked);
    EXPECT_NE(before, read.front());
    EXPECT_EQ(before, read.back());
    EXPECT_EQ(before, settings());
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
}

TEST_F(ServerRestart, ThatFailsUnderAnotherPathLeavesTheOldOne)
{
    start();
    host.onSignal = [](int /*signal*/) {};
    EXPECT_EQ("failure: wait limit reached", carryOut(tests::restartText(otherFile)));
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
    EXPECT_EQ("engine.conf", std::filesystem::read_symlink(directory + "/.current"));
}

TEST_F(ServerRestart, ThatFailsTellsTheEnginesWords)
{
    start();
    host.onSignal = [this](int /*signal*/) {
        tests::writeFile(directory + "/.reason", "no such algorithm\n");
    };
    EXPECT_EQ("failure: wait limit reached: no such algorithm", restart());
}

// Anybody can make a ready file.
TEST_F(ServerRestart, IsNoSuccessIfTheEngineRefusedWhateverTheReadyFileSays)
{
    start();
    const std::string before = settings();
    host.onSignal = [&](int /*signal*/) {
        if (settings() != before)
            tests::writeFile(directory + "/.reason", "no such algorithm\n");
        host.announce();
    };
    EXPECT_EQ("failure: the engine refused the new settings: no such algorithm", restart());
    EXPECT_EQ(before, settings());
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
}

TEST_F(ServerRestart, ThatFailsLeavesNoReadyFileOfTheOldSettings)
{
    start();
    int signals = 0;
    host.onSignal = [&](int /*signal*/) {
        if (++signals == 2)
            host.announce();
    };
    EXPECT_EQ("failure: wait limit reached", restart());
    EXPECT_FALSE(tests::exists(host.readyFile));
}

TEST_F(ServerRestart, IsNoSuccessIfTheEngineEndedInstead)
{
    start();
    host.onSignal = [this](int /*signal*/) {
        host.endEngine();
        host.announce();
    };
    EXPECT_EQ("failure: the engine ended instead of taking over the new settings", restart());
}

TEST_F(ServerRestart, DoesNotTakeALeftoverReadyFileForTheEngines)
{
    start();
    host.announce();
    host.onSignal = [](int /*signal*/) {};
    EXPECT_EQ("failure: wait limit reached", restart());
}

TEST_F(ServerRestart, OfARefusedPathChangesNothing)
{
    start();
    const std::string before = settings();
    host.asked.clear();
    EXPECT_EQ("failure: setting-file-path: /etc/x: must lie below " + directory,
              carryOut(tests::restartText("/etc/x")));
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_EQ(before, settings());
}

TEST_F(ServerRestart, OfAPolicyThatTheEngineCannotDoTouchesNothing)
{
    start();
    struct stat before = {};
    struct stat after = {};
    lstat((directory + "/.current").c_str(), &before);
    const std::string content = settings();
    host.asked.clear();
    configuration.engine = "strongswan";
    tests::RequestParts parts;
    parts.scenario = norvale::tamber::systemdata::ipseccfg::common::ScenarioCommand::Restart;
    parts.settingFile = settingFile;
    parts.used.front()->setSrcIpAddress("somewhere");
    EXPECT_EQ(0U, carryOut(tests::requestText(parts))
                      .find("failure: used rule 1: src-addr: 'somewhere' is not possible"));
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_EQ(content, settings());
    lstat((directory + "/.current").c_str(), &after);
    EXPECT_EQ(before.st_ino, after.st_ino) << "the record was made anew";
}

TEST_F(ServerRestart, WritesNothingOutsideTheFolderWhateverTakesTheSettingFilesPlace)
{
    const tests::TemporaryFolder outside;
    std::filesystem::create_directory(outside / "folder");
    tests::writeFile(outside / "victim", "untouched");
    start();
    int done = 0;
    int refused = 0;
    {
        const tests::Swapper swapper(directory, outside.path());
        for (int request = 0; request < 200 || ((done == 0 || refused == 0) && request < 20000); ++request) {
            const bool success =
                carryOut(tests::restartText(directory + "/below/engine.conf")).find("success: ") == 0;
            ++(success ? done : refused);
        }
    }
    // Else there was no race.
    EXPECT_GT(done, 0);
    EXPECT_GT(refused, 0);
    EXPECT_EQ(Lines{}, tests::namesIn(outside / "folder"));
    EXPECT_EQ((Lines{"folder", "victim"}), tests::namesIn(outside.path()));
    EXPECT_EQ("untouched", tests::readFile(outside / "victim"));
}

} // namespace
