#ifndef IPSECCFG_STRONGSWAN_TROUBLES_H
#define IPSECCFG_STRONGSWAN_TROUBLES_H

/// @file
/// Why tunnels do not come up, in the daemon's words.

#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

/// Listens to the daemon's log and keeps, for each connection, the last words about a negotiation that did not
/// come to its end. The daemon itself forgets such a negotiation.
///
/// The log is a named pipe, so it takes no room. What is kept lies in a file for whoever asks, mode 0600; a line
/// a connection, its name and, after a blank, the words:
///
///     protect-0011223344556677 received AUTHENTICATION_FAILED notify error
///
/// The words go once there is a tunnel, or new settings.
class Troubles {
public:
    /// Makes the pipe and listens.
    /// @param pipe the daemon's log; its name must be free
    /// @param file where the words are kept
    /// @throws std::runtime_error "PATH: WHY"
    Troubles(const std::string& pipe, const std::string& file);
    /// Stops listening; file and pipe stay.
    ~Troubles();
    Troubles(const Troubles&) = delete;
    Troubles& operator=(const Troubles&) = delete;

    /// Forgets everything: what the daemon has said was about other settings.
    void forget();

private:
    void listen_() noexcept;
    void take_(const std::string& line);
    void keep_() const;

    std::string file_;
    int pipe_ = -1;
    int end_ = -1;
    std::mutex mutex_;
    std::map<std::string, std::string> words_;
    std::thread listener_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan

#endif
