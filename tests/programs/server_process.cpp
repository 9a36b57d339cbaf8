// The real server with the real standalone engine, as processes.

#include "ServerProcess.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Names = std::vector<std::string>;
using tests::ServerProcess;

TEST_F(ServerProcess, StartsRestartsAndShutsDown)
{
    EXPECT_EQ("success: the engine was started", start());
    ASSERT_TRUE(engineLives());
    const pid_t pid = enginePid();
    EXPECT_EQ((Names{".current", "engine.conf"}), files());
    EXPECT_EQ(0600U, tests::modeOf(settingFile));
    EXPECT_EQ(0700U, tests::modeOf(directory));
    const std::string first = tests::readFile(settingFile);
    EXPECT_NE(std::string::npos, first.find("\"fips\": false"));

    EXPECT_EQ("failure: the engine is already running", start());

    EXPECT_EQ("success: the engine took over the new settings", restart());
    EXPECT_EQ(pid, enginePid());
    EXPECT_TRUE(engineLives());
    EXPECT_NE(std::string::npos, tests::readFile(settingFile).find("\"fips\": true"));

    EXPECT_EQ("success: the engine was shut down", shutDown());
    EXPECT_FALSE(tests::lives(pid));
    EXPECT_EQ(Names{}, files());
    EXPECT_FALSE(tests::exists("/tmp/quicksec.ready"));

    EXPECT_EQ("failure: the engine is not running", restart());
    EXPECT_EQ("failure: the engine is not running", shutDown());
    EXPECT_EQ(Names{}, files());
    EXPECT_EQ("systemdataIPsecCfgServer(daemon) 6: start: success: the engine was started\n"
              "systemdataIPsecCfgServer(daemon) 3: start: failure: the engine is already running\n"
              "systemdataIPsecCfgServer(daemon) 6: restart: success: the engine took over the new settings\n"
              "systemdataIPsecCfgServer(daemon) 6: shutdown: success: the engine was shut down\n"
              "systemdataIPsecCfgServer(daemon) 3: restart: failure: the engine is not running\n"
              "systemdataIPsecCfgServer(daemon) 3: shutdown: failure: the engine is not running\n",
              tests::readFile(logFile));
}

TEST_F(ServerProcess, GivesTheEngineNothingOfItsCallersEnvironment)
{
    ASSERT_EQ("success: the engine was started", start());
    std::string environment = tests::readFile("/proc/" + std::to_string(enginePid()) + "/environ");
    for (char& character : environment)
        character = character == '\0' ? '\n' : character;
    // The shell that starts the engine adds its own PWD.
    EXPECT_NE(std::string::npos, environment.find("PATH=/usr/sbin:/usr/bin:/sbin:/bin\n")) << environment;
    for (const std::string name : {"IPSECCFG", "LD_PRELOAD", "IFS", "ENV", "SYSLOG"})
        EXPECT_EQ(std::string::npos, environment.find(name)) << environment;
}

TEST_F(ServerProcess, LetsNoCallerWithFewerRightsChooseItsConfiguration)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can make a program that has more rights than its caller";
    struct statvfs mount = {};
    if (statvfs(folder.path().c_str(), &mount) != 0 || (mount.f_flag & ST_NOSUID) != 0)
        GTEST_SKIP() << "programs in " << folder.path() << " get no more rights than their caller";
    const std::string server = folder / "server";
    fs::copy_file(SERVER, server);
    ASSERT_EQ(0, chmod(folder.path().c_str(), 0755));
    ASSERT_EQ(0, chmod(server.c_str(), 04755));
    const std::string chosen = folder / "none.toml";
    for (const std::string user : {"0", "65534"}) {
        tests::Process process(
            {"/usr/bin/setpriv", "--reuid=" + user, "--regid=" + user, "--clear-groups", server},
            {"IPSECCFG_SERVER_CONFIG=" + chosen});
        process.endInput();
        const std::string answer = tests::inWords(process.readAll());
        EXPECT_EQ(0, process.wait());
        EXPECT_EQ(0U, answer.find("failure: ")) << answer;
        EXPECT_EQ(user == "0", answer.find(chosen) != std::string::npos) << answer;
    }
}

