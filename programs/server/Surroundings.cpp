// Environment, signals and file mode mask of the server.

#include "Surroundings.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <memory>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

// Unlike an ignored signal, a caught one is back to its default in the commands that the server runs.
void catchSignal(int /*signal*/) {}

void setEnvironment()
{
    clearenv();
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
}

using Handler = void (*)(int);

Handler handlerOf(int signal)
{
    switch (signal) {
    case SIGPIPE:
    case SIGXFSZ:
        return catchSignal;
    case SIGTSTP:
    case SIGTTIN:
    case SIGTTOU:
        return SIG_IGN;
    default:
        return SIG_DFL;
    }
}

void stopTimers()
{
    const itimerval stopped = {};
    for (const auto timer : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF})
        setitimer(timer, &stopped, nullptr);
}

void setSignals()
{
    struct sigaction action = {};
    sigemptyset(&action.sa_mask);
    for (int signal = 1; signal < NSIG; ++signal) {
        action.sa_handler = handlerOf(signal);
        sigaction(signal, &action,
                  nullptr); // fails for the two that nobody can change, and for those of the C library
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

void keepMemoryPrivate()
{
    rlimit limit = {};
    getrlimit(RLIMIT_CORE, &limit);
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_CORE, &limit);
    // A limit alone does not count where cores go to a program.
    prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

void closeInheritedDescriptors()
{
    close(STDERR_FILENO + 1); // the caller may have left no room for the list
    const std::unique_ptr<DIR, int (*)(DIR*)> list(opendir("/proc/self/fd"), closedir);
    if (!list)
        return;
    std::vector<int> inherited;
    while (const dirent* const entry = readdir(list.get())) { // NOLINT(concurrency-mt-unsafe): one thread
        const long fd = std::strtol(entry->d_name, nullptr, 10);
        if (fd > STDERR_FILENO && fd != dirfd(list.get()))
            inherited.push_back(static_cast<int>(fd));
    }
    for (const int fd : inherited)
        close(fd);
}

// What a daemon usually has, at least.
const struct {
    decltype(RLIMIT_CPU) resource;
    rlim_t soft;
    rlim_t hard;
} LEAST_LIMITS[] = {
    {RLIMIT_CPU, RLIM_INFINITY, RLIM_INFINITY},  {RLIMIT_FSIZE, RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_DATA, RLIM_INFINITY, RLIM_INFINITY}, {RLIMIT_AS, RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_STACK, 8388608, RLIM_INFINITY},      {RLIMIT_NOFILE, 1024, 4096},
};

void raiseLimits()
{
    for (const auto& least : LEAST_LIMITS) {
        rlimit limit = {};
        getrlimit(least.resource, &limit);
        limit.rlim_cur = std::max(limit.rlim_cur, least.soft);
        const rlim_t allowed = std::exchange(limit.rlim_max, std::max(limit.rlim_max, least.hard));
        if (setrlimit(least.resource, &limit) == 0)
            continue;
        limit = {std::min(limit.rlim_cur, allowed), allowed};
        setrlimit(least.resource, &limit);
    }
}

void raisePriority()
{
    if (getpriority(PRIO_PROCESS, 0) > 0)
        setpriority(PRIO_PROCESS, 0, 0);
    if (sched_getscheduler(0) == SCHED_IDLE) {
        const sched_param none = {};
        sched_setscheduler(0, SCHED_OTHER, &none);
    }
    // Who is ended first when memory runs out.
    std::fstream score("/proc/self/oom_score_adj");
    int number = 0;
    if (score >> number && number > 0)
        score << 0 << std::flush;
}

} // namespace

std::string configurationFile()
{
    const char* const file = secure_getenv("IPSECCFG_SERVER_CONFIG");
    return file == nullptr ? "/etc/ipseccfg/server.toml" : file;
}

void leaveCallersSurroundings()
{
    setEnvironment();
    stopTimers();
    setSignals();
    umask(S_IRWXG | S_IRWXO);
    closeInheritedDescriptors();
    raiseLimits();
    raisePriority();
    keepMemoryPrivate(); // last, as the files of this process in /proc are root's from then on
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
