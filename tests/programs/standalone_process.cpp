// The standalone engine as a process.

#include "engine_program.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

const std::string SETTINGS = R"({"format": 1, "fips": false, "namespace": "",
"phase1": [{"id": 1, "transforms": [{"id": 1, "encryption": "AES", "key-length": 256, "hash": "SHA256",
  "authentication": "PSK", "authentication-data": "correct horse battery staple", "group": 14, "lifetime": 28800}]}],
"phase2": [], "rules": [], "certificates": []})";

class StandaloneProcess : public tests::EngineProgram {
protected:
    StandaloneProcess()
        : EngineProgram(STANDALONE)
    {
        tests::writeFile(settingFile, SETTINGS);
    }
};

TEST_F(StandaloneProcess, GoesToTheBackgroundWithItsPidFileWrittenAndReady)
{
    EXPECT_EQ(0, start());
    ASSERT_GT(enginePid(), 0);
    EXPECT_TRUE(tests::lives(enginePid()));
    EXPECT_TRUE(ready());
    EXPECT_EQ(0600U, tests::modeOf(readyFile));
    EXPECT_EQ(std::to_string(enginePid()) + "\n", tests::readFile(pidFile));
}

TEST_F(StandaloneProcess, HasASessionAndAFolderOfItsOwn)
{
    ASSERT_EQ(0, start());
    EXPECT_EQ(enginePid(), getsid(enginePid()));
    EXPECT_EQ("/", fs::read_symlink("/proc/" + std::to_string(enginePid()) + "/cwd"));
}

TEST_F(StandaloneProcess, KeepsNothingOpenOfWhoStartedIt)
{
    const int inherited = open("/dev/zero", O_RDONLY); // NOLINT: to be inherited
    ASSERT_EQ(0, start());
    close(inherited);
    // It closes the pipe to the process that was started a moment after that one has ended.
    std::string other;
    EXPECT_TRUE(tests::eventually([&] {
        other.clear();
        for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(enginePid()) + "/fd")) {
            std::error_code closed;
            const std::string target = fs::read_symlink(entry.path(), closed);
            if (!closed && target != "/dev/null" && target != pidFile)
                other += target + "\n";
        }
        return other.empty();
    })) << other;
}

TEST_F(StandaloneProcess, EndsCleanlyWhenToldTo)
{
    for (const int signal : {SIGTERM, SIGINT, SIGQUIT}) {
        tests::Process process(command({"--foreground"}), environment());
        ASSERT_TRUE(tests::eventually([this] { return ready(); }));
        EXPECT_EQ(process.pid(), enginePid());
        process.signal(signal);
        EXPECT_EQ(0, process.wait());
        EXPECT_FALSE(tests::exists(pidFile));
        fs::remove(readyFile);
    }
}

TEST_F(StandaloneProcess, EndsCleanlyInTheBackgroundToo)
{
    ASSERT_EQ(0, start());
    const pid_t pid = enginePid();
    kill(pid, SIGTERM);
    EXPECT_TRUE(tests::eventually([&] { return !tests::lives(pid); }));
    EXPECT_FALSE(tests::exists(pidFile));
    EXPECT_NE(std::string::npos, log().find("ipseccfg-standalone(daemon) 6: ended\n")) << log();
}

TEST_F(StandaloneProcess, DoesNotGetReadyWithABrokenSettingFileAndSaysWhy)
{
    tests::writeFile(settingFile, "{\"format\": 1}");
    EXPECT_EQ(1, start());
    EXPECT_FALSE(ready());
    EXPECT_FALSE(tests::exists(pidFile));
    EXPECT_EQ("ipseccfg-standalone(daemon) 3: not started: " + settingFile + ": fips: is missing\n", log());
    EXPECT_EQ(settingFile + ": fips: is missing\n", reason());
}

TEST_F(StandaloneProcess, SaysOnStandardErrorWhyItDoesNotStart)
{
    tests::writeFile(settingFile, "{\"format\": 1}");
    const std::string errors = folder / "errors";
    const std::string shell = "exec \"$@\" 2>" + errors;
    std::vector<std::string> words = {"/bin/sh", "-c", shell, "sh"};
    const std::vector<std::string> engine = command();
    words.insert(words.end(), engine.begin(), engine.end());
    tests::Process process(words);
    EXPECT_EQ(1, process.wait());
    EXPECT_EQ("standalone: " + settingFile + ": fips: is missing\n", tests::readFile(errors));
}

TEST_F(StandaloneProcess, ReadsItsSettingsAgainAndAnnouncesAgain)
{
    for (const int signal : {SIGHUP, SIGUSR1, SIGUSR2}) {
        ASSERT_EQ(0, start());
        ASSERT_TRUE(fs::remove(readyFile));
        std::string changed = SETTINGS;
        tests::replaceAll(changed, "false", "true");
        tests::writeFile(settingFile, changed);
        kill(enginePid(), signal);
        EXPECT_TRUE(tests::eventually([this] { return ready(); })) << signal;
        EXPECT_NE(std::string::npos,
                  log().find("settings accepted: 1 proposal in phase 1, 0 proposals in phase 2, 0 rules, "
                             "0 certificates, FIPS mode on\n"))
            << log();
        const pid_t pid = enginePid();
        kill(pid, SIGTERM);
        EXPECT_TRUE(tests::eventually([&] { return !tests::lives(pid); }));
        fs::remove(readyFile);
        fs::remove(logFile);
        tests::writeFile(settingFile, SETTINGS);
    }
}

// Who gave a reason file looks there first, and need not wait any longer.
TEST_F(StandaloneProcess, KeepsItsSettingsWhenNewOnesAreBrokenAndIsReadyWithTheReasonGiven)
{
    ASSERT_EQ(0, start());
    ASSERT_TRUE(fs::remove(readyFile));
    tests::writeFile(settingFile, "{}");
    kill(enginePid(), SIGHUP);
    EXPECT_TRUE(tests::eventually([this] { return ready(); }));
    EXPECT_EQ(settingFile + ": format: is missing\n", reason());
    EXPECT_NE(std::string::npos,
              log().find("3: settings refused, the old ones stay: " + settingFile + ": format: is missing\n"))
        << log();
    EXPECT_TRUE(tests::lives(enginePid()));
    ASSERT_TRUE(fs::remove(readyFile));
    // It obeys the next signal as before, and what it said is no longer true then.
    tests::writeFile(settingFile, SETTINGS);
    kill(enginePid(), SIGHUP);
    EXPECT_TRUE(tests::eventually([this] { return ready(); }));
    EXPECT_FALSE(tests::exists(reasonFile));
}

TEST_F(StandaloneProcess, IsNotReadyWithBrokenSettingsIfNobodyCouldSayWhy)
{
    ASSERT_EQ(0, start());
    ASSERT_TRUE(fs::remove(readyFile));
    fs::create_directory(reasonFile);
    tests::writeFile(settingFile, "{}");
    kill(enginePid(), SIGHUP);
    EXPECT_TRUE(tests::eventually([this] { return log().find("settings refused") != std::string::npos; }));
    // It obeys one signal after the other, so by its end all is done that was due before.
    const pid_t pid = enginePid();
    kill(pid, SIGTERM);
    EXPECT_TRUE(tests::eventually([&] { return !tests::lives(pid); }));
    EXPECT_FALSE(ready());
}

TEST_F(StandaloneProcess, TellsTheLogNoKey)
{
    ASSERT_EQ(0, start());
    tests::writeFile(settingFile, SETTINGS + "\"correct horse battery staple");
    kill(enginePid(), SIGHUP);
    EXPECT_TRUE(tests::eventually([this] { return tests::exists(reasonFile); }));
    EXPECT_NE("<no file>", log());
    EXPECT_EQ(std::string::npos, log().find("correct horse")) << log();
    EXPECT_EQ(std::string::npos, reason().find("correct horse"));
}

TEST_F(StandaloneProcess, IsTheOnlyOneOfItsPidFile)
{
    ASSERT_EQ(0, start());
    const pid_t first = enginePid();
    fs::remove(readyFile);
    EXPECT_EQ(1, start());
    EXPECT_EQ(first, enginePid());
    EXPECT_TRUE(tests::lives(first));
    EXPECT_FALSE(ready());
    EXPECT_EQ(pidFile + ": another engine runs\n", reason());
}

