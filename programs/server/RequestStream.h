#ifndef IPSECCFG_SERVER_REQUESTSTREAM_H
#define IPSECCFG_SERVER_REQUESTSTREAM_H

/// @file
/// The stream that a request is read from, bounded in size and time.

#include <array>
#include <chrono>
#include <cstddef>
#include <istream>
#include <streambuf>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// The bytes of a descriptor up to a bound, and up to a point in time.
///
/// Beyond either the stream ends, as if the sender had closed its side, and remembers why. Interrupted and
/// non-blocking reads are waited out. The descriptor is not owned.
class BoundedInput : public std::streambuf {
public:
    /// @param bytes how many bytes may be read; one more that the reader asks for is one too many
    /// @param time for all of them together, from now on
    BoundedInput(int fd, std::size_t bytes, std::chrono::milliseconds time);

    /// Why the stream ended before the sender ended it: "the request is larger than N bytes", "the request
    /// did not arrive within N seconds" or "the request cannot be read: WHY"; empty if nothing of that kind
    /// happened.
    const std::string& problem() const { return problem_; }

protected:
    int_type underflow() override;

private:
    std::size_t receive_(char* to, std::size_t most);
    bool waitForData_();

    int fd_;
    std::size_t bound_;
    std::size_t received_ = 0;
    std::chrono::milliseconds time_;
    std::chrono::steady_clock::time_point deadline_;
    std::string problem_;
    std::array<char, 16384> buffer_;
};

/// An input stream on a BoundedInput of its own.
class RequestStream : public std::istream {
public:
    RequestStream(int fd, std::size_t bytes, std::chrono::milliseconds time)
        : std::istream(nullptr)
        , input_(fd, bytes, time)
    {
        rdbuf(&input_);
    }

    const std::string& problem() const { return input_.problem(); }

private:
    BoundedInput input_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
