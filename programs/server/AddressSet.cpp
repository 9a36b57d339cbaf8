// Reading of addresses, and the way from a range to subnets.

#include "AddressSet.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <charconv>
#include <netinet/in.h>
#include <system_error>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned BITS = 8;
constexpr unsigned ALL_ONES = 0xFF;

Bytes bytesOf(const std::string& text)
{
    Bytes bytes(sizeof(in6_addr));
    if (inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1)
        return bytes;
    bytes.resize(sizeof(in_addr));
    if (inet_pton(AF_INET, text.c_str(), bytes.data()) == 1)
        return bytes;
    return {};
}

std::string textOf(const Bytes& bytes)
{
    std::array<char, INET6_ADDRSTRLEN> text = {};
    inet_ntop(bytes.size() == sizeof(in6_addr) ? AF_INET6 : AF_INET, bytes.data(), text.data(), text.size());
    return text.data();
}

// The bits behind a prefix, all set or all clear.
Bytes withRest(Bytes bytes, unsigned prefix, bool set)
{
    for (unsigned at = 0; at < bytes.size(); ++at) {
        const unsigned kept = std::min(BITS, prefix > at * BITS ? prefix - at * BITS : 0);
        const unsigned rest = ALL_ONES >> kept;
        bytes[at] = static_cast<std::uint8_t>(set ? bytes[at] | rest : bytes[at] & ~rest);
    }
    return bytes;
}

} // namespace

std::optional<AddressSet> AddressSet::parse(const std::string& text)
{
    // What follows a NUL would be invisible to the system's functions.
    if (text.find('\0') != std::string::npos)
        return std::nullopt;
    const std::size_t slash = text.find('/');
    if (slash != std::string::npos)
        return parseSubnet_(text.substr(0, slash), text.substr(slash + 1));
    const std::size_t dash = text.find('-');
    AddressSet set;
    set.first_ = bytesOf(text.substr(0, dash));
    set.last_ = dash == std::string::npos ? set.first_ : bytesOf(text.substr(dash + 1));
    if (set.first_.empty() || set.first_.size() != set.last_.size() || set.last_ < set.first_)
        return std::nullopt;
    return set;
}

std::optional<AddressSet> AddressSet::parseSubnet_(const std::string& address, const std::string& length)
{
    const Bytes bytes = bytesOf(address);
    unsigned prefix = 0;
    const auto [end, error] = std::from_chars(length.data(), length.data() + length.size(), prefix);
    if (bytes.empty() || error != std::errc() || end != length.data() + length.size() ||
        prefix > bytes.size() * BITS || withRest(bytes, prefix, false) != bytes)
        return std::nullopt;
    AddressSet set;
    set.first_ = bytes;
    set.last_ = withRest(bytes, prefix, true);
    return set;
}

bool AddressSet::isAll() const
{
    return first_ == Bytes(first_.size(), 0) && last_ == Bytes(last_.size(), ALL_ONES);
}

bool AddressSet::contains(const AddressSet& other) const
{
    return first_.size() == other.first_.size() && first_ <= other.first_ && other.last_ <= last_;
}

std::string AddressSet::firstText() const
{
    return textOf(first_);
}

std::vector<std::string> AddressSet::subnets() const
{
    AddressSet all;
    all.first_ = Bytes(first_.size(), 0);
    all.last_ = Bytes(first_.size(), ALL_ONES);
    std::vector<std::string> found;
    cover_(all, 0, *this, found);
    return found;
}

// A subnet is taken whole or halved, as deep as an address has bits.
void AddressSet::cover_(const AddressSet& subnet, unsigned length, const AddressSet& wanted,
                        std::vector<std::string>& found)
{
    if (subnet.last_ < wanted.first_ || wanted.last_ < subnet.first_)
        return;
    if (wanted.contains(subnet)) {
        found.push_back(textOf(subnet.first_) + "/" + std::to_string(length));
        return;
    }
    AddressSet lower = subnet;
    lower.last_ = withRest(subnet.first_, length + 1, true);
    AddressSet upper = subnet;
    upper.first_ = withRest(subnet.last_, length + 1, false);
    cover_(lower, length + 1, wanted, found);
    cover_(upper, length + 1, wanted, found);
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