TEST_F(StandaloneProcess, TakesOverThePidFileOfAnEngineThatWasKilled)
{
    tests::writeFile(pidFile, "1234567890\n1234567890\n");
    ASSERT_EQ(0, start());
    EXPECT_EQ(std::to_string(enginePid()) + "\n", tests::readFile(pidFile));
    EXPECT_TRUE(tests::lives(enginePid()));
}

TEST_F(StandaloneProcess, WritesItsPidThroughNoLink)
{
    tests::writeFile(folder / "victim", "untouched");
    ASSERT_EQ(0, symlink((folder / "victim").c_str(), pidFile.c_str()));
    EXPECT_EQ(1, start());
    EXPECT_EQ("untouched", tests::readFile(folder / "victim"));
    EXPECT_EQ(pidFile + ": Too many levels of symbolic links\n", reason());
}

TEST_F(StandaloneProcess, MakesItsReadyFileThroughNoLink)
{
    ASSERT_EQ(0, symlink((folder / "victim").c_str(), readyFile.c_str()));
    ASSERT_EQ(0, start());
    EXPECT_FALSE(tests::exists(folder / "victim"));
    EXPECT_NE(std::string::npos, log().find("4: " + readyFile + ": File exists\n")) << log();
}

TEST_F(StandaloneProcess, LeavesThePidFileOfItsSuccessor)
{
    ASSERT_EQ(0, start());
    const pid_t pid = enginePid();
    fs::remove(pidFile);
    tests::writeFile(pidFile, "42\n");
    kill(pid, SIGTERM);
    EXPECT_TRUE(tests::eventually([&] { return !tests::lives(pid); }));
    EXPECT_EQ("42\n", tests::readFile(pidFile));
    fs::remove(pidFile);
}

TEST_F(StandaloneProcess, ObeysSignalsThatItsCallerIgnores)
{
    const std::string shell = "trap '' HUP USR1 USR2 TERM INT QUIT CHLD TSTP TTIN TTOU; exec \"$@\"";
    std::vector<std::string> words = {"/bin/sh", "-c", shell, "sh"};
    const std::vector<std::string> engine = command({"--foreground"});
    words.insert(words.end(), engine.begin(), engine.end());
    tests::Process process(words, environment());
    ASSERT_TRUE(tests::eventually([this] { return ready(); }));
    fs::remove(readyFile);
    const auto ignores =
        [status = tests::readFile("/proc/" + std::to_string(process.pid()) + "/status")](int signal) {
            const std::string label = "SigIgn:\t";
            const auto ignored = std::stoull(status.substr(status.find(label) + label.size()), nullptr, 16);
            return (ignored >> (signal - 1) & 1U) != 0;
        };
    for (const int signal : {SIGHUP, SIGUSR1, SIGUSR2, SIGTERM, SIGINT, SIGQUIT, SIGCHLD})
        EXPECT_FALSE(ignores(signal)) << signal;
    // A terminal does not stop the engine while a server waits for it.
    for (const int signal : {SIGTSTP, SIGTTIN, SIGTTOU})
        EXPECT_TRUE(ignores(signal)) << signal;
    process.signal(SIGHUP);
    EXPECT_TRUE(tests::eventually([this] { return ready(); }));
    process.signal(SIGTERM);
    EXPECT_EQ(0, process.wait());
}

TEST_F(StandaloneProcess, FindsItsFilesByRelativePathsToo)
{
    const std::string shell = "cd " + folder.path() +
                              " && exec " STANDALONE
                              " --setting-file engine.conf --pid-file engine.pid --ready-file ready";
    tests::Process process({"/bin/sh", "-c", shell});
    process.readAll();
    ASSERT_EQ(0, process.wait());
    ASSERT_TRUE(fs::remove(readyFile));
    kill(enginePid(), SIGHUP);
    EXPECT_TRUE(tests::eventually([this] { return ready(); }));
}

TEST_F(StandaloneProcess, DoesNotTakeUnknownOrMissingOptions)
{
    EXPECT_EQ(2, start({"--colour"}));
    tests::Process process({STANDALONE, "--pid-file", pidFile});
    EXPECT_EQ(2, process.wait());
    tests::Process version({STANDALONE, "--version"});
    EXPECT_EQ(0, version.wait());
}

} // namespace
