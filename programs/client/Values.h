#ifndef IPSECCFG_CLIENT_VALUES_H
#define IPSECCFG_CLIENT_VALUES_H

/// @file
/// The forms of the texts of a policy.

#include <optional>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::client {

enum class AddressFamily { IPv4, IPv6 };

/// "IPv4" or "IPv6".
const char* nameOf(AddressFamily family);

/// The family of one address as inet_pton reads it; nothing if the text is none.
std::optional<AddressFamily> familyOfAddress(const std::string& text);

/// The family of what a rule may select: an address, a network "ADDRESS/LENGTH", or a range "FIRST-LAST"
/// whose first address is not after its last one. Nothing if the text is none of these.
std::optional<AddressFamily> familyOfSelector(const std::string& text);

/// Whether the text is LOCAL@DOMAIN: one '@' with something on both sides of it, no white space.
bool isEmail(const std::string& text);

/// Whether the text is a distinguished name, "CN=device, O=Example": TYPE=VALUE pairs with commas between
/// them, where a comma in a value stands behind a backslash or in double quotes (RFC 4514). The types may be
/// any names or numbers.
bool isDistinguishedName(const std::string& text);

/// Whether the text is the name of a network namespace: 1 to 255 letters, digits, '_', '.' and '-', and
/// neither "." nor "..".
bool isNamespaceName(const std::string& text);

/// Whether the text begins with a '/'.
bool isAbsolutePath(const std::string& text);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
