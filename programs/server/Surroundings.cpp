// Environment, signals and file mode mask of the server.

#include "Surroundings.h"

#include <csignal>
#include <cstdlib>
#include <sys/stat.h>
#include <sys/time.h>

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
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
