// What a start, a restart and a shutdown do to the host, and what they take back when a step fails.

#include "Swapper.h"
#include "server_host.h"

#include "Channel.h"
#include "Exceptions.h"
#include "Exchange.h"
#include "Server.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class ServerCarryOut : public ::testing::Test {
protected:
    ServerCarryOut()
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

    /// Carries out a request; "success: WORDS" or "failure: WORDS".
    std::string carryOut(const std::string& request)
    {
        std::istringstream stream(request);
        try {
            return std::string("success: ") + Server(configuration, limits).carryOut(receiveRequest(stream));
        } catch (const std::exception& failure) {
            return std::string("failure: ") + failure.what();
        }
    }

    std::string start() { return carryOut(tests::startText(settingFile)); }
    std::string restart() { return carryOut(tests::restartText(settingFile)); }
    std::string shutDown() { return carryOut(tests::shutdownText()); }

    /// The engine's command line.
    std::string launch() const
    {
        return host.engine + " --setting-file " + directory + "/.current --pid-file " + host.pidFile +
               " --reason-file " + directory + "/.reason";
    }

    void addModules()
    {
        configuration.modules = {{"/lib/modules/first.ko", "in-1", "out-1"},
                                 {"/lib/modules/second-one.ko", "in-2", "out-2"}};
    }

    /// Has the kernel keep its list: it loads no module twice, nor one that a test names.
    void keepListOfModules(const std::string& broken = "none")
    {
        host.onCommand = [this, broken, usual = host.onCommand](const std::string& command) {
            if (command.find("/sbin/") != 0)
                return usual(command);
            static const std::regex words("/sbin/(insmod /lib/modules/|rmmod -s )([a-z-]+).*");
            std::string line = std::regex_replace(command, words, "$2 16384 0 - Live 0x0\n");
            std::replace(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(line.find(' ')), '-', '_');
            std::string list = tests::readFile(host.modules);
            const std::size_t at = list.find(line);
            const bool load = command.find("/sbin/insmod") == 0;
            if ((at == std::string::npos) != load || command.find(broken) != std::string::npos)
                return 1;
            tests::writeFile(host.modules, load ? list + line : list.erase(at, line.size()));
            return 0;
        };
    }

    /// A start by a process that is killed when it would start the engine.
    void startAndGetKilled()
    {
        const pid_t child = fork();
        if (child == 0) {
            host.onCommand = [this, usual = host.onCommand](const std::string& command) {
                if (command.find(host.engine) == 0)
                    _exit(0);
                return usual(command);
            };
            start();
            _exit(1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }

    std::string settings() const { return tests::readFile(settingFile); }
    Lines files() const { return tests::namesIn(directory); }

    tests::ServerHost host;
    const std::string directory = host.folder / "settings";
    const std::string settingFile = directory + "/engine.conf";
    const std::string otherFile = directory + "/other.conf";
    Configuration configuration;
    Limits limits;
};

// Start.

TEST_F(ServerCarryOut, StartLoadsTheModulesInOrderAndThenTheEngine)
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

TEST_F(ServerCarryOut, StartHasTheSettingFileInPlaceBeforeAnythingElse)
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

TEST_F(ServerCarryOut, StartLeavesTheSettingFileAndTheRecordOfIt)
{
    start();
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
    EXPECT_FALSE(tests::exists(host.readyFile));
}

TEST_F(ServerCarryOut, StartIsRefusedWhileTheEngineRuns)
{
    host.startEngine();
    EXPECT_EQ("failure: the engine is already running", start());
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerCarryOut, StartIgnoresThePidOfAnotherProcess)
{
    tests::writeFile(host.pidFile, std::to_string(getpid()) + "\n");
    EXPECT_EQ("success: the engine was started", start());
    EXPECT_EQ(Lines{launch()}, host.asked);
}

TEST_F(ServerCarryOut, StartDoesNotTakeALeftoverReadyFileForTheEngines)
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

TEST_F(ServerCarryOut, StartRefusesAReadyFileOfSomebodyElse)
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

TEST_F(ServerCarryOut, StartSaysWhyALeftoverReadyFileCannotBeRemoved)
{
    std::filesystem::create_directory(host.readyFile);
    EXPECT_EQ("failure: /tmp/quicksec.ready: Is a directory", start());
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerCarryOut, StartThatFailsAtAModuleTakesBackWhatItDid)
{
    addModules();
    keepListOfModules("second");
    EXPECT_EQ("failure: Can't install module", start());
    EXPECT_EQ(
        (Lines{"/sbin/insmod /lib/modules/first.ko in-1", "/sbin/insmod /lib/modules/second-one.ko in-2",
               "/sbin/insmod /lib/modules/second-one.ko in-2", "/sbin/rmmod -s first out-1"}),
        host.asked);
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerCarryOut, StartThatFailsRemovesItsModulesLastOneFirst)
{
    addModules();
    keepListOfModules();
    host.onCommand = [this, usual = host.onCommand](const std::string& command) {
        return command.find(host.engine) == 0 ? 1 : usual(command);
    };
    EXPECT_EQ("failure: Can't start service", start());
    EXPECT_EQ(
        (Lines{"/sbin/insmod /lib/modules/first.ko in-1", "/sbin/insmod /lib/modules/second-one.ko in-2",
               launch(), launch(), "/sbin/rmmod -s second-one out-2", "/sbin/rmmod -s first out-1"}),
        host.asked);
}

TEST_F(ServerCarryOut, StartThatFailsLeavesModulesThatWereThereBefore)
{
    addModules();
    tests::writeFile(host.modules, "first 16384 0 - Live 0x0\n");
    keepListOfModules();
    host.onCommand = [this, usual = host.onCommand](const std::string& command) {
        return command.find(host.engine) == 0 ? 1 : usual(command);
    };
    start();
    EXPECT_EQ("/sbin/rmmod -s second-one out-2", host.asked.back());
}

TEST_F(ServerCarryOut, TheModulesOfAKilledStartAreRemovedWhateverTheNextRequestIs)
{
    addModules();
    keepListOfModules();
    for (const bool starts : {true, false}) {
        host.asked.clear();
        startAndGetKilled();
        EXPECT_EQ("first 16384 0 - Live 0x0\nsecond_one 16384 0 - Live 0x0\n", tests::readFile(host.modules));
        if (starts) {
            EXPECT_EQ("success: the engine was started", start());
            EXPECT_EQ("success: the engine was shut down", shutDown());
        } else {
            EXPECT_EQ("failure: the engine is not running", shutDown());
        }
        EXPECT_EQ("", tests::readFile(host.modules));
        ASSERT_LE(2U, host.asked.size());
        EXPECT_EQ("/sbin/rmmod -s second-one out-2", host.asked[0]);
        EXPECT_EQ("/sbin/rmmod -s first out-1", host.asked[1]);
        EXPECT_FALSE(std::filesystem::is_symlink(directory + "/.modules"));
    }
}

TEST_F(ServerCarryOut, ModulesThatWereThereBeforeAKilledStartStay)
{
    addModules();
    tests::writeFile(host.modules, "first 16384 0 - Live 0x0\n");
    keepListOfModules();
    startAndGetKilled();
    EXPECT_EQ("failure: the engine is not running", shutDown());
    EXPECT_EQ(Lines{"/sbin/rmmod -s second-one out-2"}, host.asked);
}

TEST_F(ServerCarryOut, ModulesOfAKilledStartAreThoseOfAnEngineThatHasComeUpNevertheless)
{
    addModules();
    keepListOfModules();
    startAndGetKilled();
    host.startEngine();
    EXPECT_EQ("success: the engine took over the new settings", restart());
    EXPECT_EQ(Lines{"signal 1"}, host.asked);
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
}

TEST_F(ServerCarryOut, ModulesOfAnotherBootAreNobodysWhoWasKilled)
{
    addModules();
    keepListOfModules();
    startAndGetKilled();
    std::string note = std::filesystem::read_symlink(directory + "/.modules");
    ASSERT_EQ(std::string(" first second_one"), note.substr(36)) << note;
    note.front() = note.front() == '0' ? '1' : '0';
    std::filesystem::remove(directory + "/.modules");
    std::filesystem::create_symlink(note, directory + "/.modules");
    EXPECT_EQ("failure: the engine is not running", shutDown());
    EXPECT_EQ(Lines{}, host.asked);
}

TEST_F(ServerCarryOut, ModulesThatCannotBeRemovedAreTriedAgainBeforeTheNextStart)
{
    addModules();
    keepListOfModules();
    const auto usual = host.onCommand;
    start();
    host.onCommand = [&](const std::string& command) {
        return command.find("/sbin/rmmod -s first") == 0 ? 1 : usual(command);
    };
    EXPECT_EQ("failure: Can't remove module", shutDown());
    EXPECT_EQ(Lines{".modules"}, files());
    host.onCommand = usual;
    host.asked.clear();
    EXPECT_EQ("success: the engine was started", start());
    ASSERT_LE(2U, host.asked.size());
    EXPECT_EQ("/sbin/rmmod -s first out-1", host.asked[0]);
    EXPECT_EQ("/sbin/insmod /lib/modules/first.ko in-1", host.asked[1]);
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
}

TEST_F(ServerCarryOut, ModulesThatAreNewInTheConfigurationJoinThoseThatCouldNotBeRemoved)
{
    addModules();
    keepListOfModules("rmmod");
    start();
    EXPECT_EQ("failure: Can't remove module", shutDown());
    configuration.modules.push_back({"/lib/modules/third.ko", "in-3", "out-3"});
    startAndGetKilled();
    host.asked.clear();
    EXPECT_EQ("failure: the engine is not running", shutDown());
    EXPECT_EQ((Lines{"/sbin/rmmod -s third out-3", "/sbin/rmmod -s second-one out-2",
                     "/sbin/rmmod -s first out-1"}),
              host.asked);
}

TEST_F(ServerCarryOut, StartThatFailsPutsAnEarlierSettingFileBack)
{
    std::filesystem::create_directory(directory);
    tests::writeFile(settingFile, "earlier");
    host.onCommand = [](const std::string& /*command*/) { return 1; };
    EXPECT_EQ("failure: Can't start service", start());
    EXPECT_EQ("earlier", settings());
    EXPECT_EQ(Lines{"engine.conf"}, files());
}

TEST_F(ServerCarryOut, StartThatFailsPutsTheRecordBack)
{
    start();
    host.endEngine();
    host.onCommand = [](const std::string& /*command*/) { return 1; };
    carryOut(tests::startText(otherFile));
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
    EXPECT_EQ("engine.conf", std::filesystem::read_symlink(directory + "/.current"));
}

TEST_F(ServerCarryOut, StartThatFailsTellsTheEnginesWords)
{
    host.onCommand = [this](const std::string& /*command*/) {
        tests::writeFile(directory + "/.reason", "rules[0]: not today\n");
        return 1;
    };
    EXPECT_EQ("failure: Can't start service: rules[0]: not today", start());
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerCarryOut, StartThatFailsDoesNotTellWordsOfAnEarlierRun)
{
    std::filesystem::create_directory(directory);
    tests::writeFile(directory + "/.reason", "long ago\n");
    host.onCommand = [](const std::string& /*command*/) { return 1; };
    EXPECT_EQ("failure: Can't start service", start());
}

TEST_F(ServerCarryOut, StartStopsAnEngineThatDoesNotGetReady)
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

TEST_F(ServerCarryOut, StartKillsAnEngineThatNeitherGetsReadyNorStops)
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

TEST_F(ServerCarryOut, StartIsNoSuccessIfTheEngineIsGoneWhenItIsReady)
{
    host.onCommand = [this](const std::string& /*command*/) {
        host.announce();
        return 0;
    };
    EXPECT_EQ("failure: the engine ended after its start", start());
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerCarryOut, StartWithAnotherPathThanBeforeRemovesTheOldFile)
{
    start();
    host.endEngine();
    EXPECT_EQ("success: the engine was started", carryOut(tests::startText(otherFile)));
    EXPECT_EQ((Lines{".current", "other.conf"}), files());
}

TEST_F(ServerCarryOut, StartRefusesThePidFileAsItsSettingFile)
{
    configuration.pidFile = directory + "/engine.pid";
    EXPECT_EQ("failure: setting-file-path: " + directory + "/engine.pid: is the engine's pid file",
              carryOut(tests::startText(directory + "/engine.pid")));
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerCarryOut, StartRefusesPathsOutsideTheFolder)
{
    for (const std::string path : {"/etc/engine.conf", "engine.conf"}) {
        EXPECT_EQ("failure: setting-file-path: " + path + ": must lie below " + directory,
                  carryOut(tests::startText(path)));
        EXPECT_EQ(Lines{}, host.asked);
    }
}

TEST_F(ServerCarryOut, StartGivesAShellNothingOfTheRequest)
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

TEST_F(ServerCarryOut, StartQuotesConfiguredPathsForTheShell)
{
    configuration.pidFile = host.folder / "a pid file";
    host.onCommand = [](const std::string& /*command*/) { return 1; };
    start();
    ASSERT_FALSE(host.asked.empty());
    EXPECT_EQ(host.engine + " --setting-file " + directory + "/.current --pid-file '" +
                  (host.folder / "a pid file") + "' --reason-file " + directory + "/.reason",
              host.asked.front());
}

// Restart.

TEST_F(ServerCarryOut, RestartWritesTheFileAndSignalsTheEngine)
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

TEST_F(ServerCarryOut, RestartIsRefusedWhileTheEngineDoesNotRun)
{
    EXPECT_EQ("failure: the engine is not running", restart());
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerCarryOut, RestartDoesNotSignalThePidOfAnotherProcess)
{
    tests::writeFile(host.pidFile, std::to_string(getpid()) + "\n");
    EXPECT_EQ("failure: the engine is not running", restart());
    EXPECT_EQ("failure: the engine is not running", shutDown());
}

TEST_F(ServerCarryOut, RestartWithAnotherPathRemovesTheOldFile)
{
    start();
    EXPECT_EQ("success: the engine took over the new settings", carryOut(tests::restartText(otherFile)));
    EXPECT_EQ((Lines{".current", "other.conf"}), files());
    EXPECT_EQ("other.conf", std::filesystem::read_symlink(directory + "/.current"));
}

TEST_F(ServerCarryOut, RestartThatFailsGivesTheEngineItsOldSettingsAgain)
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

TEST_F(ServerCarryOut, RestartThatFailsUnderAnotherPathLeavesTheOldOne)
{
    start();
    host.onSignal = [](int /*signal*/) {};
    EXPECT_EQ("failure: wait limit reached", carryOut(tests::restartText(otherFile)));
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
    EXPECT_EQ("engine.conf", std::filesystem::read_symlink(directory + "/.current"));
}

TEST_F(ServerCarryOut, RestartThatFailsTellsTheEnginesWords)
{
    start();
    host.onSignal = [this](int /*signal*/) {
        tests::writeFile(directory + "/.reason", "no such algorithm\n");
    };
    EXPECT_EQ("failure: wait limit reached: no such algorithm", restart());
}

// Anybody can make a ready file.
TEST_F(ServerCarryOut, RestartIsNoSuccessIfTheEngineRefusedWhateverTheReadyFileSays)
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

TEST_F(ServerCarryOut, RestartThatFailsLeavesNoReadyFileOfTheOldSettings)
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

TEST_F(ServerCarryOut, RestartIsNoSuccessIfTheEngineEndedInstead)
{
    start();
    host.onSignal = [this](int /*signal*/) {
        host.endEngine();
        host.announce();
    };
    EXPECT_EQ("failure: the engine ended instead of taking over the new settings", restart());
}

TEST_F(ServerCarryOut, RestartDoesNotTakeALeftoverReadyFileForTheEngines)
{
    start();
    host.announce();
    host.onSignal = [](int /*signal*/) {};
    EXPECT_EQ("failure: wait limit reached", restart());
}

TEST_F(ServerCarryOut, RestartOfARefusedPathChangesNothing)
{
    start();
    const std::string before = settings();
    host.asked.clear();
    EXPECT_EQ("failure: setting-file-path: /etc/x: must lie below " + directory,
              carryOut(tests::restartText("/etc/x")));
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_EQ(before, settings());
}

TEST_F(ServerCarryOut, RestartOfAPolicyThatTheEngineCannotDoTouchesNothing)
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

TEST_F(ServerCarryOut, RestartWritesNothingOutsideTheFolderWhateverTakesTheSettingFilesPlace)
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

// Shutdown.

TEST_F(ServerCarryOut, ShutdownStopsTheEngineRemovesTheModulesAndDeletesTheFile)
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

TEST_F(ServerCarryOut, ShutdownMayNameTheFileInUse)
{
    start();
    EXPECT_EQ("success: the engine was shut down", carryOut(tests::shutdownText(settingFile)));
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerCarryOut, ShutdownIsRefusedForAnotherFile)
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

TEST_F(ServerCarryOut, ShutdownIsRefusedForAPathOutsideTheFolder)
{
    start();
    EXPECT_EQ("failure: setting-file-path: /etc/passwd: must lie below " + directory,
              carryOut(tests::shutdownText("/etc/passwd")));
    EXPECT_NE(-1, host.enginePid);
}

TEST_F(ServerCarryOut, ShutdownIsRefusedWhileTheEngineDoesNotRun)
{
    EXPECT_EQ("failure: the engine is not running", shutDown());
    EXPECT_EQ(Lines{}, host.asked);
}

TEST_F(ServerCarryOut, ShutdownStopsTheEngineEvenIfItsFileIsGone)
{
    start();
    std::filesystem::remove(settingFile);
    EXPECT_EQ("failure: can't delete the file", shutDown());
    EXPECT_EQ(-1, host.enginePid);
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerCarryOut, ShutdownStopsTheEngineEvenIfItsFileBecameALink)
{
    start();
    std::filesystem::remove(settingFile);
    tests::writeFile(host.folder / "victim", "untouched");
    ASSERT_EQ(0, symlink((host.folder / "victim").c_str(), settingFile.c_str()));
    EXPECT_EQ("failure: can't delete the file", shutDown());
    EXPECT_EQ(-1, host.enginePid);
    EXPECT_EQ("untouched", tests::readFile(host.folder / "victim"));
}

TEST_F(ServerCarryOut, ShutdownStopsTheEngineEvenWithoutARecord)
{
    host.startEngine();
    EXPECT_EQ("failure: can't delete the file", shutDown());
    EXPECT_EQ(-1, host.enginePid);
}

TEST_F(ServerCarryOut, ShutdownSaysThatTheEngineDoesNotEnd)
{
    start();
    host.onSignal = [](int /*signal*/) {};
    EXPECT_EQ("failure: the engine does not end", shutDown());
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
}

TEST_F(ServerCarryOut, ShutdownThatCannotRemoveAModuleStillDeletesTheFile)
{
    addModules();
    start();
    host.onCommand = [](const std::string& command) {
        return command.find("first") != std::string::npos ? 1 : 0;
    };
    EXPECT_EQ("failure: Can't remove module", shutDown());
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerCarryOut, ShutdownWaitsForTheEngineNotForItsPidFile)
{
    start();
    host.onSignal = [this](int /*signal*/) { std::filesystem::remove(host.pidFile); };
    EXPECT_EQ("failure: the engine does not end", shutDown());
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
}

TEST_F(ServerCarryOut, StartKillsAnEngineThatRemovesItsPidFileAndStays)
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

// The pid file, whatever happens to it between the server's look at it and the library's.

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

// Turns.

TEST_F(ServerCarryOut, RequestsAreCarriedOutOneAfterTheOther)
{
    const SettingFolder folder(directory);
    const ServerLock other(folder, 0ms);
    EXPECT_EQ("failure: another request is being carried out", start());
    EXPECT_EQ(Lines{}, host.asked);
    EXPECT_EQ(Lines{}, files());
}

// The whole exchange.

class ServerExchange : public ServerCarryOut {
protected:
    ServerExchange() { writeConfiguration("max-request-bytes = 100000\nmax-request-seconds = 1\n"); }

    void writeConfiguration(const std::string& line)
    {
        tests::writeFile(file, "engine = \"standalone\"\nsetting-directory = \"" + directory + "\"\n" + line +
                                   "[service]\ncommand = \"" + host.engine + "\"\npid-file = \"" +
                                   host.pidFile +
                                   "\"\nstop-signal = \"TERM\"\nreconfigure-signal = \"HUP\"\n");
    }

    /// What a client reads that sends a request and, unless told otherwise, ends it.
    std::string answerTo(const std::string& request, bool end = true)
    {
        std::array<int, 2> ends = {};
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()));
        std::string text;
        std::thread client([&] {
            EXPECT_EQ(static_cast<ssize_t>(request.size()),
                      send(ends[0], request.data(), request.size(), MSG_NOSIGNAL));
            if (end)
                shutdown(ends[0], SHUT_WR);
            char byte = 0;
            while (read(ends[0], &byte, 1) == 1)
                text += byte;
            close(ends[0]);
        });
        {
            Channel channel{Descriptor(ends[1]), Descriptor(dup(ends[1]))};
            written = exchange(channel, file, limits);
        }
        client.join();
        return tests::inWords(text);
    }

    const std::string file = host.folder / "server.toml";
    bool written = false;
};

