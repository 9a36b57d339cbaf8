// A sign of life while there is nothing to do but to wait.

#include "ElapsedTime.h"

#include <string>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

const std::string ERASE_LINE = "\r\x1b[K";

// A terminal that takes nothing costs the sign of life, not the answer.
void writeTo(int descriptor, const std::string& text)
{
    (void)!::write(descriptor, text.data(), text.size());
}

} // namespace

ElapsedTime::ElapsedTime(int descriptor)
    : descriptor_(descriptor)
    , begin_(std::chrono::steady_clock::now())
{
    if (isatty(descriptor) == 1)
        thread_ = std::thread([this] { show_(); });
}

ElapsedTime::~ElapsedTime()
{
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isOver_ = true;
    }
    over_.notify_one();
    thread_.join();
}

void ElapsedTime::show_()
{
    std::unique_lock<std::mutex> lock(mutex_);
    std::chrono::seconds elapsed(1);
    for (; !over_.wait_until(lock, begin_ + elapsed, [this] { return isOver_; }); ++elapsed)
        writeTo(descriptor_,
                ERASE_LINE + "waiting for the server, " + std::to_string(elapsed.count()) + " s");
    if (elapsed > std::chrono::seconds(1))
        writeTo(descriptor_, ERASE_LINE);
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
