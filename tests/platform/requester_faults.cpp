// An exchange with each system call in its turn failing: this program stands in for the C library's
// functions.

#include "Failures.h"
#include "requester_support.h"

#include <csignal>
#include <ctime>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <spawn.h>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <vector>

namespace {

// What a call does instead of its work. Error numbers are positive.
constexpr int ONE_BYTE = -1; // moves one byte only
constexpr int NOTHING = -2;  // says that nothing has happened

struct Fault {
    std::string_view call; ///< none if empty
    int effect = 0;
    tests::FailurePoint calls; ///< of those of that name
};

Fault fault;

// How far the monotonic clock is ahead of the real one.
long secondsAhead = 0;

bool strikes(std::string_view call)
{
    if (fault.call != call || !fault.calls.strikes())
        return false;
    if (fault.effect > 0)
        errno = fault.effect;
    return true;
}

template <class Function>
Function* theLibrarys(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

// 32-bit ARM has functions for time of two widths. The wide one bears the plain name in this program's source, the narrow
// one in what the C++ library calls.
#if defined(__USE_TIME_BITS64) && __SIZEOF_LONG__ == 4
#define NARROW_TIME
constexpr const char* CLOCK_GETTIME = "__clock_gettime64";

struct NarrowTime {
    long tv_sec;
    long tv_nsec;
};
#else
constexpr const char* CLOCK_GETTIME = "clock_gettime";
#endif

template <class Time>
int timeAhead(const char* name, clockid_t clock, Time* time)
{
    static auto* const real = theLibrarys<int(clockid_t, Time*)>(name);
    const int result = real(clock, time);
    if (clock == CLOCK_MONOTONIC)
        time->tv_sec += secondsAhead;
    return result;
}

} // namespace

extern "C" {

int socketpair(int domain, int type, int protocol, int fds[2]) noexcept
{
    static auto* const real = theLibrarys<int(int, int, int, int[2])>("socketpair");
    return strikes("socketpair") ? -1 : real(domain, type, protocol, fds);
}

ssize_t send(int fd, const void* buf, size_t n, int flags)
{
    static auto* const real = theLibrarys<ssize_t(int, const void*, size_t, int)>("send");
    if (!strikes("send"))
        return real(fd, buf, n, flags);
    return fault.effect == ONE_BYTE ? real(fd, buf, 1, flags) : -1;
}

ssize_t recv(int fd, void* buf, size_t n, int flags)
{
    static auto* const real = theLibrarys<ssize_t(int, void*, size_t, int)>("recv");
    if (!strikes("recv"))
        return real(fd, buf, n, flags);
    return fault.effect == ONE_BYTE ? real(fd, buf, 1, flags) : -1;
}

int poll(pollfd* fds, nfds_t nfds, int timeout)
{
    static auto* const real = theLibrarys<int(pollfd*, nfds_t, int)>("poll");
    if (!strikes("poll"))
        return real(fds, nfds, timeout);
    return fault.effect == NOTHING ? 0 : -1;
}

// The descriptor is closed all the same, as Linux does it.
int close(int fd)
{
    static auto* const real = theLibrarys<int(int)>("close");
    const int result = real(fd);
    return strikes("close") ? -1 : result;
}

int shutdown(int fd, int how) noexcept
{
    static auto* const real = theLibrarys<int(int, int)>("shutdown");
    return strikes("shutdown") ? -1 : real(fd, how);
}

pid_t waitpid(pid_t pid, int* stat_loc, int options)
{
    static auto* const real = theLibrarys<pid_t(pid_t, int*, int)>("waitpid");
    return strikes("waitpid") ? -1 : real(pid, stat_loc, options);
}

int kill(pid_t pid, int sig) noexcept
{
    static auto* const real = theLibrarys<int(pid_t, int)>("kill");
    if (!strikes("kill"))
        return real(pid, sig);
    return fault.effect == NOTHING ? 0 : -1;
}

int clock_gettime(clockid_t clock_id, timespec* tp) noexcept
{
    return timeAhead(CLOCK_GETTIME, clock_id, tp);
}

#ifdef NARROW_TIME
int narrowClockGettime(clockid_t clock, NarrowTime* time) noexcept __asm__("clock_gettime");

int narrowClockGettime(clockid_t clock, NarrowTime* time) noexcept
{
    return timeAhead("clock_gettime", clock, time);
}
#endif

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* file_actions,
                const posix_spawnattr_t* attrp, char* const argv[], char* const envp[])
{
    static auto* const real =
        theLibrarys<int(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                        char* const[], char* const[])>("posix_spawn");
    return strikes("posix_spawn") ? fault.effect : real(pid, path, file_actions, attrp, argv, envp);
}

int posix_spawn_file_actions_init(posix_spawn_file_actions_t* file_actions) noexcept
{
    static auto* const real = theLibrarys<int(posix_spawn_file_actions_t*)>("posix_spawn_file_actions_init");
    return strikes("posix_spawn_file_actions_init") ? fault.effect : real(file_actions);
}

int posix_spawnattr_init(posix_spawnattr_t* attr) noexcept
{
    static auto* const real = theLibrarys<int(posix_spawnattr_t*)>("posix_spawnattr_init");
    return strikes("posix_spawnattr_init") ? fault.effect : real(attr);
}

int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* file_actions, int fd, int newfd) noexcept
{
    static auto* const real =
        theLibrarys<int(posix_spawn_file_actions_t*, int, int)>("posix_spawn_file_actions_adddup2");
    return strikes("posix_spawn_file_actions_adddup2") ? fault.effect : real(file_actions, fd, newfd);
}

