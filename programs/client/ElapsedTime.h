#ifndef IPSECCFG_CLIENT_ELAPSEDTIME_H
#define IPSECCFG_CLIENT_ELAPSEDTIME_H

/// @file
/// A sign of life while there is nothing to do but to wait.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// Shows on a terminal for how long it has lived, "waiting for the server, 3 s", anew every second on one
/// line that goes away with it. Shows nothing on a descriptor that is no terminal.
///
/// A thread of its own writes to the descriptor; nothing else should, meanwhile.
class ElapsedTime {
public:
    explicit ElapsedTime(int descriptor);
    ~ElapsedTime();
    ElapsedTime(const ElapsedTime&) = delete;
    ElapsedTime& operator=(const ElapsedTime&) = delete;

private:
    void show_();

    const int descriptor_;
    const std::chrono::steady_clock::time_point begin_;
    std::mutex mutex_;
    std::condition_variable over_;
    bool isOver_ = false;
    std::thread thread_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
