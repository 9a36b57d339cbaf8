#ifndef IPSECCFG_SERVER_CONFIGURATION_H
#define IPSECCFG_SERVER_CONFIGURATION_H

/// @file
/// The server's configuration file.
///
/// TOML (https://toml.io/en/v1.0.0):
///
///     engine = "standalone"                      # one of the known engines
///     setting-directory = "/run/ipseccfg"        # setting files lie below this folder only
///     max-request-bytes = 4194304                # may be left out
///     max-request-seconds = 30                   # may be left out; 1 to 3600
///     [service]
///     command = "/usr/libexec/ipseccfg/standalone"
///     option = ""                                # words for the engine's command line; may be left out
///     pid-file = "/run/ipseccfg/engine.pid"
///     stop-signal = "TERM"                       # HUP INT KILL QUIT TERM USR1 USR2, also as SIGTERM
///     reconfigure-signal = "HUP"                 # the same without KILL
///     [modules]                                  # may be left out, as may each of its keys
///     retry = 3                                  # attempts of each step, the service's too: 1 to 100
///     interval-us = 200000                       # the pause after a failed attempt: 0 to 10000000
///     [[modules.module]]                         # in the order of loading
///     path = "/lib/modules/esp4.ko"
///     install-option = ""                        # words for insmod and rmmod; may be left out
///     remove-option = ""
///     [strongswan]                               # for that engine; may be left out, as may each of its keys
///     ike-version = 2                            # or 1
///     mode = "auto"                              # or "transport", "tunnel"
///     [[strongswan.gateway]]                     # the first one that holds a rule's destination counts
///     destination = "10.2.0.0/16"
///     remote = "198.51.100.1"
///     local = "192.0.2.1"                        # may be left out

#include <chrono>
#include <cstddef>
#include <list>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// The bound on a request unless the configuration says otherwise.
constexpr std::size_t DEFAULT_MAX_REQUEST_BYTES = 4194304;

/// The configuration, checked. A plain value; everything in it is trusted.
struct Configuration {
    struct Module {
        std::string path; ///< absolute; nothing in it is special to a shell
        std::string installOption;
        std::string removeOption;
    };

    /// The ends of the tunnels to certain addresses.
    struct Gateway {
        std::string destination; ///< an address, a subnet or a range
        std::string remote;      ///< an address
        std::string local;       ///< an address; empty: any of this host's
    };

    std::string engine;
    std::string settingDirectory; ///< absolute, without "." and ".." and without a slash at its end
    std::size_t maxRequestBytes = DEFAULT_MAX_REQUEST_BYTES;
    std::chrono::seconds maxRequestTime = std::chrono::seconds(30); ///< until all of a request is there
    std::string serviceCommand; ///< absolute path of the engine's executable
    std::string serviceOption;
    std::string pidFile; ///< absolute
    int stopSignal = 0;
    int reconfigureSignal = 0;
    std::size_t retry = 3;
    std::size_t intervalMicroseconds = 200000;
    std::list<Module> modules;
    std::size_t ikeVersion = 2;
    std::string mode = "auto"; ///< "auto", "transport" or "tunnel"
    std::list<Gateway> gateways;
};

/// Reads the file.
/// @param engines the engines that may be named
/// @throws std::runtime_error "FILE: WHY" if it cannot be read, "FILE:LINE:COLUMN: KEY: what is wrong and
///         what is allowed" for the first key that is unknown, missing or has a value that is not allowed,
///         "FILE:LINE:COLUMN: WHY" if it is not TOML.
Configuration readConfiguration(const std::string& file, const std::vector<std::string>& engines);

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