TEST_F(ServerExchange, AnswersAndLogsASuccess)
{
    EXPECT_EQ("success: the engine was started", answerTo(tests::startText(settingFile)));
    EXPECT_TRUE(written);
    EXPECT_EQ(Lines{"start: success: the engine was started"}, host.logged);
}

TEST_F(ServerExchange, AnswersAndLogsAFailure)
{
    EXPECT_EQ("failure: the engine is not running", answerTo(tests::shutdownText()));
    EXPECT_EQ("failure: the engine is not running", answerTo(tests::restartText(settingFile)));
    EXPECT_EQ((Lines{"shutdown: failure: the engine is not running",
                     "restart: failure: the engine is not running"}),
              host.logged);
}

TEST_F(ServerExchange, LogsNoSecret)
{
    answerTo(tests::startText(settingFile));
    answerTo(tests::restartText(settingFile));
    answerTo(tests::startText("/etc/passwd"));
    std::string bad = tests::startText(settingFile);
    tests::replaceAll(bad, "<string>0x", "<string>0x7f");
    answerTo(bad);
    ASSERT_EQ(4U, host.logged.size());
    EXPECT_EQ(
        "start: failure: phase 1, proposal 0, transform 0: auth-method: control characters are not allowed",
        host.logged.back());
    for (const std::string& line : host.logged)
        EXPECT_EQ(std::string::npos, line.find(tests::SECRET)) << line;
}

