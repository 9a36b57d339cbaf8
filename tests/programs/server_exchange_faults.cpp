// Whole exchanges of the server with each allocation, and each call that works on a file, failing in turn:
// there is always an answer, and what it says is so.

#include "FailingHeap.h"

#include "server_disk.h"
#include "server_host.h"

#include "Channel.h"
#include "Exchange.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using namespace std::chrono_literals;
using Names = std::vector<std::string>;
using tests::disk;
using tests::heap;
using tests::Undisturbed;

const std::string OLD = "the old settings";
const std::string OLD_NAME = "engine.conf";
const std::string LOADED = "one 16384 0 - Live 0x0\n";

// A host with a setting file, in use, that an earlier request left; an engine runs on it or not.
class Device {
public:
    explicit Device(bool withEngine)
        : withEngine_(withEngine)
    {
        std::filesystem::create_directory(directory);
        chmod(directory.c_str(), S_IRWXU);
        tests::writeFile(configuration_, "engine = \"standalone\"\nsetting-directory = \"" + directory +
                                             "\"\n[service]\ncommand = \"" + host.engine +
                                             "\"\npid-file = \"" + host.pidFile +
                                             "\"\nstop-signal = \"TERM\"\nreconfigure-signal = \"HUP\"\n"
                                             "[modules]\nretry = 2\ninterval-us = 1\n"
                                             "[[modules.module]]\npath = \"/lib/modules/one.ko\"\n");
        limits_.pidFile = 500ms;
        limits_.stop = 500ms;
        limits_.putBack = 50ms;
        host.onCommand = [this, usual = host.onCommand](const std::string& command) {
            endIfKilled_();
            int result = 0;
            if (command.find("/sbin/") == 0) {
                result = changeModules_(command);
            } else {
                readSettings_();
                result = usual(command);
            }
            endIfKilled_();
            return result;
        };
        host.onSignal = [this, usual = host.onSignal](int signal) {
            readSettings_();
            if (signal == SIGTERM)
                tests::writeFile(toldToEnd_, "");
            usual(signal);
        };
        putBack();
    }

    /// As it was at first.
    void putBack()
    {
        const Undisturbed undisturbed;
        host.endEngine();
        for (const auto& entry : std::filesystem::directory_iterator(directory))
            std::filesystem::remove(entry.path());
        unlink(host.readyFile.c_str());
        unlink(toldToEnd_.c_str());
        tests::writeFile(directory + "/" + OLD_NAME, OLD);
        std::filesystem::create_symlink(OLD_NAME, directory + "/.current");
        tests::writeFile(host.modules, withEngine_ ? LOADED : "");
        std::string().swap(engineHas_);
        if (withEngine_) {
            host.startEngine();
            readSettings_();
        }
        // Nothing is kept that would count as a leak.
        Names().swap(host.asked);
        Names().swap(host.logged);
        Names().swap(disk.asked);
        std::string().swap(answer);
    }

