// How the server is started: which program, with what, and what becomes of a program that cannot be.

#include "requester_support.h"

#include "Exceptions.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <initializer_list>
#include <sys/resource.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace tests {

namespace {

class ServerStart : public RequesterTest {
protected:
    /// What a server tells of how it was started.
    static std::map<std::string, std::string> report(const std::string& command = REQUESTER_SERVER)
    {
        serversDo("read report");
        CArrayParser request;
        CArrayParser answer;
        fill(request, command, SMALL);
        CRequester requester(20);
        EXPECT_EQ(ANSWERED, exchangeOver(requester, request, answer));
        return membersOf(answer);
    }

    /// What an exchange with a command that cannot be started throws.
    static std::string failure(const std::string& command)
    {
        return textThrownBy<std::system_error>([&] { exchange("read answer", SMALL, 20, command); });
    }

    /// A file with this content that its owner may run.
    std::string program(const std::string& name, const std::string& content) const
    {
        const fs::path path = folder / name;
        std::ofstream(path) << content;
        fs::permissions(path, fs::perms::owner_all);
        return path;
    }
};

TEST_F(ServerStart, ACommandThatCannotBeStartedIsNamedWithTheReason)
{
    const std::string plain = folder / "plain";
    std::ofstream(plain) << "text";
    const std::string missing = folder / "missing";
    const std::string within = plain + "/server";
    const std::string longest = "/" + std::string(5000, 'x');
    const std::string begin = "CRequester: cannot start ";
    EXPECT_EQ(begin + missing + ": No such file or directory", failure(missing));
    EXPECT_EQ(begin + plain + ": Permission denied", failure(plain));
    EXPECT_EQ(begin + folder.string() + ": Permission denied", failure(folder));
    EXPECT_EQ(begin + within + ": Not a directory", failure(within));
    EXPECT_EQ(begin + longest + ": File name too long", failure(longest));
}

TEST_F(ServerStart, TheReasonIsAnErrorNumberOfTheSystem)
{
    try {
        exchange("read answer", SMALL, 20, folder / "missing");
        FAIL() << "started";
    } catch (const std::system_error& error) {
        EXPECT_EQ(std::error_code(ENOENT, std::system_category()), error.code());
    }
}

TEST_F(ServerStart, AFileThatIsNoProgramIsNotGivenToAShell)
{
    const std::string trace = folder / "trace";
    const std::string script = program("script", "echo ran >'" + trace + "'\n");
    EXPECT_EQ("CRequester: cannot start " + script + ": Exec format error", failure(script));
    EXPECT_FALSE(fs::exists(trace));
}

TEST_F(ServerStart, AScriptThatNamesItsInterpreterIsAProgram)
{
    const std::string script = program("script", std::string("#!/bin/sh\nexec '") + REQUESTER_SERVER + "'\n");
    EXPECT_EQ(ANSWERED, exchange("read answer", SMALL, 20, script));
}

TEST_F(ServerStart, NothingOfTheCommandReachesAShell)
{
    const std::string command = std::string(REQUESTER_SERVER) + "; touch " + (folder / "mark").string();
    EXPECT_EQ("CRequester: cannot start " + command + ": No such file or directory", failure(command));
    EXPECT_FALSE(hasMark());
}

TEST_F(ServerStart, ACommandIsNotSearchedAlongThePath)
{
    const std::string before = std::getenv("PATH");
    fs::create_symlink(REQUESTER_SERVER, folder / "along-the-path");
    ::setenv("PATH", folder.c_str(), 1);
    EXPECT_EQ("CRequester: cannot start along-the-path: No such file or directory",
              failure("along-the-path"));
    ::setenv("PATH", before.c_str(), 1);
}

TEST_F(ServerStart, ARelativeCommandIsTakenFromTheWorkingFolder)
{
    const fs::path before = fs::current_path();
    fs::create_symlink(REQUESTER_SERVER, folder / "here");
    fs::current_path(folder);
    EXPECT_EQ("here", report("here")["argv0"]);
    fs::current_path(before);
}

TEST_F(ServerStart, AfterAFailedStartTheChannelIsDead)
{
    CArrayParser request;
    CArrayParser answer;
    fill(request, folder / "missing", SMALL);
    CRequester requester(20);
    EXPECT_THROW(request.serialize(requester.getOStream()), std::system_error);
    EXPECT_EQ(NOT_SENT, exchangeOver(requester, request, answer));
}

TEST_F(ServerStart, TwoHundredFailedStartsLeaveNothingBehind)
{
    for (int number = 0; number < 200; ++number)
        EXPECT_NE("<nothing thrown>", failure(folder / "missing"));
}

TEST_F(ServerStart, ACommandsCharactersAreTakenAsTheyStand)
{
    for (const std::string name : {"plain", "a&b", "a<b>c", "quotes\"and'", " blanks  at the ends ", "]]>",
                                   "&amp;", "&#65;", "tab\tand\nline", "carriage\rreturn", "%s%n", "$HOME",
                                   "*", "\xC3\xBC", "\xE2\x82\xAC", "\xF0\x9F\x94\x91"}) {
        const std::string command = folder / name;
        fs::create_symlink(REQUESTER_SERVER, command);
        EXPECT_EQ(command, report(command)["argv0"]);
    }
}

TEST_F(ServerStart, TheServerHasTheChannelTheCallersErrorsAndNoOtherDescriptor)
{
    const int inherited = ::open("/dev/null", O_RDONLY); // NOLINT(android-cloexec-open): that is the point
    const int far = ::fcntl(inherited, F_DUPFD, 700);
    const CRequester other(20);
    EXPECT_EQ("0=socket 1=socket 2=error", report()["descriptors"]);
    ::close(far);
    ::close(inherited);
}

/// Sends standard error to a file while it exists.
class RedirectedErrors {
public:
    explicit RedirectedErrors(const fs::path& file)
        : before_(::dup(STDERR_FILENO))
    {
        const int target = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        ::dup2(target, STDERR_FILENO);
        ::close(target);
    }
    ~RedirectedErrors()
    {
        ::dup2(before_, STDERR_FILENO);
        ::close(before_);
    }
    RedirectedErrors(const RedirectedErrors&) = delete;
    RedirectedErrors& operator=(const RedirectedErrors&) = delete;

private:
    int before_;
};

TEST_F(ServerStart, TheServersErrorsGoWhereTheCallersGo)
{
    const fs::path errors = folder / "errors";
    {
        const RedirectedErrors redirected(errors);
        EXPECT_EQ(ANSWERED, exchange("read answer complain"));
    }
    std::string line;
    std::getline(std::ifstream(errors), line);
    EXPECT_EQ("complaint", line);
}

TEST_F(ServerStart, TheServersErrorsGoThereEvenIfTheDescriptorIsMarkedForClosing)
{
    const fs::path errors = folder / "errors";
    const RedirectedErrors redirected(errors);
    ::fcntl(STDERR_FILENO, F_SETFD, FD_CLOEXEC);
    EXPECT_EQ(errors.string(), report()["standard-error"]);
}

TEST_F(ServerStart, TheServersSignalsAreAtTheirDefaultWhateverTheCallersAre)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, &before);
    std::vector<std::pair<int, void (*)(int)>> handlers;
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGCHLD, SIGTSTP})
        handlers.emplace_back(number, std::signal(number, SIG_IGN));
    auto told = report();
    for (const auto& [number, handler] : handlers)
        static_cast<void>(std::signal(number, handler));
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ("0000000000000000", told["blocked-signals"]);
    constexpr unsigned long long theLibrarys = 0x180000000; // 32 and 33, which the C library keeps to itself
    EXPECT_EQ(0U, std::stoull(told["ignored-signals"], nullptr, 16) & ~theLibrarys);
}

