// What a shutdown does to the host.

#include "server_carry_out.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

class ServerShutdown : public tests::ServerCarryOut {};

TEST_F(ServerShutdown, StopsTheEngineRemovesTheModulesAndDeletesTheFile)
{
    addModules();
    start();
    host.asked.clear();
    EXPECT_EQ("success: the engine was shut down", shutDown());
    EXPECT_EQ((Lines{"signal 15", "/sbin/rmmod -s second-one out-2", "/sbin/rmmod -s first out-1"}),
              host.asked);
    EXPECT_EQ(-1, host.enginePid);
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerShutdown, MayNameTheFileInUse)
{
    start();
    EXPECT_EQ("success: the engine was shut down", carryOut(tests::shutdownText(settingFile)));
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerShutdown, IsRefusedForAnotherFile)
{
    start();
    tests::writeFile(otherFile, "something else");
    host.asked.clear();
    EXPECT_EQ("failure: setting-file-path: " + otherFile + ": is not the setting file in use, which is " +
                  settingFile,
              carryOut(tests::shutdownText(otherFile)));
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_EQ((Lines{".current", "engine.conf", "other.conf"}), files());
}

TEST_F(ServerShutdown, IsRefusedForAPathOutsideTheFolder)
{
    start();
    EXPECT_EQ("failure: setting-file-path: /etc/passwd: must lie below " + directory,
              carryOut(tests::shutdownText("/etc/passwd")));
    EXPECT_NE(-1, host.enginePid);
}

TEST_F(ServerShutdown, IsRefusedWhileTheEngineDoesNotRun)
{
    EXPECT_EQ("failure: the engine is not running", shutDown());
    EXPECT_EQ(Lines{}, host.asked);
}

TEST_F(ServerShutdown, StopsTheEngineEvenIfItsFileIsGone)
{
    start();
    std::filesystem::remove(settingFile);
    EXPECT_EQ("failure: can't delete the file", shutDown());
    EXPECT_EQ(-1, host.enginePid);
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerShutdown, StopsTheEngineEvenIfItsFileBecameALink)
{
    start();
    std::filesystem::remove(settingFile);
    tests::writeFile(host.folder / "victim", "untouched");
    ASSERT_EQ(0, symlink((host.folder / "victim").c_str(), settingFile.c_str()));
    EXPECT_EQ("failure: can't delete the file", shutDown());
    EXPECT_EQ(-1, host.enginePid);
    EXPECT_EQ("untouched", tests::readFile(host.folder / "victim"));
}

TEST_F(ServerShutdown, StopsTheEngineEvenWithoutARecord)
{
    host.startEngine();
    EXPECT_EQ("failure: can't delete the file", shutDown());
    EXPECT_EQ(-1, host.enginePid);
}

TEST_F(ServerShutdown, SaysThatTheEngineDoesNotEnd)
{
    start();
    host.onSignal = [](int /*signal*/) {};
    EXPECT_EQ("failure: the engine does not end", shutDown());
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
}

TEST_F(ServerShutdown, ThatCannotRemoveAModuleStillDeletesTheFile)
{
    addModules();
    start();
    host.onCommand = [](const std::string& command) {
        return command.find("first") != std::string::npos ? 1 : 0;
    };
    EXPECT_EQ("failure: Can't remove module", shutDown());
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerShutdown, WaitsForTheEngineNotForItsPidFile)
{
    start();
    host.onSignal = [this](int /*signal*/) { std::filesystem::remove(host.pidFile); };
    EXPECT_EQ("failure: the engine does not end", shutDown());
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
}

} // namespace
