#ifndef IPSECCFG_SERVER_FILEBEGINNING_H
#define IPSECCFG_SERVER_FILEBEGINNING_H

/// @file
/// Reading of small files.

#include <cstddef>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// The first bytes of a regular file, `most` at the most; empty if there is none or it must not be read. Never
/// waits.
/// @param folder an open folder that a relative path starts from, or AT_FDCWD
/// @throws std::runtime_error "PATH: WHY" if it cannot be told what stands there, for want of descriptors or
///         memory, or because the disk fails.
std::string beginningOf(int folder, const std::string& path, std::size_t most);

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
