#ifndef IPSECCFG_SERVER_SERVERLOCK_H
#define IPSECCFG_SERVER_SERVERLOCK_H

/// @file
/// One server at a time.

#include "Descriptor.h"
#include "SettingFolder.h"

#include <chrono>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Held while a request is carried out; the servers of one setting directory take turns.
///
/// The lock is on a file of its own, which nobody but the server's user can open: a lock on the directory
/// could be held by anybody who may look into it. The system releases it when the process ends, however it
/// ends; commands that the server runs do not inherit it.
class ServerLock {
public:
    /// Waits for the other servers.
    /// @throws std::runtime_error "another request is being carried out" if the time is over, "PATH: WHY" if
    ///         the file cannot be opened.
    ServerLock(const SettingFolder& folder, std::chrono::milliseconds time);

private:
    Descriptor file_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
