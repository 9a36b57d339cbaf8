// An engine's reactions.

#include "Engine.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::engine {

namespace {

constexpr mode_t PRIVATE = S_IRUSR | S_IWUSR;
constexpr int RELOAD_SIGNALS[] = {SIGHUP, SIGUSR1, SIGUSR2};
constexpr int STOP_SIGNALS[] = {SIGTERM, SIGINT, SIGQUIT};

sigset_t obeyedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : RELOAD_SIGNALS)
        sigaddset(&signals, signal);
    for (const int signal : STOP_SIGNALS)
        sigaddset(&signals, signal);
    sigaddset(&signals, SIGCHLD);
    return signals;
}

bool stops(int signal)
{
    for (const int stop : STOP_SIGNALS)
        if (signal == stop)
            return true;
    return false;
}

// The log has the reason in any case; without a file for it nothing more is lost. Whether there is one.
bool leaveReason(const std::string& file, const std::string& reason)
{
    if (file.empty())
        return false;
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, PRIVATE);
    if (fd < 0)
        return false;
    const std::string line = reason + "\n";
    const bool written = write(fd, line.data(), line.size()) > 0;
    if (!written)
        syslog(LOG_WARNING, "%s: %s", file.c_str(),
               std::strerror(errno)); // NOLINT(concurrency-mt-unsafe): one thread
    close(fd);
    return written;
}

} // namespace

Engine::Engine(const Files& files)
    : files_(files)
{}

void Engine::load()
{
    const std::string summary = load_();
    if (!files_.reason.empty())
        unlink(files_.reason.c_str());
    syslog(LOG_INFO, "settings accepted: %s", summary.c_str());
}

bool Engine::explain(const std::string& failure, const std::string& reason) const
{
    syslog(LOG_ERR, "%s: %s", failure.c_str(), reason.c_str());
    return leaveReason(files_.reason, reason);
}

void Engine::announce()
{
    const int fd = open(files_.ready.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, PRIVATE);
    if (fd < 0) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): one thread
        syslog(LOG_WARNING, "%s: %s", files_.ready.c_str(), std::strerror(errno));
        return;
    }
    close(fd);
}

void Engine::run()
{
    const sigset_t obeyed = obeyedSignals();
    for (;;) {
        const int signal = sigwaitinfo(&obeyed, nullptr);
        if (signal < 0)
            continue; // interrupted
        if (stops(signal))
            break;
        if (signal == SIGCHLD)
            childEnded_();
        else
            reload_();
    }
    stop_();
    syslog(LOG_INFO, "ended");
}

void Engine::reload_()
{
    try {
        load();
    } catch (const std::exception& refusal) {
        // Who is told why need not wait any longer; nobody else must take a ready file for a success.
        if (!explain("settings refused, the old ones stay", refusal.what()))
            return;
    }
    announce();
}

void blockSignals()
{
    const sigset_t obeyed = obeyedSignals();
    sigprocmask(SIG_SETMASK, &obeyed, nullptr);
    // Who started the engine may ignore some of them.
    struct sigaction byDefault = {};
    byDefault.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal)
        if (sigismember(&obeyed, signal) == 1)
            sigaction(signal, &byDefault, nullptr);
}

void unblockSignals()
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace norvale::tamber::systemdata::ipseccfg::engine
