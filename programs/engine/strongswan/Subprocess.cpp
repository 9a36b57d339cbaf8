// Starting of programs and waiting for them.

#include "Subprocess.h"

#include "Engine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int CANNOT_START = 127;
constexpr std::size_t MOST_WORDS = 8192;
constexpr auto LOOK_INTERVAL = std::chrono::milliseconds(10);

[[noreturn]] void fail(const std::string& what)
{
    throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers(texts.size() + 1, nullptr);
    std::transform(texts.begin(), texts.end(), pointers.begin(),
                   [](std::string& text) { return text.data(); });
    return pointers;
}

// In the child: says why it cannot be what it should.
[[noreturn]] void giveUp(const char* what)
{
    const char* const why = std::strerror(errno); // NOLINT(concurrency-mt-unsafe): one thread
    dprintf(STDERR_FILENO, "%s: %s\n", what, why);
    _exit(CANNOT_START);
}

struct Streams {
    int output = -1;
    int errors = -1;
};

pid_t spawn(const Program& program, int namespaceDescriptor, const Streams& streams)
{
    std::vector<std::string> words = program.words;
    std::vector<std::string> environment = program.environment;
    const std::vector<char*> argv = pointersTo(words);
    const std::vector<char*> envp = pointersTo(environment);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0)
        fail(program.words.front());
    if (child > 0)
        return child;
    dup2(streams.output, STDIN_FILENO);
    dup2(streams.output, STDOUT_FILENO);
    dup2(streams.errors, STDERR_FILENO);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(CANNOT_START);
    if (namespaceDescriptor >= 0 && setns(namespaceDescriptor, CLONE_NEWNET) != 0)
        giveUp("entering the namespace");
    if (chdir(program.workFolder.c_str()) != 0)
        giveUp(program.workFolder.c_str());
    engine::unblockSignals();
    execve(argv[0], argv.data(), envp.data());
    giveUp(argv[0]);
}

// A descriptor that is closed at the end.
class Closed {
public:
    explicit Closed(int descriptor)
        : descriptor_(descriptor)
    {}
    ~Closed() { close(); }
    Closed(const Closed&) = delete;
    Closed& operator=(const Closed&) = delete;

    int get() const { return descriptor_; }
    void close()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
        descriptor_ = -1;
    }

private:
    int descriptor_;
};

// Reads until the other side ends or the time is over; whether it ended.
bool readAll(int descriptor, std::string& text, Clock::time_point deadline)
{
    std::array<char, 1024> buffer = {};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd ready = {descriptor, POLLIN, 0};
        const int polled = left <= 0 ? 0 : poll(&ready, 1, static_cast<int>(left));
        if (polled == 0)
            return false;
        const ssize_t count = polled < 0 ? -1 : read(descriptor, buffer.data(), buffer.size());
        if (count == 0)
            return true;
        if (count < 0 && errno != EINTR)
            return true;
        if (count > 0 && text.size() < MOST_WORDS)
            text.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

} // namespace

pid_t startProgram(const Program& program, int namespaceDescriptor, const std::string& errorFile)
{
    const Closed null(open("/dev/null", O_RDWR | O_CLOEXEC));
    const Closed errors(
        open(errorFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (null.get() < 0 || errors.get() < 0)
        fail(errorFile);
    return spawn(program, namespaceDescriptor, {null.get(), errors.get()});
}

Ending runProgram(const Program& program, std::chrono::milliseconds time)
{
    std::array<int, 2> ends = {};
    const Closed null(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (null.get() < 0 || pipe2(ends.data(), O_CLOEXEC) != 0)
        fail(program.words.front());
    const Closed fromChild(ends[0]);
    Closed toParent(ends[1]);
    const auto deadline = Clock::now() + time;
    const pid_t child = spawn(program, -1, {null.get(), toParent.get()});
    toParent.close();
    Ending ending;
    ending.inTime = readAll(fromChild.get(), ending.errors, deadline);
    if (!ending.inTime)
        kill(child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    ending.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ending;
}

void runInNamespace(int namespaceDescriptor, const std::function<void()>& function)
{
    const pid_t child = fork();
    if (child == 0) {
        if (namespaceDescriptor < 0 || setns(namespaceDescriptor, CLONE_NEWNET) == 0)
            function();
        _exit(0);
    }
    if (child > 0)
        while (waitpid(child, nullptr, 0) < 0 && errno == EINTR)
            continue;
}

bool waitForEnd(pid_t child, std::chrono::milliseconds time)
{
    const auto deadline = Clock::now() + time;
    for (;;) {
        const pid_t ended = waitpid(child, nullptr, WNOHANG);
        if (ended == child || (ended < 0 && errno == ECHILD))
            return true;
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(LOOK_INTERVAL);
    }
}

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan
