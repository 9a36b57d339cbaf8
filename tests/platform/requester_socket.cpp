// A server that is reached through a socket in the file system instead of being started.

#include "requester_support.h"

#include "Exceptions.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tests {

namespace {

constexpr uid_t NOBODY = 65534;

sockaddr_un addressOf(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

int boundSocket(const std::string& path, int type = SOCK_STREAM)
{
    const int descriptor = ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(path);
    if (::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        ADD_FAILURE() << path << ": " << std::strerror(errno);
    return descriptor;
}

/// A process that starts the scripted server for each connection, as inetd does.
class Listener {
public:
    explicit Listener(const std::string& path)
    {
        const int listening = boundSocket(path);
        EXPECT_EQ(0, ::listen(listening, 64));
        pid_ = ::fork();
        if (pid_ == 0)
            serve(listening);
        ::setpgid(pid_, pid_);
        ::close(listening);
    }
    ~Listener()
    {
        ::kill(-pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

private:
    [[noreturn]] static void serve(int listening)
    {
        ::setpgid(0, 0);
        static_cast<void>(std::signal(SIGCHLD, SIG_IGN));
        for (;;) {
            const int connection = ::accept(listening, nullptr, nullptr);
            if (::fork() == 0) {
                ::dup2(connection, STDIN_FILENO);
                ::dup2(connection, STDOUT_FILENO);
                ::close(connection);
                ::execl(REQUESTER_SERVER, REQUESTER_SERVER, static_cast<char*>(nullptr));
                ::_exit(1);
            }
            ::close(connection);
        }
    }

    pid_t pid_;
};

class ServerSocket : public RequesterTest {
protected:
    /// What an exchange over a socket that cannot be connected to throws.
    static std::string failure(const std::string& path, int seconds = 20)
    {
        return textThrownBy<std::system_error>([&] { exchange("", SMALL, seconds, path); });
    }

    /// An exchange with a listener whose servers follow the script.
    Outcome exchangeWith(const std::string& script, std::size_t bytes = SMALL, int seconds = 20) const
    {
        serversDo(script); // before the listener is there: it hands its surroundings on
        const Listener listener(path);
        return exchange(script, bytes, seconds, path);
    }

    const std::string path = folder / "socket";
    const std::string begin = "CRequester: cannot connect to " + path + ": ";
};

TEST_F(ServerSocket, IsConnectedToAndAnswers)
{
    EXPECT_EQ(ANSWERED, exchangeWith("read answer"));
}

TEST_F(ServerSocket, MayBeBehindASymbolicLink)
{
    serversDo("read answer");
    const Listener listener(path);
    fs::create_symlink(path, folder / "link");
    EXPECT_EQ(ANSWERED, exchange("read answer", SMALL, 20, folder / "link"));
}

TEST_F(ServerSocket, CarriesMoreThanASocketHoldsInBothDirections)
{
    EXPECT_EQ(ANSWERED, exchangeWith("read answer:5000000", LARGE));
    fs::remove(path);
    EXPECT_EQ(ANSWERED, exchangeWith("answer:5000000 read", LARGE));
}

TEST_F(ServerSocket, IsGivenTheWholeRequest)
{
    serversDo("echo");
    const Listener listener(path);
    CArrayParser request;
    CArrayParser echoed;
    fill(request, path, SMALL);
    CRequester requester(20);
    EXPECT_EQ(ANSWERED, exchangeOver(requester, request, echoed));
    EXPECT_EQ(std::string(SMALL, 'x'), membersOf(echoed)["text"]);
}

TEST_F(ServerSocket, TakesThePlaceOfTheChannelsDescriptors)
{
    serversDo("read answer");
    const Listener listener(path);
    const int before = openDescriptors();
    CArrayParser request;
    CArrayParser answer;
    fill(request, path, SMALL);
    CRequester requester(20);
    EXPECT_EQ(ANSWERED, exchangeOver(requester, request, answer));
    EXPECT_EQ(before + 1, openDescriptors());
}

TEST_F(ServerSocket, ThatNobodyListensOnIsAnErrorThatNamesIt)
{
    ::close(boundSocket(path));
    EXPECT_EQ(begin + "Connection refused", failure(path));
}

TEST_F(ServerSocket, ThatTheCallerMayNotUseIsAnErrorThatNamesIt)
{
    const Listener listener(path);
    fs::permissions(folder, fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
    fs::permissions(path, fs::perms::none);
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(0, ::seteuid(NOBODY));
    }
    EXPECT_EQ(begin + "Permission denied", failure(path));
    if (root) {
        ASSERT_EQ(0, ::seteuid(0));
    }
}

TEST_F(ServerSocket, OfAnotherKindIsAnErrorThatNamesIt)
{
    const int datagrams = boundSocket(path, SOCK_DGRAM);
    EXPECT_EQ(begin + "Protocol wrong type for socket", failure(path));
    ::close(datagrams);
}

TEST_F(ServerSocket, WhosePathIsLongerThanAnAddressHoldsIsAnErrorThatNamesIt)
{
    // 108 bytes are the room for a path and its end.
    const fs::path before = fs::current_path();
    const std::size_t prefix = folder.string().size() + 1;
    const std::string longest(107 - prefix, 'x');
    const std::string longer = longest + "x";
    fs::current_path(folder);
    ::close(boundSocket(longest));
    ::close(boundSocket(longer));
    fs::current_path(before);
    const std::string text = "CRequester: cannot connect to ";
    EXPECT_EQ(text + (folder / longest).string() + ": Connection refused", failure(folder / longest));
    EXPECT_EQ(text + (folder / longer).string() + ": File name too long", failure(folder / longer));
}

TEST_F(ServerSocket, WhoseQueueStaysFullIsWaitedForUntilTheTimeIsUp)
{
    const int listening = boundSocket(path);
    ASSERT_EQ(0, ::listen(listening, 0));
    const sockaddr_un address = addressOf(path);
    std::vector<int> waiting;
    int status = 0;
    while (status == 0) {
        waiting.push_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        status = ::connect(waiting.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
    const auto duration = durationOf([&] { EXPECT_EQ(begin + "Connection timed out", failure(path, 1)); });
    EXPECT_GE(duration, std::chrono::milliseconds(900));
    EXPECT_LT(duration, std::chrono::seconds(10));
    for (const int descriptor : waiting)
        ::close(descriptor);
    ::close(listening);
}

TEST_F(ServerSocket, ThatIsNeverServedIsNotWaitedForLongerThanTheTime)
{
    const int listening = boundSocket(path);
    ASSERT_EQ(0, ::listen(listening, 1));
    const auto duration = durationOf([&] { EXPECT_EQ(NOT_ANSWERED, exchange("", SMALL, 1, path)); });
    EXPECT_LT(duration, std::chrono::seconds(10));
    ::close(listening);
}

TEST_F(ServerSocket, WhoseServerDiesGivesNoAnswer)
{
    for (const char* const script : {"read die", "read half die", "read garbage", "read exit:0"}) {
        EXPECT_EQ(NOT_ANSWERED, exchangeWith(script)) << script;
        fs::remove(path);
    }
}

TEST_F(ServerSocket, WhoseServerDiesAfterItsAnswerHasAnswered)
{
    EXPECT_EQ(ANSWERED, exchangeWith("read answer die"));
}

TEST_F(ServerSocket, WhoseServerDiesWithoutReadingLeavesTheRequestUnsent)
{
    EXPECT_EQ(NOT_SENT, exchangeWith("die", LARGE));
}

TEST_F(ServerSocket, ServesFiftyCallersAtOnce)
{
    serversDo("read answer:100000");
    const Listener listener(path);
    constexpr int CALLERS = 50;
    std::atomic<int> answered = 0;
    std::vector<std::thread> callers;
    callers.reserve(CALLERS);
    for (int i = 0; i < CALLERS; ++i)
        callers.emplace_back([&] {
            CArrayParser request;
            CArrayParser answer;
            fill(request, path, 100000);
            CRequester requester(60);
            if (exchangeOver(requester, request, answer) == ANSWERED &&
                membersOf(answer)["text"].size() == 100000)
                ++answered;
        });
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(CALLERS, answered);
}

TEST_F(ServerSocket, ThatIsAPlainFileIsStillACommand)
{
    std::ofstream(path) << "text";
    EXPECT_EQ("CRequester: cannot start " + path + ": Permission denied", failure(path));
}

} // namespace

} // namespace tests