    /// One exchange; what the client reads goes to `answer`, in words.
    void exchangeWith(const std::string& request)
    {
        const int client = connect_(request);
        {
            Channel channel{Descriptor(serverEnd_), Descriptor(dup(serverEnd_))};
            try {
                exchange(channel, configuration_, limits_);
            } catch (const std::exception&) {
                // There was no memory for the words that there is no memory; nothing has begun.
                const Undisturbed undisturbed;
                answer = "failure: not begun";
            }
        }
        const Undisturbed undisturbed;
        std::array<char, 16384> bytes = {};
        const ssize_t size = recv(client, bytes.data(), bytes.size(), 0);
        close(client);
        if (answer.empty())
            answer = tests::inWords(
                std::string(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))));
    }

    /// One exchange by a process that ends, as if it were killed, at a call on a file after so many. Whether it came
    /// that far.
    bool exchangeKilledAfter(long calls, const std::string& request)
    {
        return exchangeKilled_(request, [calls] { disk.death.arm(calls); });
    }

    /// The same, but killed before a command or, if the number is odd, after it.
    bool exchangeKilledAmongCommands(long number, const std::string& request)
    {
        return exchangeKilled_(request, [this, number] { commandsToDeath_ = number; });
    }

    bool engineRuns() const { return host.enginePid > 0; }
    bool moduleIsLoaded() const { return !tests::readFile(host.modules).empty(); }
    Names files() const { return tests::namesIn(directory); }
    /// The note may be there as long as a module is, or if something kept the server from looking.
    Names filesBesideNoteOfModules() const
    {
        Names names = files();
        if (moduleIsLoaded() || heap.failure.struck() || disk.calls.struck())
            names.erase(std::remove(names.begin(), names.end(), ".modules"), names.end());
        return names;
    }

    /// The setting file of that name is there whole, in use and alone, and it is what an engine has read.
    void expectFile(const std::string& name, bool old) const
    {
        const std::string content = tests::readFile(directory + "/" + name);
        EXPECT_EQ((Names{".current", name}), files());
        EXPECT_EQ(name, std::filesystem::read_symlink(directory + "/.current"));
        EXPECT_EQ(old, content == OLD) << content;
        EXPECT_TRUE(!engineRuns() || engineHas_ == content) << engineHas_;
    }

    tests::ServerHost host;
    const std::string directory = host.folder / "settings";
    std::string answer;

private:
    /// Sends the request whole. The client's end.
    int connect_(const std::string& request)
    {
        const Undisturbed undisturbed;
        std::array<int, 2> ends = {};
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()));
        EXPECT_EQ(static_cast<ssize_t>(request.size()), send(ends[0], request.data(), request.size(), 0));
        shutdown(ends[0], SHUT_WR);
        serverEnd_ = ends[1];
        return ends[0];
    }

    template <class Arm>
    bool exchangeKilled_(const std::string& request, Arm arm)
    {
        const pid_t child = fork();
        if (child == 0) {
            arm();
            exchangeWith(request);
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        adoptEngine_();
        return WIFEXITED(status) && WEXITSTATUS(status) == tests::KILLED;
    }

    // The engine is what that process has made of it.
    void adoptEngine_()
    {
        const int waiting = tests::exists(toldToEnd_) ? 0 : WNOHANG;
        if (host.enginePid > 0 && waitpid(host.enginePid, nullptr, waiting) == host.enginePid)
            host.enginePid = -1;
        const pid_t pid = tests::pidIn(host.pidFile);
        if (pid > 0 && waitpid(pid, nullptr, WNOHANG) == 0)
            host.enginePid = pid;
    }

    void endIfKilled_()
    {
        if (commandsToDeath_-- == 0)
            _exit(tests::KILLED);
    }

    // As the kernel does: no module twice.
    int changeModules_(const std::string& command)
    {
        const bool load = command.find("/sbin/insmod") == 0;
        if (moduleIsLoaded() == load)
            return 1;
        tests::writeFile(host.modules, load ? LOADED : "");
        return 0;
    }

    void readSettings_() { engineHas_ = tests::readFile(directory + "/.current"); }

    bool withEngine_;
    const std::string toldToEnd_ = host.folder / "told-to-end";
    const std::string configuration_ = host.folder / "server.toml";
    Limits limits_;
    int serverEnd_ = -1;
    long commandsToDeath_ = -1; // none
    std::string engineHas_;
};

// What is so after a request, given whether the answer says success.

void expectStarted(const Device& device, const std::string& name, bool success)
{
    EXPECT_EQ(success, device.engineRuns());
    EXPECT_EQ(success, device.moduleIsLoaded());
    device.expectFile(success ? name : OLD_NAME, !success);
}

void expectRestarted(const Device& device, const std::string& name, bool success)
{
    EXPECT_TRUE(device.engineRuns());
    EXPECT_TRUE(device.moduleIsLoaded());
    device.expectFile(success ? name : OLD_NAME, !success);
}

void expectShutDown(const Device& device, const std::string& /*name*/, bool success)
{
    EXPECT_TRUE(!success || (!device.engineRuns() && !device.moduleIsLoaded()));
    // Without its engine a setting file is a secret lying about.
    if (device.engineRuns())
        device.expectFile(OLD_NAME, true);
    else
        EXPECT_EQ(Names{}, device.filesBesideNoteOfModules());
}