#ifdef SYSTEMDATA_REQUESTER_HAS_CLOSEFROM
int posix_spawn_file_actions_addclosefrom_np(posix_spawn_file_actions_t* file_actions, int from) noexcept
{
    static auto* const real =
        theLibrarys<int(posix_spawn_file_actions_t*, int)>("posix_spawn_file_actions_addclosefrom_np");
    return strikes("posix_spawn_file_actions_addclosefrom_np") ? fault.effect : real(file_actions, from);
}
#endif

} // extern "C"

namespace tests {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t SOME_PACKETS = 50'000;
constexpr std::size_t MORE_THAN_A_SOCKET_HOLDS = 250'000;

struct FaultRow {
    const char* name;
    const char* call;
    int effect;
    const char* script;
    std::size_t requestBytes;
    const char* expected; ///< what becomes of an exchange, whichever of its calls is struck
};

std::ostream& operator<<(std::ostream& out, const FaultRow& row)
{
    return out << row.name;
}

constexpr const char* HARMLESS = "sent, ended, answered";
constexpr const char* NO_ANSWER = "not answered"; // at which step it fails depends on the call that is struck
constexpr const char* NO_CHANNEL = "CRequester: cannot open a channel: ";
constexpr const char* NO_SERVER = "CRequester: cannot start ";

std::string resultOf(const FaultRow& row)
{
    try {
        return testing::PrintToString(exchange(row.script, row.requestBytes));
    } catch (const std::system_error& error) {
        return error.what();
    }
}

class AnExchangeWith : public RequesterTest, public testing::WithParamInterface<FaultRow> {
protected:
    ~AnExchangeWith() override { fault = {}; }
};

TEST_P(AnExchangeWith, LosesNothingWhicheverCallIsStruck)
{
    const FaultRow& row = GetParam();
    const int before = openDescriptors();
    fault = {row.call, row.effect, {}};
    std::string result;
    const auto check = [&](long number) {
        ASSERT_THAT(result, testing::HasSubstr(row.expected)) << number;
        ASSERT_EQ(before, openDescriptors()) << number;
        ASSERT_TRUE(hasNoChild()) << number;
    };
    EXPECT_LT(0, failEach(
                     fault.calls, [&] { result = resultOf(row); }, check))
        << "never called";
    EXPECT_EQ("sent, ended, answered", result);
}

const FaultRow FAULTS[] = {
    {"NoDescriptorLeft", "socketpair", EMFILE, "echo", SOME_PACKETS, NO_CHANNEL},
    {"NoDescriptorLeftInTheSystem", "socketpair", ENFILE, "echo", SOME_PACKETS, NO_CHANNEL},
    {"NoMemoryForAChannel", "socketpair", ENOMEM, "echo", SOME_PACKETS, NO_CHANNEL},
    {"NoProcessLeft", "posix_spawn", EAGAIN, "echo", SOME_PACKETS, NO_SERVER},
    {"NoMemoryForAProcess", "posix_spawn", ENOMEM, "echo", SOME_PACKETS, NO_SERVER},
    {"NoDescriptorLeftForAProcess", "posix_spawn", EMFILE, "echo", SOME_PACKETS, NO_SERVER},
    {"NoMemoryForItsSignals", "posix_spawnattr_init", ENOMEM, "echo", SOME_PACKETS, NO_SERVER},
    {"NoMemoryForAListOfDescriptors", "posix_spawn_file_actions_init", ENOMEM, "echo", SOME_PACKETS,
     NO_SERVER},
#ifdef SYSTEMDATA_REQUESTER_HAS_CLOSEFROM
    {"NoMemoryForTheDescriptorsToClose", "posix_spawn_file_actions_addclosefrom_np", ENOMEM, "echo",
     SOME_PACKETS, NO_SERVER},
#endif
    {"NoMemoryForItsDescriptors", "posix_spawn_file_actions_adddup2", ENOMEM, "echo", SOME_PACKETS,
     NO_SERVER},
    {"SendingInterrupted", "send", EINTR, "echo", SOME_PACKETS, HARMLESS},
    {"SendingWithoutRoom", "send", EAGAIN, "echo", SOME_PACKETS, HARMLESS},
    {"SendingByteByByte", "send", ONE_BYTE, "echo", SOME_PACKETS, HARMLESS},
    {"SendingOutOfBuffers", "send", ENOBUFS, "echo", SOME_PACKETS, "not sent, not ended, not answered"},
    {"SendingWithAnError", "send", EIO, "echo", SOME_PACKETS, "not sent, not ended, not answered"},
    {"SendingWithoutMemory", "send", ENOMEM, "echo", SOME_PACKETS, "not sent, not ended, not answered"},
    {"SendingIntoABrokenPipeBeforeTheAnswer", "send", EPIPE, "sleep:50 answer", SOME_PACKETS, HARMLESS},
    {"SendingIntoABrokenPipeAfterTheAnswer", "send", EPIPE, "answer read", SOME_PACKETS, HARMLESS},
    {"SendingIntoAResetConnectionAfterTheAnswer", "send", ECONNRESET, "answer read", SOME_PACKETS, HARMLESS},
    {"ReceivingInterrupted", "recv", EINTR, "echo", SOME_PACKETS, HARMLESS},
    {"ReceivingWithNothingThere", "recv", EAGAIN, "echo", SOME_PACKETS, HARMLESS},
    {"ReceivingByteByByte", "recv", ONE_BYTE, "echo", SOME_PACKETS, HARMLESS},
    {"ReceivingFromAResetConnection", "recv", ECONNRESET, "read answer:50000", SOME_PACKETS, NO_ANSWER},
    {"ReceivingWithoutMemory", "recv", ENOMEM, "read answer:50000", SOME_PACKETS, NO_ANSWER},
    {"ReceivingWithAnError", "recv", EIO, "read answer:50000", SOME_PACKETS, NO_ANSWER},
    {"WaitingInterrupted", "poll", EINTR, "echo", MORE_THAN_A_SOCKET_HOLDS, HARMLESS},
    {"WaitingToBeTriedAgain", "poll", EAGAIN, "echo", MORE_THAN_A_SOCKET_HOLDS, HARMLESS},
    {"WaitingEndedEarly", "poll", NOTHING, "echo", MORE_THAN_A_SOCKET_HOLDS, HARMLESS},
    {"WaitingWithoutMemory", "poll", ENOMEM, "echo", MORE_THAN_A_SOCKET_HOLDS, NO_ANSWER},
    {"WaitingWithAnError", "poll", EIO, "echo", MORE_THAN_A_SOCKET_HOLDS, NO_ANSWER},
    {"ClosingInterrupted", "close", EINTR, "echo", SOME_PACKETS, HARMLESS},
    {"ClosingWithAnError", "close", EIO, "echo", SOME_PACKETS, HARMLESS},
    {"EndingAfterTheAnswer", "shutdown", ENOTCONN, "answer read", SOME_PACKETS, HARMLESS},
    {"WaitingForTheServerInterrupted", "waitpid", EINTR, "echo", SOME_PACKETS, HARMLESS},
};

INSTANTIATE_TEST_SUITE_P(, AnExchangeWith, testing::ValuesIn(FAULTS));

class TimeBound : public RequesterTest {
protected:
    ~TimeBound() override { secondsAhead = 0; }

