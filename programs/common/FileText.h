#ifndef IPSECCFG_PROGRAMS_FILETEXT_H
#define IPSECCFG_PROGRAMS_FILETEXT_H

/// @file
/// Reading of whole files.

#include <cstddef>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::programs {

/// The contents of a file of at most `limit` bytes; a pipe is read to its end.
/// @throws std::runtime_error with the reason in words that follow the file's name: the system's ("No such
/// file or directory"), or
///         "larger than N bytes".
std::string readFile(const std::string& path, std::size_t limit);

} // namespace norvale::tamber::systemdata::ipseccfg::programs

#endif
