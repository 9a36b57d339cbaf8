// Requests that are carried out on a fake host, and what holds for each of them.

#include "server_carry_out.h"

#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using namespace std::chrono_literals;

namespace tests {

ServerCarryOut::ServerCarryOut()
{
    configuration.engine = "standalone";
    configuration.settingDirectory = directory;
    configuration.serviceCommand = host.engine;
    configuration.pidFile = host.pidFile;
    configuration.stopSignal = SIGTERM;
    configuration.reconfigureSignal = SIGHUP;
    configuration.retry = 2;
    limits.lock = 50ms;
    limits.pidFile = 50ms;
    limits.stop = 200ms;
    limits.putBack = 50ms;
}

std::string ServerCarryOut::carryOut(const std::string& request)
{
    std::istringstream stream(request);
    try {
        return std::string("success: ") + Server(configuration, limits).carryOut(receiveRequest(stream));
    } catch (const std::exception& failure) {
        return std::string("failure: ") + failure.what();
    }
}

std::string ServerCarryOut::launch() const
{
    return host.engine + " --setting-file " + directory + "/.current --pid-file " + host.pidFile +
           " --reason-file " + directory + "/.reason";
}

void ServerCarryOut::addModules()
{
    configuration.modules = {{"/lib/modules/first.ko", "in-1", "out-1"},
                             {"/lib/modules/second-one.ko", "in-2", "out-2"}};
}

} // namespace tests

namespace {

using Lines = std::vector<std::string>;
using tests::ServerCarryOut;

TEST_F(ServerCarryOut, SignalsNobodyElseWhenThePidFileChanges)
{
    const tests::Process other({std::filesystem::canonical("/bin/sleep"), "1000"});
    start();
    host.onPath = [&](const std::string& path) {
        if (path == host.pidFile)
            tests::writeFile(host.pidFile, std::to_string(other.pid()) + "\n");
    };
    EXPECT_EQ("success: the engine took over the new settings", restart());
    EXPECT_EQ("success: the engine was shut down", shutDown());
    EXPECT_EQ((Lines{launch(), "signal 1", "signal 15"}), host.asked);
    EXPECT_TRUE(tests::lives(other.pid()));
}

TEST_F(ServerCarryOut, SignalsNobodyElseOfTheEnginesNameWhenThePidFileGoes)
{
    std::filesystem::create_directory(host.folder / "other");
    std::filesystem::copy_file(host.engine, host.folder / "other/engine");
    const tests::Process other({host.folder / "other/engine", "1000"});
    const std::string exe = "/proc/" + std::to_string(other.pid()) + "/exe";
    ASSERT_TRUE(tests::eventually([&] {
        std::error_code none;
        return std::filesystem::read_symlink(exe, none) == host.folder / "other/engine";
    }));
    start();
    host.onPath = [&](const std::string& path) {
        if (path == host.pidFile)
            std::filesystem::remove(host.pidFile);
    };
    EXPECT_EQ("success: the engine was shut down", shutDown());
    EXPECT_EQ((Lines{launch(), "signal 15"}), host.asked);
    EXPECT_TRUE(tests::lives(other.pid()));
}

TEST_F(ServerCarryOut, SignalsNobodyOnceTheEngineHasEnded)
{
    const tests::Process other({std::filesystem::canonical("/bin/sleep"), "1000"});
    start();
    host.asked.clear();
    host.onPath = [&](const std::string& path) {
        if (path != "/tmp/quicksec.ready")
            return;
        host.endEngine();
        tests::writeFile(host.pidFile, std::to_string(other.pid()) + "\n");
    };
    EXPECT_EQ("failure: the engine is not running", restart());
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_TRUE(tests::lives(other.pid()));
}

TEST_F(ServerCarryOut, RequestsAreCarriedOutOneAfterTheOther)
{
    const SettingFolder folder(directory);
    const ServerLock other(folder, 0ms);
    EXPECT_EQ("failure: another request is being carried out", start());
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_EQ(Lines{}, files());
}

} // namespace
