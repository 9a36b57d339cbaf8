#ifndef IPSECCFG_CLIENT_CAPTUREDOUTPUT_H
#define IPSECCFG_CLIENT_CAPTUREDOUTPUT_H

/// @file
/// Catching what is written to a stream.

#include <ostream>
#include <sstream>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// Catches what is written to a stream, as long as it lives. Must not outlive the stream; not synchronised.
class CapturedOutput {
public:
    explicit CapturedOutput(std::ostream& stream)
        : stream_(stream)
        , original_(stream.rdbuf(text_.rdbuf()))
    {}
    ~CapturedOutput() { stream_.rdbuf(original_); }
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    std::string text() const { return text_.str(); }

private:
    std::ostream& stream_;
    std::ostringstream text_;
    std::streambuf* original_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
