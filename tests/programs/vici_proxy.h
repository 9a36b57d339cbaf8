#ifndef TESTS_PROGRAMS_VICI_PROXY_H
#define TESTS_PROGRAMS_VICI_PROXY_H

// A listener between the engine's control program and its daemon.

#include "Message.h"

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tests {

/// Passes everything on between clients of one socket and the server of another, and keeps the clients' requests.
class ViciProxy {
public:
    using Requests =
        std::vector<std::pair<std::string, norvale::tamber::systemdata::ipseccfg::vici::Element>>;

    ViciProxy(const std::string& path, const std::string& server);
    ~ViciProxy();
    ViciProxy(const ViciProxy&) = delete;
    ViciProxy& operator=(const ViciProxy&) = delete;

    /// The requests of all clients since the last call, each with its command; no client may be connected.
    Requests takeRequests();

private:
    void serve_();
    void relay_(int client);

    std::string server_;
    int listener_ = -1;
    std::string sent_; // by clients
    std::atomic<bool> busy_{false};
    std::thread thread_;
};

} // namespace tests

#endif