TEST_F(ServerStart, AnExchangeLeavesTheCallersSignalsAlone)
{
    const auto before = std::signal(SIGUSR1, SIG_IGN);
    sigset_t mask;
    sigset_t after;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(ANSWERED, exchange("read answer"));
    ::pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(SIG_IGN, std::signal(SIGUSR1, before));
    for (int number = 1; number < SIGRTMIN; ++number)
        EXPECT_EQ(sigismember(&mask, number), sigismember(&after, number)) << number;
}

/// What an action returns in a process of its own, which it may spoil as it likes.
std::string inAnotherProcess(const std::function<std::string()>& action)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return "<no pipe>";
    const pid_t child = ::fork();
    if (child == 0) {
        std::string result;
        try {
            result = action();
        } catch (const std::exception& error) {
            result = error.what();
        }
        const ssize_t written = ::write(ends[1], result.data(), result.size());
        ::_exit(written == static_cast<ssize_t>(result.size()) ? 0 : 1);
    }
    ::close(ends[1]);
    std::string result;
    char bytes[4096];
    for (ssize_t size = ::read(ends[0], bytes, sizeof bytes); size > 0;
         size = ::read(ends[0], bytes, sizeof bytes))
        result.append(bytes, static_cast<std::size_t>(size));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return status == 0 ? result : "<ended with status " + std::to_string(status) + ">";
}

