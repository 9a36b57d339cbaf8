#ifndef IPSECCFG_CLIENT_TEXTTABLE_H
#define IPSECCFG_CLIENT_TEXTTABLE_H

/// @file
/// Tables for people.

#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

using Row = std::vector<std::string>;

/// Rows of the same length with their cells one below the other, two blanks apart. The first row is the
/// heading.
std::string aligned(const std::vector<Row>& rows);

/// A cell never stays empty: an empty one looks like a shifted row.
std::string cell(const std::string& text);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
