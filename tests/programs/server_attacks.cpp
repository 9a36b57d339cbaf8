// What a local caller without rights may try on the server: the real server, started by a hostile caller.

#include "ServerProcess.h"

#include "PayloadBuilder.h"

#include <array>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace norvale::tamber::systemdata::ipseccfg::common;
using namespace std::chrono_literals;
using Names = std::vector<std::string>;

class ServerAttack : public tests::ServerProcess {
protected:
    /// Starts the server after the directives of hostile_caller.
    static Names caller(Names directives)
    {
        directives.insert(directives.begin(), HOSTILE_CALLER);
        directives.emplace_back("--");
        return directives;
    }

    static Names callerOfServer(const Names& directives)
    {
        Names command = caller(directives);
        command.emplace_back(SERVER);
        return command;
    }

    std::string limitsOfEngine() const
    {
        return tests::readFile("/proc/" + std::to_string(enginePid()) + "/limits");
    }

    /// Whether this process has one of root's rights.
    static bool has(int capability)
    {
        const std::string label = "\nCapEff:\t";
        const std::string status = tests::readFile("/proc/self/status");
        return (std::stoull(status.substr(status.find(label) + label.size()), nullptr, 16) >> capability &
                1U) != 0;
    }

    std::string startBy(const Names& directives)
    {
        return ask(tests::startText(settingFile), caller(directives));
    }
};

// What reaches the engine.

TEST_F(ServerAttack, WithTenThousandRulesIsNoneIfTheyAreAllowed)
{
    tests::RequestParts parts;
    parts.settingFile = settingFile;
    for (int number = 0; number < 10000; ++number) {
        const auto type = number % 2 == 0 ? FilterRule::Use : FilterRule::Discard;
        const auto rule = createFilterRule(type, "10.0." + std::to_string(number), "any");
        rule->setPriority(number % 100);
        (type == FilterRule::Use ? parts.used : parts.others).push_back(rule);
    }
    const std::string request = requestText(parts);
    ASSERT_LT(4194304U, request.size());
    EXPECT_EQ("failure: the request is larger than 4194304 bytes", ask(request));
    configure("max-request-bytes = 8388608\n");
    EXPECT_EQ("success: the engine was started", ask(request));
    const std::string settings = tests::readFile(settingFile);
    EXPECT_NE(std::string::npos, settings.find("\"10.0.0\""));
    EXPECT_NE(std::string::npos, settings.find("\"10.0.9999\""));
}

TEST_F(ServerAttack, WithARequestCutOffAfterAnyStructureStartsNothing)
{
    const std::string request = tests::startText(settingFile);
    const std::string end = "</struct></value>";
    int cuts = 0;
    for (std::size_t at = request.find(end); at != std::string::npos; at = request.find(end, at + 1)) {
        ++cuts;
        EXPECT_EQ("failure: CArrayPaser's parse error", ask(request.substr(0, at + end.size()))) << at;
    }
    EXPECT_EQ(8, cuts);
    EXPECT_FALSE(engineLives());
    EXPECT_FALSE(tests::exists(directory));
}

TEST_F(ServerAttack, WithARequestThatTricklesIsAnsweredWhenTheTimeIsUp)
{
    configure("max-request-seconds = 1\n");
    const std::string request = tests::startText(settingFile);
    const auto begin = std::chrono::steady_clock::now();
    tests::Process server({SERVER}, environment());
    for (std::size_t sent = 0; !server.hasAnswered(20ms); ++sent)
        server.send(request.substr(sent, 1));
    EXPECT_EQ("failure: the request did not arrive within 1 seconds", tests::inWords(server.readAll()));
    const auto time = std::chrono::steady_clock::now() - begin;
    EXPECT_LE(1s, time);
    EXPECT_GT(10s, time);
}

// Many at once.

