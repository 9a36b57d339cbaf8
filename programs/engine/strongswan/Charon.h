#ifndef IPSECCFG_STRONGSWAN_CHARON_H
#define IPSECCFG_STRONGSWAN_CHARON_H

/// @file
/// The daemon of strongSwan, one of this program's own.

#include "Settings.h"
#include "Subprocess.h"
#include "Troubles.h"

#include <chrono>
#include <memory>
#include <string>
#include <sys/types.h>

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

/// Where things are.
struct Places {
    std::string charon = "/usr/sbin/charon-systemd";
    std::string swanctl = "/usr/sbin/swanctl";
    /// For what the daemon needs and nobody else does; made and removed here. In it:
    ///
    ///     strongswan.conf   the configuration of daemon and swanctl
    ///     swanctl.conf      the settings that are loaded, or are about to be
    ///     private/          links to private keys
    ///     vici              the daemon's control socket
    ///     errors            what the daemon says before it can use the system's log
    ///     log               what it says then, for Troubles
    ///     troubles          what Troubles keeps of it
    std::string folder;
};

/// The daemon's process and what goes with it: the folder, the kernel's policies.
///
/// A daemon ends with this process at the latest. One that was killed leaves its folder, and in the kernel
/// its policies: traffic that was to be protected goes nowhere then instead of in clear. The next start
/// removes both.
class Charon {
public:
    explicit Charon(const Places& places);
    /// Kills the daemon if it still runs; its leftovers stay.
    ~Charon();
    Charon(const Charon&) = delete;
    Charon& operator=(const Charon&) = delete;

    bool runs() const { return pid_ > 0; }

    /// Starts the daemon in a network namespace, after removing what an earlier one may have left.
    /// @param nameSpace below /run/netns; empty: the one of this process
    /// @throws std::runtime_error in the daemon's own words, if there are any
    void start(const std::string& nameSpace);

    /// Has the daemon take these settings in place of all earlier ones. Tunnels stay as they are.
    /// @throws std::runtime_error in swanctl's own words; which settings the daemon has then is not certain
    void load(const Settings& settings);

    /// Ends the tunnels that no setting speaks of any more.
    /// @param all the others as well
    /// @throws std::runtime_error of vici::Connection
    void endTunnels(bool all);

    /// Ends the daemon, its tunnels, policies and folder.
    void stop();

    /// Called after the end of a child process. Whether the daemon has ended.
    bool hasEnded();

    std::size_t connections() const;

private:
    void removeLeftovers_() const;
    void makeFolder_() const;
    void waitUntilItListens_();
    void place_(const Settings& settings) const;
    void checkPolicies_() const;
    std::string socket_() const { return places_.folder + "/vici"; }
    std::string log_() const { return places_.folder + "/log"; }
    Program program_(const std::vector<std::string>& words) const;

    Places places_;
    std::string nameSpace_;
    pid_t pid_ = -1;
    std::unique_ptr<Troubles> troubles_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan

#endif