TEST_F(ServerProcess, StartsAnEngineAgainThatWasKilled)
{
    ASSERT_EQ("success: the engine was started", start());
    const pid_t pid = enginePid();
    kill(pid, SIGKILL);
    ASSERT_TRUE(tests::eventually([&] { return !tests::lives(pid); }));
    EXPECT_EQ("failure: the engine is not running", restart());
    EXPECT_EQ("success: the engine was started", start());
    EXPECT_TRUE(engineLives());
}

TEST_F(ServerProcess, NeverSignalsAProcessThatIsNotTheEngine)
{
    tests::Process other({fs::canonical("/bin/sleep"), "1000"});
    tests::writeFile(pidFile, std::to_string(other.pid()) + "\n");
    EXPECT_EQ("failure: the engine is not running", shutDown());
    EXPECT_EQ("failure: the engine is not running", restart());
    EXPECT_TRUE(tests::lives(other.pid()));
    EXPECT_EQ("success: the engine was started", start());
    EXPECT_TRUE(tests::lives(other.pid()));
    EXPECT_TRUE(engineLives());
}

TEST_F(ServerProcess, TakesTurns)
{
    std::string answers[2];
    std::thread other([&] { answers[1] = start(); });
    answers[0] = start();
    other.join();
    std::sort(std::begin(answers), std::end(answers));
    EXPECT_EQ("failure: the engine is already running", answers[0]);
    EXPECT_EQ("success: the engine was started", answers[1]);
}

