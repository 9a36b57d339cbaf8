// What a start does to the host, and what it takes back when a step fails.

#include "server_carry_out.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

class ServerStart : public tests::ServerCarryOut {};

TEST_F(ServerStart, LoadsTheModulesInOrderAndThenTheEngine)
{
    addModules();
    configuration.serviceOption = "--fast";
    EXPECT_EQ("success: the engine was started", start());
    EXPECT_EQ(
        (Lines{"/sbin/insmod /lib/modules/first.ko in-1", "/sbin/insmod /lib/modules/second-one.ko in-2",
               host.engine + " --fast --setting-file " + directory + "/.current --pid-file " + host.pidFile +
                   " --reason-file " + directory + "/.reason"}),
        host.asked);
}

TEST_F(ServerStart, HasTheSettingFileInPlaceBeforeAnythingElse)
{
    addModules();
    Lines contents;
    host.onCommand = [&, usual = host.onCommand](const std::string& command) {
        contents.push_back(tests::readFile(directory + "/.current"));
        return usual(command);
    };
    start();
    ASSERT_EQ(3U, contents.size());
    for (const std::string& content : contents)
        EXPECT_NE(std::string::npos, content.find("\"source\": \"192.0.2.1\"")) << content;
    EXPECT_EQ(0600U, tests::modeOf(settingFile));
}

TEST_F(ServerStart, LeavesTheSettingFileAndTheRecordOfIt)
{
    start();
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
    EXPECT_FALSE(tests::exists(host.readyFile));
}

TEST_F(ServerStart, IsRefusedWhileTheEngineRuns)
{
    host.startEngine();
    EXPECT_EQ("failure: the engine is already running", start());
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerStart, IgnoresThePidOfAnotherProcess)
{
    tests::writeFile(host.pidFile, std::to_string(getpid()) + "\n");
    EXPECT_EQ("success: the engine was started", start());
    EXPECT_EQ(Lines{launch()}, host.asked);
}

TEST_F(ServerStart, DoesNotTakeALeftoverReadyFileForTheEngines)
{
    host.announce();
    bool stale = false;
    host.onCommand = [&](const std::string& /*command*/) {
        stale = tests::exists(host.readyFile);
        host.startEngine();
        return 0;
    };
    EXPECT_EQ("failure: wait limit reached", start());
    EXPECT_FALSE(stale);
}

TEST_F(ServerStart, RefusesAReadyFileOfSomebodyElse)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a file away";
    host.announce();
    ASSERT_EQ(0, chown(host.readyFile.c_str(), 65534, 65534));
    EXPECT_EQ("failure: /tmp/quicksec.ready: belongs to user 65534, neither root nor the server's user",
              start());
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_EQ(Lines{}, files());
    EXPECT_TRUE(tests::exists(host.readyFile));
}

TEST_F(ServerStart, SaysWhyALeftoverReadyFileCannotBeRemoved)
{
    std::filesystem::create_directory(host.readyFile);
    EXPECT_EQ("failure: /tmp/quicksec.ready: Is a directory", start());
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerStart, ThatFailsPutsAnEarlierSettingFileBack)
{
    std::filesystem::create_directory(directory);
    tests::writeFile(settingFile, "earlier");
    host.onCommand = [](const std::string& /*command*/) { return 1; };
    EXPECT_EQ("failure: Can't start service", start());
    EXPECT_EQ("earlier", settings());
    EXPECT_EQ(Lines{"engine.conf"}, files());
}

TEST_F(ServerStart, ThatFailsPutsTheRecordBack)
{
    start();
    host.endEngine();
    host.onCommand = [](const std::string& /*command*/) { return 1; };
    carryOut(tests::startText(otherFile));
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
    EXPECT_EQ("engine.conf", std::filesystem::read_symlink(directory + "/.current"));
}

TEST_F(ServerStart, ThatFailsTellsTheEnginesWords)
{
    host.onCommand = [this](const std::string& /*command*/) {
        tests::writeFile(directory + "/.reason", "rules[0]: not today\n");
        return 1;
    };
    EXPECT_EQ("failure: Can't start service: rules[0]: not today", start());
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerStart, ThatFailsDoesNotTellWordsOfAnEarlierRun)
{
    std::filesystem::create_directory(directory);
    tests::writeFile(directory + "/.reason", "long ago\n");
    host.onCommand = [](const std::string& /*command*/) { return 1; };
    EXPECT_EQ("failure: Can't start service", start());
}

