#ifndef IPSECCFG_SERVER_CHANNEL_H
#define IPSECCFG_SERVER_CHANNEL_H

/// @file
/// The channel to the client: the request comes in on standard input, the answer goes out on standard output.

#include "Descriptor.h"

#include <chrono>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// The two ends of the channel, owned.
class Channel {
public:
    /// @param input where the request comes from
    /// @param output where the answer goes to; may be the same open file
    Channel(Descriptor input, Descriptor output);

    /// Takes standard input and output of this process for the channel and leaves /dev/null in their place
    /// and in that of standard error, so that no command that the server runs, and no engine that stays,
    /// reads the request, writes into the answer, keeps the channel open or waits for the caller to read what
    /// it says.
    /// @throws std::runtime_error "standard input and output: WHY"
    static Channel ofStandardStreams();

    /// The descriptor that the request is read from; owned by the channel.
    int input() const { return input_.get(); }

    /// Writes the answer and marks its end, then drops what the client still sends (for two seconds at most),
    /// so that a client that writes all before it reads is not cut off from its answer.
    /// @param time for the writing
    /// @return whether the answer was written whole
    bool answer(const std::string& text, std::chrono::milliseconds time);

private:
    bool write_(const std::string& text, std::chrono::steady_clock::time_point deadline);
    void endOutput_();
    void dropInput_();

    Descriptor input_;
    Descriptor output_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