TEST_F(ServerExchange, AnswersGarbage)
{
    for (const std::string request :
         {"", "garbage", "<?xml version=\"1.0\"?><methodCall>", "<methodCall></methodCall>"})
        EXPECT_EQ("failure: CArrayPaser's parse error", answerTo(request)) << request;
    EXPECT_EQ("request: failure: CArrayPaser's parse error", host.logged.front());
}

TEST_F(ServerExchange, AnswersEveryTruncationOfARequest)
{
    const std::string request = tests::shutdownText();
    for (std::size_t size = 0; size + 1 < request.size(); ++size)
        EXPECT_EQ("failure: CArrayPaser's parse error", answerTo(request.substr(0, size))) << size;
}

TEST_F(ServerExchange, AnswersARequestThatIsTooLarge)
{
    writeConfiguration("max-request-bytes = 1000\n");
    EXPECT_EQ("failure: the request is larger than 1000 bytes", answerTo(tests::startText(settingFile)));
    EXPECT_EQ(Lines{}, host.asked);
}

TEST_F(ServerExchange, AnswersARequestThatNeverEnds)
{
    const std::string request = tests::startText(settingFile);
    EXPECT_EQ("failure: the request did not arrive within 1 seconds",
              answerTo(request.substr(0, request.size() / 2), false));
}

