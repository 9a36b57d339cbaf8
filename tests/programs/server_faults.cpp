// A setting file on a disk that fails, and a request that is interrupted: the system calls of this program
// fail when a test says so.

#include "Exceptions.h"
#include "RequestStream.h"
#include "SettingFolder.h"

#include "server_support.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Which call is to fail: the n-th of its kind from now on.
struct Fault {
    std::string call;
    int number;
    int error;
};

std::optional<Fault> fault;
int calls = 0;
std::size_t longestWrite = SIZE_MAX;
std::function<void()> beforeRename;
std::vector<std::string> asked; // what was synchronized and renamed

bool fails(const std::string& call)
{
    if (!fault || fault->call != call || ++calls != fault->number)
        return false;
    errno = fault->error;
    return true;
}

} // namespace

extern "C" {

int openat(int folder, const char* path, int flags, ...)
{
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return fails("openat") ? -1
                           : static_cast<int>(syscall(SYS_openat, folder, path, flags | O_LARGEFILE, mode));
}

ssize_t write(int fd, const void* data, size_t size)
{
    return fails("write") ? -1 : syscall(SYS_write, fd, data, std::min(size, longestWrite));
}

ssize_t read(int fd, void* data, size_t size)
{
    return fails("read") ? -1 : syscall(SYS_read, fd, data, size);
}

int fsync(int fd)
{
    struct stat status = {};
    asked.emplace_back(fstat(fd, &status) == 0 && S_ISDIR(status.st_mode) ? "fsync folder" : "fsync file");
    return fails("fsync") ? -1 : static_cast<int>(syscall(SYS_fsync, fd));
}

int linkat(int from, const char* name, int to, const char* newName, int flags) noexcept
{
    return fails("linkat") ? -1 : static_cast<int>(syscall(SYS_linkat, from, name, to, newName, flags));
}

int symlinkat(const char* target, int folder, const char* name) noexcept
{
    return fails("symlinkat") ? -1 : static_cast<int>(syscall(SYS_symlinkat, target, folder, name));
}

int renameat(int from, const char* name, int to, const char* newName) noexcept
{
    asked.emplace_back("rename");
    if (beforeRename)
        beforeRename();
    return fails("renameat") ? -1 : static_cast<int>(syscall(SYS_renameat2, from, name, to, newName, 0));
}

} // extern "C"

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using Names = std::vector<std::string>;

class ServerSettingFaults : public ::testing::Test {
protected:
    ~ServerSettingFaults() override
    {
        fault.reset();
        longestWrite = SIZE_MAX;
        beforeRename = nullptr;
    }

    static void failAt(const std::string& call, int number, int error)
    {
        fault = Fault{call, number, error};
        calls = 0;
    }

    /// Replaces the content while a call fails. The error's words; "replaced" if it did not come to that
    /// call.
    std::string replaceFailing(const std::string& call, int number, int error)
    {
        SettingFile file = folder.locate(path);
        failAt(call, number, error);
        std::string outcome = "replaced";
        try {
            file.replace("new content");
        } catch (const std::runtime_error& failure) {
            outcome = failure.what();
        }
        fault.reset();
        return outcome;
    }

    tests::TemporaryFolder temporary;
    const std::string directory = temporary / "settings";
    const SettingFolder folder{directory};
    const std::string path = directory + "/engine.conf";
};

const struct {
    const char* call;
    int error;
    const char* words;
} FAULTS[] = {
    {"linkat", ENOSPC, "No space left on device"},
    {"openat", ENOSPC, "No space left on device"},
    {"openat", EMFILE, "Too many open files"},
    {"write", ENOSPC, "No space left on device"},
    {"write", EFBIG, "File too large"},
    {"write", EIO, "Input/output error"},
    {"fsync", EIO, "Input/output error"},
    {"fsync", ENOSPC, "No space left on device"},
    {"renameat", EIO, "Input/output error"},
    {"renameat", ENOSPC, "No space left on device"},
};

TEST_F(ServerSettingFaults, LeaveTheOldFileWholeAndNothingElse)
{
    longestWrite = 4; // several writes a file
    for (const auto& one : FAULTS) {
        int number = 1;
        for (;; ++number) {
            tests::writeFile(path, "old content");
            const std::string outcome = replaceFailing(one.call, number, one.error);
            if (outcome == "replaced")
                break;
            EXPECT_EQ(path + ": " + one.words, outcome);
            EXPECT_EQ("old content", tests::readFile(path)) << one.call << " " << number;
            EXPECT_EQ(Names{"engine.conf"}, tests::namesIn(directory)) << one.call << " " << number;
        }
        EXPECT_GT(number, 1) << one.call << " was never called";
    }
}

