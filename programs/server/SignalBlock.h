#ifndef IPSECCFG_SERVER_SIGNALBLOCK_H
#define IPSECCFG_SERVER_SIGNALBLOCK_H

/// @file
/// Holding back of the signals that would end the server.

#include <csignal>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// While it lives, the signals that ask the process to end wait: what is half done is finished first.
class SignalBlock {
public:
    SignalBlock()
    {
        sigset_t ending;
        sigemptyset(&ending);
        for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGALRM})
            sigaddset(&ending, signal);
        sigprocmask(SIG_BLOCK, &ending, &before_);
    }
    ~SignalBlock() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t before_ = {};
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
