// Whether the engine runs: which processes count as the engine.

#include "EngineProcess.h"

#include "server_support.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using norvale::tamber::systemdata::ipseccfg::configserver::EngineProcess;
using namespace std::chrono_literals;

class ServerEngineProcess : public ::testing::Test {
protected:
    ServerEngineProcess() { fs::copy_file(fs::canonical("/bin/sleep"), program); }

    void writePid(pid_t pid) { tests::writeFile(pidFile, std::to_string(pid) + "\n"); }

    void writeScript(const std::string& text)
    {
        tests::writeFile(script, text);
        fs::permissions(script, fs::perms::owner_all);
    }

    tests::TemporaryFolder folder;
    const std::string pidFile = folder / "engine.pid";
    const std::string program = folder / "engine";
    const std::string script = folder / "engine.sh";
    const EngineProcess engine{pidFile, program};
};

TEST_F(ServerEngineProcess, IsTheOneOfThePidFile)
{
    const tests::Process process({program, "100"});
    writePid(process.pid());
    EXPECT_EQ(process.pid(), engine.find().value_or(0));
}

TEST_F(ServerEngineProcess, MayBeConfiguredThroughALink)
{
    const tests::Process process({program, "100"});
    writePid(process.pid());
    ASSERT_EQ(0, symlink(program.c_str(), (folder / "link").c_str()));
    EXPECT_EQ(process.pid(), EngineProcess(pidFile, folder / "link").find().value_or(0));
}

TEST_F(ServerEngineProcess, IsStillTheEngineAfterItsFileWasReplaced)
{
    const tests::Process process({program, "100"});
    writePid(process.pid());
    fs::remove(program);
    EXPECT_EQ(process.pid(), engine.find().value_or(0));
    fs::copy_file(fs::canonical("/bin/sleep"), program);
    EXPECT_EQ(process.pid(), engine.find().value_or(0));
}

TEST_F(ServerEngineProcess, IsNotAnyOtherProgram)
{
    const tests::Process process({fs::canonical("/bin/sleep"), "100"});
    writePid(process.pid());
    EXPECT_FALSE(engine.find());
}

TEST_F(ServerEngineProcess, IsNotAProgramThatIsOnlyToldTheEnginesName)
{
    const tests::Process process({"/bin/sh", "-c", "read line", program, program});
    writePid(process.pid());
    EXPECT_FALSE(engine.find());
}

TEST_F(ServerEngineProcess, IsNotAProcessThatHasEnded)
{
    tests::Process process({program, "0"});
    writePid(process.pid());
    ASSERT_TRUE(tests::eventually([&] { return !tests::lives(process.pid()); })); // a zombie now
    EXPECT_FALSE(engine.find());
    process.wait();
    EXPECT_FALSE(engine.find());
}

TEST_F(ServerEngineProcess, NeedsAPidFileWithANumber)
{
    EXPECT_FALSE(engine.find());
    const tests::Process process({program, "100"});
    const std::string pid = std::to_string(process.pid());
    for (const std::string& content :
         {std::string(), std::string("\n"), std::string("x"), pid + "x", "-" + pid, "+" + pid,
          std::string("0"), std::string("-1"), std::string("1"), "99999999999" + pid, "\n" + pid,
          std::string(64 - pid.size(), '0') + pid + "7"}) {
        tests::writeFile(pidFile, content);
        EXPECT_FALSE(engine.find()) << content;
    }
    for (const std::string& content : {pid, pid + "\n", pid + "\nmore"}) {
        tests::writeFile(pidFile, content);
        EXPECT_EQ(process.pid(), engine.find().value_or(0)) << content;
    }
}

TEST_F(ServerEngineProcess, NeedsAPidFileThatIsAFile)
{
    ASSERT_EQ(0, mkfifo(pidFile.c_str(), 0600));
    EXPECT_FALSE(engine.find());
    // Whatever comes out of it.
    const tests::Process process({program, "100"});
    const int pipe = open(pidFile.c_str(), O_RDWR | O_CLOEXEC);
    const std::string line = std::to_string(process.pid()) + "\n";
    ASSERT_EQ(static_cast<ssize_t>(line.size()), write(pipe, line.data(), line.size()));
    EXPECT_FALSE(engine.find());
    close(pipe);
}

TEST_F(ServerEngineProcess, MayBeAScript)
{
    for (const std::string line : {"#!/bin/sh", "#! /bin/sh ", "#!/bin/sh -e", "#!/usr/bin/env sh"}) {
        writeScript(line + "\nread line\n");
        const tests::Process process({script, "--option"});
        writePid(process.pid());
        EXPECT_TRUE(tests::eventually([&] { return EngineProcess(pidFile, script).find().has_value(); }))
            << line;
        EXPECT_FALSE(engine.find());
    }
}

TEST_F(ServerEngineProcess, IsNotAProgramThatReadsTheScript)
{
    writeScript("#!/bin/sh\n");
    ASSERT_EQ(0, mkfifo((folder / "fifo").c_str(), 0600));
    const tests::Process process({"/bin/cat", script, folder / "fifo"});
    writePid(process.pid());
    EXPECT_FALSE(EngineProcess(pidFile, script).find());
}

TEST_F(ServerEngineProcess, IsOneOfTheServersUser)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can start a process of another user";
    fs::permissions(folder.path(), fs::perms::all);
    fs::permissions(program, fs::perms::all);
    const tests::Process process(
        {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", program, "100"});
    writePid(process.pid());
    const std::string exe = "/proc/" + std::to_string(process.pid()) + "/exe";
    ASSERT_TRUE(tests::eventually([&] { return fs::exists(exe) && fs::read_symlink(exe) == program; }));
    EXPECT_FALSE(engine.find());
}

TEST_F(ServerEngineProcess, IsWaitedForUntilItIsGone)
{
    tests::Process process({program, "100"});
    writePid(process.pid());
    EXPECT_FALSE(engine.waitUntilGone(process.pid(), 30ms));
    process.signal(SIGTERM);
    EXPECT_TRUE(engine.waitUntilGone(process.pid(), 10s));
}

TEST_F(ServerEngineProcess, IsWaitedForUntilItIsThere)
{
    const tests::Process process({program, "100"});
    EXPECT_FALSE(engine.waitUntilThere(30ms));
    writePid(process.pid());
    EXPECT_TRUE(engine.waitUntilThere(10s));
}

} // namespace
