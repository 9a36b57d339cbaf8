// A setting file on a disk that fails, and a request that is interrupted: the system calls of this program
// fail when a test says so.

#include "Exceptions.h"
#include "RequestStream.h"
#include "SettingFolder.h"

#include "server_disk.h"
#include "server_support.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

using tests::disk;
using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using Names = std::vector<std::string>;

class ServerSettingFaults : public ::testing::Test {
protected:
    ~ServerSettingFaults() override { disk = {}; }

    /// Has one call of that name fail, the first one unless told otherwise.
    static void failAt(const std::string& call, int error, long number = 0)
    {
        disk.failAt(call, error);
        disk.calls.arm(number);
    }

    /// Replaces the content; the error's words, or "replaced".
    static std::string replace(SettingFile file)
    {
        try {
            file.replace("new content");
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return "replaced";
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
    disk.longestWrite = 4; // several writes a file
    for (const auto& one : FAULTS) {
        SCOPED_TRACE(one.call + std::string(": ") + one.words);
        tests::writeFile(path, "old content");
        disk.failAt(one.call, one.error);
        SettingFile file = folder.locate(path);
        std::string outcome;
        const auto check = [&](long number) {
            EXPECT_EQ(path + ": " + one.words, outcome);
            EXPECT_EQ("old content", tests::readFile(path)) << number;
            EXPECT_EQ(Names{"engine.conf"}, tests::namesIn(directory)) << number;
            file = folder.locate(path);
        };
        const auto attempt = [&] { outcome = replace(std::move(file)); };
        EXPECT_LT(0, tests::failEach(disk.calls, attempt, check)) << "was never called";
        EXPECT_EQ("replaced", outcome);
    }
}

TEST_F(ServerSettingFaults, LeaveNothingWhereThereWasNothing)
{
    for (const auto& one : FAULTS) {
        SCOPED_TRACE(one.call + std::string(": ") + one.words);
        disk.failAt(one.call, one.error);
        SettingFile file = folder.locate(path);
        const auto check = [&](long number) {
            EXPECT_EQ(Names{}, tests::namesIn(directory)) << number;
            file = folder.locate(path);
        };
        const auto attempt = [&] { replace(std::move(file)); };
        EXPECT_LT(0, tests::failEach(disk.calls, attempt, check)) << "was never called";
        EXPECT_EQ("new content", tests::readFile(path));
        unlink(path.c_str());
    }
}

TEST_F(ServerSettingFaults, DoNotIncludeInterruptionsAndShortWrites)
{
    disk.longestWrite = 1;
    const struct {
        const char* call;
        long number;
    } rows[] = {{"write", 0}, {"write", 4}, {"fsync", 0}, {"fsync", 1}};
    for (const auto& row : rows) {
        failAt(row.call, EINTR, row.number);
        EXPECT_EQ("replaced", replace(folder.locate(path)));
        EXPECT_TRUE(disk.calls.struck()) << row.call;
    }
    EXPECT_EQ("new content", tests::readFile(path));
}

TEST_F(ServerSettingFaults, OfThePowerSupplyFindTheContentOnTheDiskBeforeItsName)
{
    SettingFile file = folder.locate(path);
    disk.asked.clear();
    file.replace("new content");
    EXPECT_EQ((Names{"fsync file", "rename", "fsync folder"}), disk.asked);
}

TEST_F(ServerSettingFaults, OfThePowerSupplyBringNoDeletedContentBack)
{
    tests::writeFile(path, "old content");
    SettingFile file = folder.locate(path);
    file.replace("new content");
    disk.asked.clear();
    file.keep();
    EXPECT_EQ(Names{"fsync folder"}, disk.asked) << "of the old content's name";
    disk.asked.clear();
    file.remove();
    EXPECT_EQ(Names{"fsync folder"}, disk.asked);
}

TEST_F(ServerSettingFaults, OfThePowerSupplyFindTheFileInUseRemembered)
{
    folder.setInUse(path);
    EXPECT_EQ((Names{"rename", "fsync folder"}), disk.asked);
}

TEST_F(ServerSettingFaults, OfAFullDiskDoNotKeepTheOldContentFromComingBack)
{
    tests::writeFile(path, "old content");
    SettingFile file = folder.locate(path);
    file.replace("new content");
    for (const char* const call : {"openat", "write", "linkat"}) {
        failAt(call, ENOSPC);
        file.putBack();
    }
    EXPECT_EQ("old content", tests::readFile(path));
}

TEST_F(ServerSettingFaults, LeaveTheRecordOfTheFileInUseAsItWas)
{
    folder.setInUse(directory + "/a");
    for (const char* const call : {"symlinkat", "renameat"}) {
        failAt(call, ENOSPC);
        EXPECT_EQ(directory + "/.current: No space left on device",
                  tests::textThrownBy<std::runtime_error>([this] { folder.setInUse(directory + "/b"); }));
        EXPECT_EQ(directory + "/a", folder.inUse().value_or("none"));
        EXPECT_EQ(Names{".current"}, tests::namesIn(directory));
    }
}

TEST_F(ServerSettingFaults, OfOneFolderAreSaidAsTheyAre)
{
    failAt("openat", EACCES);
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
        disk.beforeRename = [&] {
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

// Not even one that came after the name was found free.
TEST_F(ServerSettingFaults, OfANameThatIsTakenWriteIntoNoFileOfAnother)
{
    const std::string victim = temporary / "victim";
    const std::string newName = directory + "/.engine.conf.new";
    tests::writeFile(path, "old content");
    tests::writeFile(victim, "untouched");
    const auto replaceWhile = [&](const std::function<int()>& take) {
        bool taken = false;
        disk.beforeOpening = [&](const std::string& name) {
            if (name == ".engine.conf.new" && !std::exchange(taken, true)) {
                EXPECT_EQ(0, take());
            }
        };
        EXPECT_EQ(path + ": File exists", replace(folder.locate(path)));
        EXPECT_TRUE(taken);
        EXPECT_EQ("old content", tests::readFile(path));
        EXPECT_EQ(Names{"engine.conf"}, tests::namesIn(directory));
    };
    replaceWhile([&] { return symlink(victim.c_str(), newName.c_str()); });
    EXPECT_EQ("untouched", tests::readFile(victim));
    replaceWhile([&] { return link(victim.c_str(), newName.c_str()); });
    EXPECT_EQ("untouched", tests::readFile(victim));
    replaceWhile([&] { return symlink((temporary / "none").c_str(), newName.c_str()); });
    EXPECT_FALSE(tests::exists(temporary / "none"));
}

// However late it comes: what is looked at is what was opened.
TEST_F(ServerSettingFaults, OfAFolderThatBecomesALinkLeadNowhereElse)
{
    const std::string below = directory + "/below";
    ASSERT_EQ(0, mkdir(below.c_str(), 0700));
    ASSERT_EQ(0, mkdir((temporary / "elsewhere").c_str(), 0700));
    disk.beforeOpening = [&](const std::string& name) {
        if (name == "below" && rmdir(below.c_str()) == 0) {
            EXPECT_EQ(0, symlink((temporary / "elsewhere").c_str(), below.c_str()));
        }
    };
    EXPECT_EQ("setting-file-path: " + below + "/x: the folder 'below': is a link",
              tests::textThrownBy<std::runtime_error>([&] { folder.locate(below + "/x"); }));
}

TEST(ServerRequestFaults, DoNotEndARequestThatIsOnlyInterrupted)
{
    for (const int error : {EINTR, EAGAIN}) {
        int ends[2] = {};
        ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
        ASSERT_EQ(7, write(ends[1], "request", 7));
        close(ends[1]);
        RequestStream stream(ends[0], 100, std::chrono::seconds(10));
        disk.failAt("read", error);
        disk.calls.arm(0);
        std::string text;
        stream >> text;
        EXPECT_TRUE(disk.calls.struck());
        disk = {};
        close(ends[0]);
        EXPECT_EQ("request", text);
        EXPECT_EQ("", stream.problem());
    }
}

} // namespace