TEST_F(ServerAttack, ByTwentyCallersAtOnceStartsOneEngine)
{
    std::array<std::string, 20> answers;
    std::vector<std::thread> callers;
    callers.reserve(answers.size());
    for (std::string& answer : answers)
        callers.emplace_back([this, &answer] { answer = start(); });
    for (std::thread& one : callers)
        one.join();
    std::sort(answers.begin(), answers.end());
    for (std::size_t number = 0; number + 1 < answers.size(); ++number)
        EXPECT_EQ("failure: the engine is already running", answers.at(number));
    EXPECT_EQ("success: the engine was started", answers.back());
    EXPECT_TRUE(engineLives());
    EXPECT_EQ((Names{".current", "engine.conf"}), files());
}

// What a caller leaves to the server.

TEST_F(ServerAttack, ThroughClosedStandardDescriptorsReachesNoFile)
{
    configureScript("cat >/dev/null; echo noise; echo noise >&2; exit 1\n");
    for (const Names& closed : {Names{"close=1"}, Names{"close=2"}, Names{"close=1", "close=2"},
                                Names{"close=0"}, Names{"close=0", "close=1", "close=2"}}) {
        tests::Process server(callerOfServer(closed), environment());
        server.send(tests::startText(settingFile));
        server.endInput();
        server.readAll();
        EXPECT_EQ(0, server.wait());
        const bool hasInput = closed.front() != "close=0";
        EXPECT_EQ(std::string("systemdataIPsecCfgServer(daemon) 3: ") +
                      (hasInput ? "start: failure: Can't start service\n"
                                : "request: failure: CArrayPaser's parse error\n"),
                  tests::readFile(logFile));
        fs::remove(logFile);
        EXPECT_EQ(hasInput, tests::exists(directory));
        EXPECT_EQ(Names{}, hasInput ? files() : Names{});
        fs::remove_all(directory);
    }
}

TEST_F(ServerAttack, WithEverySignalIgnoredAndBlockedChangesNothing)
{
    EXPECT_EQ("success: the engine was started", startBy({"ignore-signals", "block-signals"}));
    EXPECT_EQ("success: the engine was shut down",
              ask(tests::shutdownText(), caller({"ignore-signals", "block-signals"})));
}

TEST_F(ServerAttack, WithAMaskThatMasksNothingOpensNoFile)
{
    ASSERT_EQ("success: the engine was started", startBy({"umask=0"}));
    EXPECT_EQ(0700U, tests::modeOf(directory));
    for (const std::string name : {".lock", "engine.conf"})
        EXPECT_EQ(0600U, tests::modeOf(directory + "/" + name)) << name;
    EXPECT_EQ(0644U, tests::modeOf(pidFile));
}