TEST_F(ServerStart, AnyOfTheCallersStandardDescriptorsMayBeClosed)
{
    for (const std::vector<int>& closed :
         {std::vector<int>{0}, {1}, {2}, {0, 1}, {0, 2}, {1, 2}, {0, 1, 2}}) {
        std::string names;
        for (const int descriptor : closed)
            names += std::to_string(descriptor) + ' ';
        const std::string told = inAnotherProcess([&] {
            for (const int descriptor : closed)
                ::close(descriptor);
            auto members = report();
            for (const int descriptor : closed)
                if (::fcntl(descriptor, F_GETFD) != -1)
                    return std::string("the channel is a standard descriptor");
            return members["descriptors"] + (hasNoChild() ? "" : ", a child is left");
        });
        EXPECT_EQ("0=socket 1=socket 2=error", told) << "closed: " << names;
    }
}

TEST_F(ServerStart, WithoutStandardErrorTheServersErrorsGoNowhere)
{
    EXPECT_EQ("/dev/null", inAnotherProcess([] {
                  ::close(STDERR_FILENO);
                  return report()["standard-error"];
              }));
}

/// A channel in a process that may have few descriptors.
class ScarceDescriptors : public ServerStart {
protected:
    // Everything once while there are enough: a sanitizer's first look at a type takes descriptors of its own.
    ScarceDescriptors()
    {
        EXPECT_EQ(ANSWERED, exchange("read answer"));
        EXPECT_NE("<nothing thrown>", failure(folder / "missing"));
    }
};

/// Lets this process have descriptors below `limit` only.
void limitDescriptors(rlim_t limit)
{
    rlimit limits = {};
    ::getrlimit(RLIMIT_NOFILE, &limits);
    limits.rlim_cur = limit;
    ::setrlimit(RLIMIT_NOFILE, &limits);
}

rlim_t lowestFreeDescriptor()
{
    const int lowest = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    ::close(lowest);
    return static_cast<rlim_t>(lowest);
}

TEST_F(ScarceDescriptors, WithoutDescriptorsForItAChannelIsNotOpenedAndNothingIsLost)
{
    for (const rlim_t left : {0U, 1U})
        EXPECT_EQ("CRequester: cannot open a channel: Too many open files", inAnotherProcess([&] {
                      const rlim_t lowest = lowestFreeDescriptor();
                      limitDescriptors(lowest + left);
                      const std::string text =
                          textThrownBy<std::system_error>([] { CRequester requester(20); });
                      limitDescriptors(1024);
                      return lowestFreeDescriptor() == lowest ? text : "a descriptor is lost";
                  }))
            << left;
}

TEST_F(ScarceDescriptors, WithDescriptorsForItsTwoEndsAChannelWorks)
{
    EXPECT_EQ("sent, ended, answered", inAnotherProcess([&] {
                  limitDescriptors(lowestFreeDescriptor() + 2);
                  return testing::PrintToString(exchange("read answer"));
              }));
}

TEST_F(ScarceDescriptors, WithoutDescriptorsAboveTheStandardOnesAChannelIsNotOpenedAndNothingIsLost)
{
    EXPECT_EQ("CRequester: cannot open a channel: Invalid argument", inAnotherProcess([] {
                  ::close(STDIN_FILENO);
                  ::close(STDOUT_FILENO);
                  limitDescriptors(3);
                  const std::string text = textThrownBy<std::system_error>([] { CRequester requester(20); });
                  limitDescriptors(1024);
                  return lowestFreeDescriptor() == STDIN_FILENO ? text : "a descriptor is lost";
              }));
}

} // namespace

} // namespace tests