    CArrayParser request;
    CArrayParser answer;
};

TEST_F(TimeBound, BeginsWhenTheServerIsStarted)
{
    serversDo("read answer");
    fill(request, REQUESTER_SERVER, SMALL);
    CRequester requester(20);
    secondsAhead += 1000;
    EXPECT_EQ(ANSWERED, exchangeOver(requester, request, answer));
}

TEST_F(TimeBound, EndsTheWritingOfARequestThatTheServerStillReads)
{
    serversDo("read answer");
    fill(request, REQUESTER_SERVER, SMALL);
    CRequester requester(20);
    EXPECT_EQ(0, request.serialize(requester.getOStream()));
    secondsAhead += 21;
    EXPECT_EQ(NOT_SENT, exchangeOver(requester, request, answer));
}

// What comes before it reads is read ahead.
TEST_F(TimeBound, DoesNotCountOnceTheServerHasAnswered)
{
    serversDo("answer read");
    fill(request, REQUESTER_SERVER, MORE_THAN_A_SOCKET_HOLDS);
    CRequester requester(20);
    EXPECT_EQ(0, request.serialize(requester.getOStream()));
    secondsAhead += 21;
    EXPECT_EQ(ANSWERED, exchangeOver(requester, request, answer));
}

TEST_F(TimeBound, EndsTheReadingOfAnAnswerThatTheServerStillWrites)
{
    serversDo("read answer");
    fill(request, REQUESTER_SERVER, SMALL);
    CRequester requester(20);
    EXPECT_EQ(0, request.serialize(requester.getOStream()));
    EXPECT_EQ(0, requester.endOfTransmission());
    secondsAhead += 21;
    EXPECT_NE(0, answer.parse(requester.getIStream()));
}

class ServerFaults : public RequesterTest {
protected:
    ~ServerFaults() override { fault = {}; }