struct Scenario {
    const char* name;
    std::string (*request)(const std::string& settingFile);
    std::string file;
    bool withEngine;
    void (*expect)(const Device& device, const std::string& name, bool success);
    const char* success;
};

std::ostream& operator<<(std::ostream& out, const Scenario& scenario)
{
    return out << scenario.name;
}

const Scenario SCENARIOS[] = {
    {"Start", tests::startText, OLD_NAME, false, expectStarted, "success: the engine was started"},
    {"StartWithAnotherFile", tests::startText, "other.conf", false, expectStarted,
     "success: the engine was started"},
    {"Restart", tests::restartText, OLD_NAME, true, expectRestarted,
     "success: the engine took over the new settings"},
    {"RestartWithAnotherFile", tests::restartText, "other.conf", true, expectRestarted,
     "success: the engine took over the new settings"},
    {"Shutdown", tests::shutdownText, OLD_NAME, true, expectShutDown, "success: the engine was shut down"},
    {"ShutdownOfTheFileInUse", [](const std::string&) { return tests::shutdownText(); }, OLD_NAME, true,
     expectShutDown, "success: the engine was shut down"},
};

class TheServer : public ::testing::TestWithParam<Scenario> {
protected:
    ~TheServer() override { disk = {}; }

    void exchange() { device.exchangeWith(request); }

    void expectTheTruth()
    {
        const Undisturbed undisturbed;
        const bool success = device.answer == GetParam().success || device.answer == "success: done";
        EXPECT_TRUE(success || device.answer.find("failure: ") == 0) << device.answer;
        GetParam().expect(device, GetParam().file, success);
    }

    Device device{GetParam().withEngine};
    const std::string request = GetParam().request(device.directory + "/" + GetParam().file);
};

TEST_P(TheServer, AnswersTruthfullyWhicheverAllocationFails)
{
    {
        SCOPED_TRACE("what is made once and kept is no leak");
        exchange();
        expectTheTruth();
    }
    device.putBack();
    long live = 0;
    const auto attempt = [this, &live] {
        live = heap.live();
        exchange();
    };
    const auto check = [this, &live](long number) {
        {
            SCOPED_TRACE("allocation " + std::to_string(number) + ": " + device.answer);
            expectTheTruth();
        }
        device.putBack();
        EXPECT_EQ(live, heap.live()) << "allocation " << number;
    };
    EXPECT_LT(200, tests::failEach(heap.failure, attempt, check));
    EXPECT_EQ(GetParam().success, device.answer);
    expectTheTruth();
}

// Then steps may stay done that would need memory to be taken back; but no file is left in part. Every seventh
// allocation is enough to meet each step.
TEST_P(TheServer, AnswersAndLeavesWholeFilesEvenIfNoMemoryComesBack)
{
    exchange();
    const std::string whole = tests::readFile(device.directory + "/" + GetParam().file);
    bool struck = true;
    for (long number = 0; struck; number += 7) {
        device.putBack();
        heap.failure.arm(number, true);
        exchange();
        heap.failure.disarm();
        struck = heap.failure.struck();
        SCOPED_TRACE("from allocation " + std::to_string(number) + " on: " + device.answer);
        EXPECT_EQ(0U, device.answer.find(struck ? "" : "success: "));
        EXPECT_NE(0U, device.answer.find("no answer"));
        for (const std::string& name : device.filesBesideNoteOfModules()) {
            const std::string content = tests::readFile(device.directory + "/" + name);
            EXPECT_TRUE(name == ".current" || name == OLD_NAME || name == GetParam().file) << name;
            EXPECT_TRUE(name == ".current" || content == OLD || content == whole) << name << ": " << content;
        }
    }
}

