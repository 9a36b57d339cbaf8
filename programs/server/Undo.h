#ifndef IPSECCFG_SERVER_UNDO_H
#define IPSECCFG_SERVER_UNDO_H

/// @file
/// Taking back of steps when a later one fails.

#include <functional>
#include <utility>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Runs a step whose failure changes nothing for the client, who is told what failed first, or that all went
/// well.
template <class Step>
void attempt(const Step& step) noexcept
{
    try {
        step();
    } catch (...) { // NOLINT(bugprone-empty-catch): see above
    }
}

/// What takes back each step that was done; run, last step first, when this is destroyed, unless it was
/// released.
class Undo {
public:
    Undo() = default;
    ~Undo() { run(); }
    Undo(const Undo&) = delete;
    Undo& operator=(const Undo&) = delete;

    /// Before the step is done: there may be no memory to note it down afterwards. So it must be harmless to
    /// take back a step that did not come to pass.
    void add(std::function<void()> step) { steps_.push_back(std::move(step)); }

    /// The steps stay done.
    void release() { steps_.clear(); }

    /// Takes the steps back now. One that cannot be taken back does not keep the others from it.
    void run() noexcept
    {
        while (!steps_.empty()) {
            const std::function<void()> step = std::move(steps_.back());
            steps_.pop_back();
            attempt(step);
        }
    }

private:
    std::vector<std::function<void()>> steps_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
