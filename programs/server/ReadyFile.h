#ifndef IPSECCFG_SERVER_READYFILE_H
#define IPSECCFG_SERVER_READYFILE_H

/// @file
/// The file by which the engine says that it is ready, as far as the library leaves it to the server.

#include <chrono>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Removes a ready file that was left over, so that nobody mistakes it for the engine's next one. No error if
/// there is none.
///
/// The folder of that file is one in which everybody may write. A file of somebody else there is no leftover
/// of the engine's: who put it there could do so again while the engine starts.
/// @throws std::runtime_error "/tmp/quicksec.ready: belongs to user N, neither root nor the server's user",
///         or "...: WHY" if it cannot be removed.
void removeReadyFile();

/// Waits until the engine is ready, and removes the file. No error if the time is over.
void consumeReadyFile(std::chrono::milliseconds time);

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
