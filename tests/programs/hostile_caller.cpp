// Starts a program as no friendly caller would: what it is to inherit stands before it on the command line.
//
//   hostile_caller [DIRECTIVE...] -- PROGRAM
//
//   close=N             descriptor N is closed
//   stdout=PATH         standard output is that file; stderr=PATH likewise
//   inherit=PATH        one more descriptor is open
//   exhaust             every descriptor that the limit allows is open, but the one that the program needs to start
//   small-buffer        standard output, a socket, has room for next to nothing
//   ignore-signals      every signal is ignored; block-signals likewise
//   alarm=MILLISECONDS  a timer runs that ends whoever does not expect it
//   limit=NAME:NUMBER   a resource limit that nobody without rights can raise again; soft-limit can be raised
//   nice                least priority; oom-score=NUMBER likewise for memory
//   own-group           a process group of its own
//   folder=PATH         working folder
//   umask=OCTAL

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

const std::map<std::string, int> LIMITS = {
    {"as", RLIMIT_AS},       {"core", RLIMIT_CORE},     {"cpu", RLIMIT_CPU},     {"data", RLIMIT_DATA},
    {"fsize", RLIMIT_FSIZE}, {"nofile", RLIMIT_NOFILE}, {"stack", RLIMIT_STACK},
};

[[noreturn]] void fail(const std::string& what)
{
    std::cerr << "hostile_caller: " << what << ": " << std::strerror(errno) << '\n';
    std::exit(99); // NOLINT(concurrency-mt-unsafe): one thread
}

void require(bool condition, const std::string& what)
{
    if (!condition)
        fail(what);
}

void redirect(int fd, const std::string& path)
{
    const int file = open(path.c_str(), O_WRONLY);
    require(file >= 0 && dup2(file, fd) == fd, path);
    close(file);
}

void ignoreSignals(const std::string& /*value*/)
{
    for (int signal = 1; signal < NSIG; ++signal)
        static_cast<void>(std::signal(signal, SIG_IGN)); // fails for some
}

void blockSignals(const std::string& /*value*/)
{
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, nullptr);
}

void setAlarm(const std::string& milliseconds)
{
    itimerval timer = {};
    const long number = std::stol(milliseconds);
    timer.it_value = {number / 1000, number % 1000 * 1000};
    require(setitimer(ITIMER_REAL, &timer, nullptr) == 0, "setitimer");
}

void setLimit(const std::string& text, bool hard)
{
    const std::size_t colon = text.find(':');
    const auto resource = static_cast<decltype(RLIMIT_CPU)>(LIMITS.at(text.substr(0, colon)));
    rlimit limit = {};
    getrlimit(resource, &limit);
    limit.rlim_cur = static_cast<rlim_t>(std::stoull(text.substr(colon + 1)));
    if (hard)
        limit.rlim_max = limit.rlim_cur;
    require(setrlimit(resource, &limit) == 0, text);
}

void exhaust(const std::string& /*value*/)
{
    int last = -1;
    for (int next = 0; next >= 0; next = open("/dev/null", O_RDONLY))
        last = next;
    close(last);
}

void shrinkBuffer(const std::string& /*value*/)
{
    const int size = 1;
    require(setsockopt(STDOUT_FILENO, SOL_SOCKET, SO_SNDBUF, &size, sizeof size) == 0, "SO_SNDBUF");
}

const std::map<std::string, std::function<void(const std::string&)>> DIRECTIVES = {
    {"close", [](const std::string& fd) { close(std::stoi(fd)); }},
    {"stdout", [](const std::string& path) { redirect(STDOUT_FILENO, path); }},
    {"stderr", [](const std::string& path) { redirect(STDERR_FILENO, path); }},
    {"inherit", [](const std::string& path) { require(open(path.c_str(), O_RDWR) >= 0, path); }},
    {"exhaust", exhaust},
    {"small-buffer", shrinkBuffer},
    {"ignore-signals", ignoreSignals},
    {"block-signals", blockSignals},
    {"alarm", setAlarm},
    {"limit", [](const std::string& limit) { setLimit(limit, true); }},
    {"soft-limit", [](const std::string& limit) { setLimit(limit, false); }},
    {"nice", [](const std::string&) { require(setpriority(PRIO_PROCESS, 0, 19) == 0, "nice"); }},
    {"oom-score",
     [](const std::string& score) {
         const int file = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
         require(write(file, score.data(), score.size()) > 0, "oom_score_adj");
         close(file);
     }},
    {"own-group", [](const std::string&) { require(setpgid(0, 0) == 0, "setpgid"); }},
    {"folder", [](const std::string& path) { require(chdir(path.c_str()) == 0, path); }},
    {"umask", [](const std::string& mode) { umask(static_cast<mode_t>(std::stoul(mode, nullptr, 8))); }},
};

} // namespace

int main(int argc, char** argv)
{
    int at = 1;
    for (; at < argc && argv[at] != std::string("--"); ++at) {
        const std::string directive = argv[at];
        const std::size_t equals = directive.find('=');
        const auto found = DIRECTIVES.find(directive.substr(0, equals));
        if (found == DIRECTIVES.end())
            fail(directive);
        found->second(equals == std::string::npos ? "" : directive.substr(equals + 1));
    }
    if (at + 1 < argc)
        execv(argv[at + 1], argv + at + 1);
    fail("cannot start the program");
}