TEST_F(ServerExchange, AnswersWithoutWaitingForTheEndOfTheConnection)
{
    writeConfiguration("max-request-seconds = 60\n");
    EXPECT_EQ("failure: the engine is not running", answerTo(tests::shutdownText(), false));
}

TEST_F(ServerExchange, AnswersWhatIsWrongWithItsConfiguration)
{
    writeConfiguration("colour = \"blue\"\n");
    EXPECT_EQ("failure: " + file +
                  ":3:1: colour: is not a known key, only: engine, max-request-bytes, max-request-seconds, "
                  "modules, service, setting-directory, strongswan",
              answerTo(tests::startText(settingFile)));
    std::filesystem::remove(file);
    EXPECT_EQ("failure: " + file + ": No such file or directory", answerTo(tests::startText(settingFile)));
}

TEST_F(ServerExchange, AnswersAValueOfTheWrongKind)
{
    std::string request = tests::shutdownText();
    tests::replaceAll(request, "<int>2</int>", "<string>two</string>");
    EXPECT_EQ("failure: stoi", answerTo(request));
}

TEST_F(ServerExchange, AnswersRulesWithTheSameAddresses)
{
    tests::RequestParts parts;
    parts.settingFile = settingFile;
    parts.used.push_back(parts.used.front());
    EXPECT_EQ("failure: Detect duplicates of key: src addr: 192.0.2.1 :dst addr: 192.0.2.2",
              answerTo(tests::requestText(parts)));
}

TEST_F(ServerExchange, CutsAPathThatIsTooLongToRepeat)
{
    const std::string answer = answerTo(tests::startText("/" + std::string(50000, 'x')));
    EXPECT_EQ(std::string("failure: ").size() + 2000, answer.size());
    EXPECT_EQ(0U, answer.find("failure: setting-file-path: /xxx"));
}

TEST_F(ServerExchange, SaysIfTheClientIsGone)
{
    ASSERT_NE(SIG_ERR, signal(SIGPIPE, SIG_IGN));
    std::array<int, 2> ends = {};
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()));
    close(ends[0]);
    Channel channel{Descriptor(ends[1]), Descriptor(dup(ends[1]))};
    EXPECT_FALSE(exchange(channel, file, limits));
    ASSERT_NE(SIG_ERR, signal(SIGPIPE, SIG_DFL));
}

TEST_F(ServerExchange, GivesUpOnAClientThatDoesNotRead)
{
    limits.answer = 50ms;
    std::array<int, 2> ends = {};
    ASSERT_EQ(0, pipe(ends.data()));
    const std::string fill(4096, 'x');
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    while (write(ends[1], fill.data(), fill.size()) > 0)
        ;
    Channel channel{Descriptor(open("/dev/null", O_RDONLY)), Descriptor(ends[1])};
    EXPECT_FALSE(exchange(channel, file, limits));
    close(ends[0]);
}

} // namespace