    static void strike(std::string_view call, int effect, bool lasting = false)
    {
        fault = {call, effect, {}};
        fault.calls.arm(0, lasting);
    }
};

TEST_F(ServerFaults, ARequestThatCannotBeEndedIsAFailureWithoutAnAnswer)
{
    strike("shutdown", ENOTCONN);
    EXPECT_EQ((Outcome{true, false, false}), exchange("read:100 exit:0"));
    EXPECT_TRUE(fault.calls.struck());
}

TEST_F(ServerFaults, AServerThatCannotBeTerminatedIsKilled)
{
    strike("kill", EPERM);
    EXPECT_EQ(ANSWERED, exchange("read answer hang"));
    EXPECT_TRUE(fault.calls.struck());
    EXPECT_TRUE(hasNoChild());
}

TEST_F(ServerFaults, AServerThatMayNotBeSignalledOrOutlivesItIsNotWaitedForForEver)
{
    for (const int effect : {EPERM, NOTHING}) {
        strike("kill", effect, true);
        EXPECT_LT(durationOf([] { EXPECT_EQ(ANSWERED, exchange("pid read answer hang")); }), 10s);
        EXPECT_TRUE(fault.calls.struck());
        fault = {};
        ASSERT_GT(serverPid(), 0);
        ::kill(serverPid(), SIGKILL);
        EXPECT_EQ(serverPid(), ::waitpid(serverPid(), nullptr, 0));
    }
}

} // namespace

} // namespace tests
