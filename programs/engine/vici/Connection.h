#ifndef IPSECCFG_VICI_CONNECTION_H
#define IPSECCFG_VICI_CONNECTION_H

/// @file
/// A connection to strongSwan's control interface.

#include "Message.h"

#include <chrono>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::vici {

/// A client of the engine's control socket. Each exchange is bounded in time; after an exception the
/// connection is of no more use.
class Connection {
public:
    /// @param path of the engine's socket
    /// @param time for each exchange
    /// @throws std::runtime_error "PATH: WHY" if nobody listens there
    Connection(const std::string& path, std::chrono::milliseconds time);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Sends a command and waits for its answer.
    /// @throws std::runtime_error "the engine's control interface: WHY"
    Element request(const std::string& command, const Element& message = Element());

    /// Sends a command whose results arrive as events.
    /// @return the messages of the events, in order
    /// @throws std::runtime_error as request
    std::vector<Element> stream(const std::string& command, const std::string& event,
                                const Element& message = Element());

private:
    struct Packet {
        int type = -1;
        std::string name;
        Element message;
    };

    void send_(int type, const std::string& name, const std::string& content);
    Packet receive_();
    void expect_(int type);
    void readExactly_(std::string& bytes, std::chrono::steady_clock::time_point deadline);
    Element collect_(std::vector<Element>& events);

    int socket_ = -1;
    std::chrono::milliseconds time_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::vici

#endif