TEST_F(ServerProcess, WaitsForAServerThatIsAtWork)
{
    fs::create_directory(directory);
    const int lock = open((directory + "/.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(0, flock(lock, LOCK_EX));
    const int watch = inotify_init1(IN_CLOEXEC);
    ASSERT_LE(0, inotify_add_watch(watch, (directory + "/.lock").c_str(), IN_OPEN));
    tests::Process server({SERVER}, environment());
    server.send(tests::shutdownText());
    server.endInput();
    inotify_event opened = {};
    EXPECT_EQ(static_cast<ssize_t>(sizeof opened), read(watch, &opened, sizeof opened));
    close(watch);
    EXPECT_FALSE(server.hasAnswered(50ms));
    close(lock);
    EXPECT_EQ("failure: the engine is not running", tests::inWords(server.readAll()));
}

TEST_F(ServerProcess, EndsAtOnceOnSigtermWhileItWaitsForItsRequest)
{
    tests::Process server({SERVER}, environment());
    server.send("<?xml version=\"1.0\"?><methodCall>");
    server.signal(SIGTERM);
    EXPECT_EQ(-SIGTERM, server.wait());
    EXPECT_FALSE(tests::exists(directory));
}

TEST_F(ServerProcess, SaysThatAModuleCannotBeLoaded)
{
    configure("", "[modules]\nretry = 2\ninterval-us = 0\n[[modules.module]]\npath = \"" +
                      (folder / "none.ko") + "\"\n");
    EXPECT_EQ("failure: Can't install module", start());
    EXPECT_FALSE(engineLives());
    EXPECT_EQ(Names{}, files());
}

TEST_F(ServerProcess, SaysThatTheEngineCannotBeStarted)
{
    configureScript("exit 3\n");
    EXPECT_EQ("failure: Can't start service", start());
    EXPECT_EQ(Names{}, files());
}

TEST_F(ServerProcess, TellsWhyTheEngineDidNotStart)
{
    // The engine reads another file than the one that the server wrote.
    tests::writeFile(folder / "broken.conf", "{}");
    configureScript("exec " STANDALONE " --setting-file " + (folder / "broken.conf") +
                    " --pid-file \"$4\" --reason-file \"$6\"\n");
    EXPECT_EQ("failure: Can't start service: " + (folder / "broken.conf") + ": format: is missing", start());
    EXPECT_EQ(Names{}, files());
}

TEST_F(ServerProcess, LetsNoCommandWriteIntoItsAnswer)
{
    configureScript("echo noise\ncat\nexit 1\n");
    EXPECT_EQ("failure: Can't start service", start());
}

TEST_F(ServerProcess, LeavesNoTraceOfShellCharactersInAnyString)
{
    const std::string trace = folder / "trace";
    const std::string evil =
        "$(touch " + trace + ")`touch " + trace + "`;touch " + trace + "|touch " + trace + "&'\"";
    tests::RequestParts parts;
    parts.settingFile = directory + "/$(touch " + "trace)`id`;'\"&|x";
    for (const auto& rules : {parts.used, parts.others})
        for (const auto& rule : rules) {
            rule->setSrcIpAddress(rule->getSrcIpAddress() + evil);
            rule->setDstIpAddress(rule->getDstIpAddress() + evil);
            rule->setSrcIdentity(evil);
            rule->setDstIdentity(evil);
        }
    for (const auto& certificate : parts.certificates) {
        certificate->setCertFilePath(evil);
        certificate->setPkeyFilePath(evil);
    }
    EXPECT_EQ("success: the engine was started", ask(tests::requestText(parts)));
    EXPECT_EQ("success: the engine was shut down", shutDown());
    EXPECT_FALSE(tests::exists(trace));
    EXPECT_EQ(Names{}, files());
    parts.nameSpace = "$(touch trace)";
    EXPECT_EQ("failure: ns-name: only 1 to 255 letters, digits, '_', '.' and '-' are allowed, and neither "
              "\".\" nor \"..\"",
              ask(requestText(parts)));
}

TEST_F(ServerProcess, RefusesPathsThatLeaveTheFolder)
{
    tests::writeFile(folder / "victim", "untouched");
    fs::create_directories(directory + "/below");
    ASSERT_EQ(0, symlink((folder / "victim").c_str(), (directory + "/link").c_str()));
    ASSERT_EQ(0, symlink(folder.path().c_str(), (directory + "/out").c_str()));
    ASSERT_EQ(0, mkfifo((directory + "/fifo").c_str(), 0600));
    const std::pair<std::string, std::string> cases[] = {
        {"/etc/passwd", "must lie below " + directory},
        {directory + "/../victim", "must have no component that is empty or begins with a '.'"},
        {directory + "/link", "is a link"},
        {directory + "/out/victim", "the folder 'out': is a link"},
        {directory + "/fifo", "is not a regular file"},
        {directory + "/below", "is not a regular file"},
    };
    for (const auto& [path, why] : cases)
        EXPECT_EQ("failure: setting-file-path: " + path + ": " + why, ask(tests::startText(path)));
    EXPECT_EQ("untouched", tests::readFile(folder / "victim"));
    EXPECT_EQ((Names{"below", "fifo", "link", "out"}), files());
    EXPECT_FALSE(engineLives());
}

TEST_F(ServerProcess, RefusesARequestThatIsTooLarge)
{
    const std::string start = tests::startText(settingFile);
    std::string large = start;
    large.insert(large.find('>') + 1, std::string(5000000, ' '));
    EXPECT_EQ("failure: the request is larger than 4194304 bytes", ask(large));
    configure("max-request-bytes = 100\n");
    EXPECT_EQ("failure: the request is larger than 100 bytes", ask(start));
}

TEST_F(ServerProcess, LetsAClientSendAllOfARequestThatItRefuses)
{
    configure("max-request-bytes = 100\n");
    tests::Process server({SERVER}, environment());
    EXPECT_TRUE(server.send(tests::startText(settingFile) + std::string(3000000, ' ')));
    server.endInput();
    EXPECT_EQ("failure: the request is larger than 100 bytes", tests::inWords(server.readAll()));
}

TEST_F(ServerProcess, AnswersWhateverItIsSent)
{
    for (const std::string& request :
         {std::string(), std::string("garbage"), std::string(1000, '\0'), std::string("\xFF")})
        EXPECT_EQ("failure: CArrayPaser's parse error", ask(request));
    EXPECT_EQ("failure: scenario: 0 is not allowed, only 1 (start), 2 (shutdown), 3 (restart)",
              ask("<methodCall><methodName>x</methodName><params><param><value><array><data></data></array></"
                  "value></param>"
                  "</params></methodCall>"));
}

TEST_F(ServerProcess, AnswersWithoutAConfiguration)
{
    fs::remove(file);
    EXPECT_EQ("failure: " + file + ": No such file or directory", start());
    tests::writeFile(file, "engine = 1\n");
    EXPECT_EQ("failure: " + file + ":1:10: engine: must be a string", start());
}

TEST_F(ServerProcess, AnswersWithALimitOnFileSizes)
{
    Names command = {"/bin/sh", "-c", "ulimit -f 0; exec " SERVER};
    if (geteuid() == 0) // who could raise the limit again
        command.insert(command.begin(), {"/usr/bin/setpriv", "--bounding-set=-sys_resource"});
    tests::Process server(command, {"IPSECCFG_SERVER_CONFIG=" + file});
    server.send(tests::startText(settingFile));
    server.endInput();
    EXPECT_EQ("failure: " + settingFile + ": File too large", tests::inWords(server.readAll()));
    EXPECT_EQ(Names{}, files());
}

TEST_F(ServerProcess, WorksForACallerThatIgnoresTheEndOfItsChildren)
{
    tests::Process server({"/bin/sh", "-c", "trap '' CHLD; exec " SERVER}, environment());
    server.send(tests::startText(settingFile));
    server.endInput();
    EXPECT_EQ("success: the engine was started", tests::inWords(server.readAll()));
}

TEST_F(ServerProcess, WorksForACallerThatClosedItsStandardError)
{
    tests::Process server({"/bin/sh", "-c", "exec " SERVER " 2>&-"}, environment());
    server.send(tests::startText(settingFile));
    server.endInput();
    EXPECT_EQ("success: the engine was started", tests::inWords(server.readAll()));
    EXPECT_EQ("success: the engine was shut down", shutDown());
}

TEST_F(ServerProcess, SurvivesClosedStandardInputAndOutput)
{
    tests::Process server({"/bin/sh", "-c", "exec " SERVER " <&- >&-"}, environment());
    EXPECT_EQ("", server.readAll());
    EXPECT_EQ(0, server.wait());
    EXPECT_EQ("systemdataIPsecCfgServer(daemon) 3: request: failure: CArrayPaser's parse error\n",
              tests::readFile(logFile));
}

TEST_F(ServerProcess, SurvivesAClientThatIsGone)
{
    tests::Process server({SERVER}, environment());
    server.send(tests::shutdownText());
    server.hangUp();
    EXPECT_EQ(1, server.wait());
    EXPECT_EQ("systemdataIPsecCfgServer(daemon) 3: shutdown: failure: the engine is not running\n",
              tests::readFile(logFile));
}

TEST_F(ServerProcess, RefusesAReadyFileOfSomebodyElse)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a file away";
    tests::writeFile("/tmp/quicksec.ready", "");
    ASSERT_EQ(0, chown("/tmp/quicksec.ready", 65534, 65534));
    EXPECT_EQ("failure: /tmp/quicksec.ready: belongs to user 65534, neither root nor the server's user",
              start());
    EXPECT_EQ(Names{}, files());
    EXPECT_FALSE(engineLives());
}

TEST_F(ServerProcess, IsNotFooledByALeftoverReadyFile)
{
    tests::writeFile("/tmp/quicksec.ready", "");
    EXPECT_EQ("success: the engine was started", start());
    EXPECT_FALSE(tests::exists("/tmp/quicksec.ready"));
}

TEST_F(ServerProcess, ChecksItsConfigurationOnDemand)
{
    tests::Process good({SERVER, "--check-config"}, environment());
    EXPECT_EQ(file + ": correct\n", good.readAll());
    EXPECT_EQ(0, good.wait());
    tests::writeFile(file, "");
    tests::Process bad({SERVER, "--check-config"}, environment());
    EXPECT_EQ(2, bad.wait());
}

TEST_F(ServerProcess, DoesNotTakeUnknownArguments)
{
    for (const std::string argument : {"--colour", "start"}) {
        tests::Process server({SERVER, argument}, environment());
        EXPECT_EQ(2, server.wait()) << argument;
    }
    for (const std::string argument : {"--help", "--version"}) {
        tests::Process server({SERVER, argument}, environment());
        EXPECT_NE(std::string::npos, server.readAll().find("systemdataIPsecCfgServer")) << argument;
        EXPECT_EQ(0, server.wait()) << argument;
    }
}

} // namespace
