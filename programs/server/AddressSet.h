#ifndef IPSECCFG_SERVER_ADDRESSSET_H
#define IPSECCFG_SERVER_ADDRESSSET_H

/// @file
/// The addresses on one side of a rule.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// An address, a subnet or a range, IPv4 (RFC 791) or IPv6 (RFC 4291), read from its text:
///
///     192.0.2.1           2001:db8::1
///     192.0.2.0/24        2001:db8::/32           no bit set behind the prefix
///     192.0.2.7-192.0.2.9 2001:db8::7-2001:db8::9 first and last, in this order
///
/// A plain value.
class AddressSet {
public:
    /// Nothing if the text is none of these.
    static std::optional<AddressSet> parse(const std::string& text);

    bool isIPv6() const { return first_.size() == 16; }
    bool isSingle() const { return first_ == last_; }
    bool isAll() const;
    bool contains(const AddressSet& other) const;

    /// The first address, in the one text that the system has for it.
    std::string firstText() const;

    /// The fewest subnets, in ascending order, that hold these addresses and no other: "192.0.2.0/24".
    std::vector<std::string> subnets() const;

private:
    using Bytes = std::vector<std::uint8_t>; // the most significant first

    static std::optional<AddressSet> parseSubnet_(const std::string& address, const std::string& length);
    static void cover_(const AddressSet& subnet, unsigned length, const AddressSet& wanted,
                       std::vector<std::string>& found);

    Bytes first_;
    Bytes last_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