const struct {
    const char* call;
    int error;
} FAULTS[] = {
    {"openat", ENOSPC}, {"openat", EMFILE}, {"read", EIO},         {"write", ENOSPC},    {"write", EIO},
    {"fsync", EIO},     {"linkat", ENOSPC}, {"symlinkat", ENOSPC}, {"renameat", ENOSPC}, {"renameat", EIO},
};

TEST_P(TheServer, AnswersTruthfullyWhicheverCallOnAFileFails)
{
    const bool writesFile = GetParam().expect != expectShutDown;
    for (const auto& fault : FAULTS) {
        disk.failAt(fault.call, fault.error);
        const auto check = [&](long number) {
            SCOPED_TRACE(fault.call + (" " + std::to_string(number) + ": ") + device.answer);
            expectTheTruth();
            device.putBack();
        };
        const auto attempt = [this] { exchange(); };
        EXPECT_LE(writesFile ? 1 : 0, tests::failEach(disk.calls, attempt, check)) << fault.call;
        EXPECT_EQ(GetParam().success, device.answer);
        expectTheTruth();
        device.putBack();
    }
}

// Nothing but the setting file in use and the record of it, whichever request comes next.
TEST_P(TheServer, LeavesNothingToTheNextOneWhereverItIsKilled)
{
    // Engines of processes that have ended become children of this one.
    ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 1));
    exchange();
    const std::string whole = tests::readFile(device.directory + "/" + GetParam().file);
    long calls = 0;
    for (bool killed = true; killed; ++calls)
        for (const bool shutDown : {false, true}) {
            device.putBack();
            killed = device.exchangeKilledAfter(calls, request);
            SCOPED_TRACE("killed after " + std::to_string(calls) + " calls, then " +
                         (shutDown ? "shutdown" : "settings"));
            const std::string path = device.directory + "/" + OLD_NAME;
            const bool ran = device.engineRuns();
            device.exchangeWith(shutDown ? tests::shutdownText()
                                : ran    ? tests::restartText(path)
                                         : tests::startText(path));
            EXPECT_EQ(!shutDown || ran, device.answer.find("success: ") == 0) << device.answer;
            if (shutDown && ran) {
                EXPECT_EQ(Names{}, device.files());
                continue;
            }
            for (const std::string& name : device.files()) {
                const std::string content = tests::readFile(device.directory + "/" + name);
                ASSERT_TRUE(std::filesystem::is_symlink(device.directory + "/.current")) << name;
                const std::string used = std::filesystem::read_symlink(device.directory + "/.current");
                EXPECT_TRUE(std::filesystem::exists(device.directory + "/" + used))
                    << used << " is not there";
                EXPECT_TRUE(name == ".current" || name == used) << name << " beside " << used;
                EXPECT_TRUE(content == OLD || content == whole || !shutDown) << name << ": " << content;
            }
        }
    EXPECT_LT(GetParam().expect == expectShutDown ? 5 : 20, calls);
}

// A module that is loaded cannot be loaded again.
TEST_P(TheServer, StartsAgainWhereverItIsKilledAmongTheCommandsItGives)
{
    ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 1));
    const std::string path = device.directory + "/" + OLD_NAME;
    long number = 0;
    for (;; ++number) {
        device.putBack();
        if (!device.exchangeKilledAmongCommands(number, request))
            break;
        SCOPED_TRACE("killed at " + std::to_string(number));
        if (device.engineRuns()) {
            device.exchangeWith(tests::shutdownText());
            EXPECT_EQ("success: the engine was shut down", device.answer);
            device.answer.clear();
        }
        device.exchangeWith(tests::startText(path));
        EXPECT_EQ("success: the engine was started", device.answer);
        EXPECT_TRUE(device.moduleIsLoaded());
        EXPECT_EQ((Names{".current", OLD_NAME}), device.files());
    }
    const int commands = GetParam().expect == expectStarted ? 2 : GetParam().expect == expectShutDown ? 1 : 0;
    EXPECT_EQ(2 * commands, number);
}

INSTANTIATE_TEST_SUITE_P(, TheServer, ::testing::ValuesIn(SCENARIOS),
                         [](const auto& parameter) { return parameter.param.name; });

} // namespace