TEST_F(ServerStart, StopsAnEngineThatDoesNotGetReady)
{
    host.onCommand = [this](const std::string& /*command*/) {
        host.startEngine();
        return 0;
    };
    EXPECT_EQ("failure: wait limit reached", start());
    EXPECT_EQ((Lines{launch(), "signal 15"}), host.asked);
    EXPECT_EQ(-1, host.enginePid);
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerStart, KillsAnEngineThatNeitherGetsReadyNorStops)
{
    host.onCommand = [this](const std::string& /*command*/) {
        host.startEngine();
        return 0;
    };
    host.onSignal = [this](int signal) {
        if (signal == SIGKILL)
            host.endEngine();
        else
            host.announce(); // too late, and not to be taken for readiness later
    };
    EXPECT_EQ("failure: wait limit reached", start());
    EXPECT_EQ((Lines{launch(), "signal 15", "signal 9"}), host.asked);
    EXPECT_FALSE(tests::exists(host.readyFile));
}

TEST_F(ServerStart, IsNoSuccessIfTheEngineIsGoneWhenItIsReady)
{
    host.onCommand = [this](const std::string& /*command*/) {
        host.announce();
        return 0;
    };
    EXPECT_EQ("failure: the engine ended after its start", start());
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerStart, WithAnotherPathThanBeforeRemovesTheOldFile)
{
    start();
    host.endEngine();
    EXPECT_EQ("success: the engine was started", carryOut(tests::startText(otherFile)));
    EXPECT_EQ((Lines{".current", "other.conf"}), files());
}

TEST_F(ServerStart, RefusesThePidFileAsItsSettingFile)
{
    configuration.pidFile = directory + "/engine.pid";
    EXPECT_EQ("failure: setting-file-path: " + directory + "/engine.pid: is the engine's pid file",
              carryOut(tests::startText(directory + "/engine.pid")));
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerStart, RefusesPathsOutsideTheFolder)
{
    for (const std::string path : {"/etc/engine.conf", "engine.conf"}) {
        EXPECT_EQ("failure: setting-file-path: " + path + ": must lie below " + directory,
                  carryOut(tests::startText(path)));
        EXPECT_EQ(Lines{}, host.asked);
    }
}

TEST_F(ServerStart, GivesAShellNothingOfTheRequest)
{
    addModules();
    const std::string evil = "';$(touch " + directory + "/pwned)`id`|&\"#{}";
    tests::RequestParts parts;
    parts.settingFile = directory + "/" + "';$(id)`id`|&\"#{} x";
    for (const auto& rule : {parts.used.front(), parts.others.front()}) {
        rule->setSrcIpAddress(evil);
        rule->setDstIpAddress(evil);
        rule->setSrcIdentity(evil);
        rule->setDstIdentity(evil);
    }
    parts.certificates.front()->setCertFilePath(evil);
    parts.certificates.front()->setPkeyFilePath(evil);
    EXPECT_EQ("success: the engine was started", carryOut(tests::requestText(parts)));
    EXPECT_EQ((Lines{"/sbin/insmod /lib/modules/first.ko in-1",
                     "/sbin/insmod /lib/modules/second-one.ko in-2", launch()}),
              host.asked);
}

TEST_F(ServerStart, QuotesConfiguredPathsForTheShell)
{
    configuration.pidFile = host.folder / "a pid file";
    host.onCommand = [](const std::string& /*command*/) { return 1; };
    start();
    ASSERT_FALSE(host.asked.empty());
    EXPECT_EQ(host.engine + " --setting-file " + directory + "/.current --pid-file '" +
                  (host.folder / "a pid file") + "' --reason-file " + directory + "/.reason",
              host.asked.front());
}

TEST_F(ServerStart, KillsAnEngineThatRemovesItsPidFileAndStays)
{
    host.onCommand = [this](const std::string& /*command*/) {
        host.startEngine();
        return 0;
    };
    host.onSignal = [this](int signal) {
        std::filesystem::remove(host.pidFile);
        if (signal == SIGKILL)
            host.endEngine();
    };
    EXPECT_EQ("failure: wait limit reached", start());
    EXPECT_EQ((Lines{launch(), "signal 15", "signal 9"}), host.asked);
}

} // namespace