TEST_F(ServerSettingFaults, LeaveNothingWhereThereWasNothing)
{
    for (const auto& one : FAULTS) {
        int number = 1;
        for (; replaceFailing(one.call, number, one.error) != "replaced"; ++number)
            EXPECT_EQ(Names{}, tests::namesIn(directory)) << one.call << " " << number;
        EXPECT_GT(number, 1) << one.call << " was never called";
        EXPECT_EQ("new content", tests::readFile(path)) << one.call;
        unlink(path.c_str());
    }
}

TEST_F(ServerSettingFaults, DoNotIncludeInterruptionsAndShortWrites)
{
    longestWrite = 1;
    EXPECT_EQ("replaced", replaceFailing("write", 1, EINTR));
    EXPECT_EQ("replaced", replaceFailing("write", 5, EINTR));
    EXPECT_EQ("replaced", replaceFailing("fsync", 1, EINTR));
    EXPECT_EQ("replaced", replaceFailing("fsync", 2, EINTR));
    EXPECT_EQ("new content", tests::readFile(path));
}

TEST_F(ServerSettingFaults, OfThePowerSupplyFindTheContentOnTheDiskBeforeItsName)
{
    SettingFile file = folder.locate(path);
    asked.clear();
    file.replace("new content");
    EXPECT_EQ((Names{"fsync file", "rename", "fsync folder"}), asked);
}

TEST_F(ServerSettingFaults, OfAFullDiskDoNotKeepTheOldContentFromComingBack)
{
    tests::writeFile(path, "old content");
    SettingFile file = folder.locate(path);
    file.replace("new content");
    for (const char* const call : {"openat", "write", "linkat"}) {
        failAt(call, 1, ENOSPC);
        file.putBack();
    }
    EXPECT_EQ("old content", tests::readFile(path));
}

TEST_F(ServerSettingFaults, LeaveTheRecordOfTheFileInUseAsItWas)
{
    folder.setInUse(directory + "/a");
    for (const char* const call : {"symlinkat", "renameat"}) {
        failAt(call, 1, ENOSPC);
        EXPECT_EQ(directory + "/.current: No space left on device",
                  tests::textThrownBy<std::runtime_error>([this] { folder.setInUse(directory + "/b"); }));
        EXPECT_EQ(directory + "/a", folder.inUse().value_or("none"));
        EXPECT_EQ(Names{".current"}, tests::namesIn(directory));
    }
}

TEST_F(ServerSettingFaults, OfOneFolderAreSaidAsTheyAre)
{
    failAt("openat", 1, EACCES);
    const std::string deep = directory + "/below/x";
    ASSERT_EQ(0, mkdir((directory + "/below").c_str(), 0700));
    EXPECT_EQ("setting-file-path: " + deep + ": the folder 'below': Permission denied",
              tests::textThrownBy<std::runtime_error>([&] { folder.locate(deep); }));
}

TEST_F(ServerSettingFaults, OfTheProcessItselfWaitUntilTheFileIsWhole)
{
    SettingFile file = folder.locate(path);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        bool pending = false;
        beforeRename = [&] {
            EXPECT_EQ(0, raise(signal));
            sigset_t waiting;
            sigpending(&waiting);
            pending = sigismember(&waiting, signal) == 1;
            // The test goes on: the signal is taken back before it is delivered.
            sigset_t taken;
            sigemptyset(&taken);
            sigaddset(&taken, signal);
            const timespec now = {};
            sigtimedwait(&taken, nullptr, &now);
        };
        file.replace("new content");
        EXPECT_TRUE(pending) << signal;
    }
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(0, sigismember(&blocked, SIGTERM));
}

TEST(ServerRequestFaults, DoNotEndARequestThatIsOnlyInterrupted)
{
    for (const int error : {EINTR, EAGAIN}) {
        int ends[2] = {};
        ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
        ASSERT_EQ(7, write(ends[1], "request", 7));
        close(ends[1]);
        RequestStream stream(ends[0], 100, std::chrono::seconds(10));
        fault = Fault{"read", 1, error};
        calls = 0;
        std::string text;
        stream >> text;
        fault.reset();
        close(ends[0]);
        EXPECT_EQ("request", text);
        EXPECT_EQ("", stream.problem());
    }
}

} // namespace
