// What becomes of the kernel modules of a start that fails or is killed.

#include "server_carry_out.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

class ServerModules : public tests::ServerCarryOut {
protected:
    ServerModules() { addModules(); }

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
};

TEST_F(ServerModules, OneOfWhichFailsHaveTheStartTakenBack)
{
    keepListOfModules("second");
    EXPECT_EQ("failure: Can't install module", start());
    EXPECT_EQ(
        (Lines{"/sbin/insmod /lib/modules/first.ko in-1", "/sbin/insmod /lib/modules/second-one.ko in-2",
               "/sbin/insmod /lib/modules/second-one.ko in-2", "/sbin/rmmod -s first out-1"}),
        host.asked);
    EXPECT_EQ(Lines{}, files());
}

TEST_F(ServerModules, OfAStartThatFailsAreRemovedLastOneFirst)
{
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

TEST_F(ServerModules, ThatWereThereBeforeAStartThatFailsStay)
{
    tests::writeFile(host.modules, "first 16384 0 - Live 0x0\n");
    keepListOfModules();
    host.onCommand = [this, usual = host.onCommand](const std::string& command) {
        return command.find(host.engine) == 0 ? 1 : usual(command);
    };
    start();
    EXPECT_EQ("/sbin/rmmod -s second-one out-2", host.asked.back());
}

TEST_F(ServerModules, OfAKilledStartAreRemovedWhateverTheNextRequestIs)
{
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

TEST_F(ServerModules, ThatWereThereBeforeAKilledStartStay)
{
    tests::writeFile(host.modules, "first 16384 0 - Live 0x0\n");
    keepListOfModules();
    startAndGetKilled();
    EXPECT_EQ("failure: the engine is not running", shutDown());
    EXPECT_EQ(Lines{"/sbin/rmmod -s second-one out-2"}, host.asked);
}

TEST_F(ServerModules, OfAKilledStartAreThoseOfAnEngineThatHasComeUpNevertheless)
{
    keepListOfModules();
    startAndGetKilled();
    host.startEngine();
    EXPECT_EQ("success: the engine took over the new settings", restart());
    EXPECT_EQ(Lines{"signal 1"}, host.asked);
    EXPECT_EQ((Lines{".current", "engine.conf"}), files());
}

TEST_F(ServerModules, OfAnotherBootAreNobodysWhoWasKilled)
{
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

TEST_F(ServerModules, ThatCannotBeRemovedAreTriedAgainBeforeTheNextStart)
{
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

TEST_F(ServerModules, ThatAreNewInTheConfigurationJoinThoseThatCouldNotBeRemoved)
{
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

} // namespace