TEST_F(ServerAttack, WithAStandardErrorThatNobodyReadsKeepsNobodyWaiting)
{
    const std::string full = folder / "full";
    ASSERT_EQ(0, mkfifo(full.c_str(), 0600));
    const int pipe = open(full.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    while (write(pipe, "x", 1) == 1) {
    }
    configureScript("echo noise >&2; exit 1\n");
    tests::Process server(callerOfServer({"stderr=" + full}), environment());
    server.send(tests::startText(settingFile));
    EXPECT_TRUE(server.hasAnswered(10s));
    EXPECT_EQ("failure: Can't start service", start());
    close(pipe);
}

TEST_F(ServerAttack, FromATerminalStopsNoServerThatIsAtWork)
{
    ASSERT_EQ(0, mkfifo((folder / "go").c_str(), 0600));
    const int go = open((folder / "go").c_str(), O_RDWR | O_CLOEXEC);
    configureScript("echo $$ >" + pidFile + "; read go <" + (folder / "go") + "; exit 1\n");
    // Signals of a terminal have no effect on a group that nobody could wake up again.
    tests::Process server(callerOfServer({"own-group"}), environment());
    server.send(tests::startText(settingFile));
    ASSERT_TRUE(tests::eventually([this] { return enginePid() > 0; }));
    for (const int signal : {SIGTSTP, SIGTTIN, SIGTTOU})
        for (const pid_t pid : {enginePid(), server.pid()})
            kill(pid, signal);
    EXPECT_EQ(1, write(go, "\n", 1));
    EXPECT_TRUE(server.hasAnswered(10s));
    kill(-server.pid(), SIGCONT);
    EXPECT_EQ("failure: Can't start service", tests::inWords(server.readAll()));
    close(go);
}

TEST_F(ServerAttack, WithATimerEndsNoServerThatIsAtWork)
{
    configureScript("sleep 1.5; exit 1\n");
    EXPECT_EQ("failure: Can't start service", startBy({"alarm=900"}));
    EXPECT_EQ(Names{}, files());
}

TEST_F(ServerAttack, WithDescriptorsOfItsOwnLeavesTheServerEnough)
{
    configureScript("ls -l /proc/self/fd >" + (folder / "seen") + "; exit 1\n");
    tests::writeFile(folder / "inherited", "");
    EXPECT_EQ("failure: Can't start service",
              startBy({"limit=nofile:64", "inherit=" + (folder / "inherited"), "exhaust"}));
    const std::string seen = tests::readFile(folder / "seen");
    EXPECT_NE(std::string::npos, seen.find("0 -> /dev/null")) << seen;
    EXPECT_EQ(std::string::npos, seen.find("inherited")) << seen;
}

TEST_F(ServerAttack, WithLimitsAndPrioritiesOfItsOwnLimitsNoEngine)
{
    ASSERT_EQ("success: the engine was started",
              startBy({"soft-limit=cpu:1", "soft-limit=fsize:0", "soft-limit=nofile:5",
                       "soft-limit=stack:1000000", "oom-score=1000"}));
    const std::string limits = limitsOfEngine();
    for (const std::string limit :
         {"Max cpu time              unlimited ", "Max file size             unlimited ",
          "Max stack size            8388608 ", "Max open files            1024 "})
        EXPECT_NE(std::string::npos, limits.find(limit)) << limit << '\n' << limits;
    EXPECT_EQ("0\n", tests::readFile("/proc/" + std::to_string(enginePid()) + "/oom_score_adj"));
}

TEST_F(ServerAttack, WithLimitsThatOnlyRootCanRaiseLimitsNoEngineOfRoot)
{
    if (!has(CAP_SYS_RESOURCE))
        GTEST_SKIP() << "only root can raise these limits again, if it has all of its rights";
    ASSERT_EQ("success: the engine was started",
              startBy({"limit=cpu:1", "limit=fsize:0", "limit=nofile:5", "limit=stack:1000000"}));
    const std::string limits = limitsOfEngine();
    for (const std::string limit : {"Max cpu time              unlimited            unlimited ",
                                    "Max file size             unlimited            unlimited ",
                                    "Max stack size            8388608              unlimited ",
                                    "Max open files            1024                 4096 "})
        EXPECT_NE(std::string::npos, limits.find(limit)) << limit << '\n' << limits;
}

TEST_F(ServerAttack, WithLeastPriorityHasNoEngineOfLeastPriority)
{
    if (!has(CAP_SYS_NICE))
        GTEST_SKIP() << "only root can raise a priority again";
    ASSERT_EQ("success: the engine was started", startBy({"nice"}));
    EXPECT_EQ(0, getpriority(PRIO_PROCESS, static_cast<id_t>(enginePid())));
}

TEST_F(ServerAttack, ByAnAbortLeavesNoCoreWithSecrets)
{
    const std::string request = tests::startText(settingFile);
    const auto leavesACore = [&](const std::string& program) {
        Names command = caller({"soft-limit=core:100000000", "folder=" + folder.path()});
        command.push_back(program);
        tests::Process process(command, environment());
        process.send(request.substr(0, request.size() - 1));
        EXPECT_TRUE(tests::eventually([&] { return process.hasReadAll(); }));
        process.signal(SIGQUIT);
        EXPECT_EQ(-SIGQUIT, process.wait());
        return process.hasLeftACore();
    };
    if (!leavesACore("/bin/cat"))
        GTEST_SKIP() << "this machine writes no cores";
    EXPECT_FALSE(leavesACore(SERVER));
}

TEST_F(ServerAttack, ByAnAbortOfTheEngineLeavesNoCoreWithSecrets)
{
    ASSERT_EQ("success: the engine was started", startBy({"soft-limit=core:100000000"}));
    EXPECT_NE(std::string::npos, limitsOfEngine().find("Max core file size        0 "));
}

// The pid file.

TEST_F(ServerAttack, WithThePidFileSignalsNobody)
{
    const tests::Process victim({fs::canonical("/bin/sleep"), "1000"});
    const std::string pid = std::to_string(victim.pid());
    const std::string other = folder / "other.pid";
    tests::writeFile(other, pid + "\n");
    const std::function<void()> attacks[] = {
        [&] { tests::writeFile(pidFile, pid + "\n"); },
        [&] { tests::writeFile(pidFile, "-" + pid + "\n"); },
        [&] { tests::writeFile(pidFile, "-1\n"); },
        [&] { tests::writeFile(pidFile, "0\n"); },
        [&] { tests::writeFile(pidFile, "1\n"); },
        [&] { tests::writeFile(pidFile, std::string(1000000, '9')); },
        [&] { tests::writeFile(pidFile, std::string(1000000, '0') + pid); },
        [&] { tests::writeFile(pidFile, pid + std::string("\0 1", 3)); },
        [&] { ASSERT_EQ(0, symlink(other.c_str(), pidFile.c_str())); },
        [&] { ASSERT_EQ(0, symlink(pidFile.c_str(), pidFile.c_str())); },
        [&] { ASSERT_EQ(0, symlink("/dev/zero", pidFile.c_str())); },
        [&] { ASSERT_EQ(0, mkfifo(pidFile.c_str(), 0600)); },
        [&] { fs::create_directory(pidFile); },
    };
    for (const auto& attack : attacks) {
        attack();
        EXPECT_EQ("failure: the engine is not running", shutDown());
        EXPECT_EQ("failure: the engine is not running", restart());
        EXPECT_TRUE(tests::lives(victim.pid()));
        fs::remove(pidFile);
    }
}

TEST_F(ServerAttack, WithALinkAsThePidFileHasTheEngineWriteNowhere)
{
    tests::writeFile(folder / "victim", "untouched");
    ASSERT_EQ(0, symlink((folder / "victim").c_str(), pidFile.c_str()));
    EXPECT_EQ("failure: Can't start service: " + pidFile + ": Too many levels of symbolic links", start());
    EXPECT_EQ("untouched", tests::readFile(folder / "victim"));
    EXPECT_EQ(Names{}, files());
}

// Secrets.

TEST_F(ServerAttack, OnCommandLinesAndEnvironmentsFindsNoSecret)
{
    // The engine writes down what the system shows of itself, of the shell that starts it and of the server.
    configureScript("pid=$$\n"
                    "while [ \"$pid\" -gt 1 ]; do\n"
                    "  cat /proc/$pid/cmdline /proc/$pid/environ >>" +
                    (folder / "seen") +
                    "\n"
                    "  pid=$(awk '/^PPid/ {print $2}' /proc/$pid/status)\n"
                    "done\nexit 1\n");
    EXPECT_EQ("failure: Can't start service", start());
    const std::string seen = tests::readFile(folder / "seen");
    EXPECT_NE(std::string::npos, seen.find(SERVER)) << seen;
    EXPECT_NE(std::string::npos, seen.find("--setting-file")) << seen;
    EXPECT_EQ(std::string::npos, seen.find(tests::SECRET)) << seen;
    EXPECT_EQ(std::string::npos, seen.find("636f7272656374")) << seen; // as it is sent
}

} // namespace
