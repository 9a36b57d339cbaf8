// Checking and translation of identities.

#include "StrongswanIdentity.h"

#include "AddressSet.h"
#include "Text.h"
#include "Utility.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

constexpr std::size_t LONGEST = 255;
constexpr const char* ATTRIBUTES[] = {"C", "ST", "L", "O", "OU", "CN",  "SN", "T",
                                      "D", "N",  "G", "I", "DC", "UID", "E"};

bool isAttribute(const std::string& name)
{
    return std::any_of(std::begin(ATTRIBUTES), std::end(ATTRIBUTES),
                       [&name](const char* known) { return name == known; });
}

bool isValue(const std::string& value)
{
    return !value.empty() && value != "*" && value.front() != '=' && value.front() != ' ' &&
           value.back() != ' ';
}

// The pairs with nothing but a comma between them; empty if the text is none.
std::string dnText(const std::string& identity)
{
    std::vector<std::string> pairs;
    for (std::size_t begin = 0; begin <= identity.size();) {
        const std::size_t comma = std::min(identity.find(',', begin), identity.size());
        std::string pair = identity.substr(begin, comma - begin);
        pair.erase(0, pair.find_first_not_of(' '));
        const std::size_t equals = pair.find('=');
        if (equals == std::string::npos || !isAttribute(pair.substr(0, equals)) ||
            !isValue(pair.substr(equals + 1)))
            return "";
        pairs.push_back(pair);
        begin = comma + 1;
    }
    return programs::joined(pairs, ",");
}

std::string emailText(const std::string& identity)
{
    const std::size_t at = identity.find('@');
    const bool good = at != std::string::npos && at > 0 && at + 1 < identity.size() &&
                      identity.find('@', at + 1) == std::string::npos &&
                      identity.find_first_of(" *") == std::string::npos && identity.front() != '#';
    return good ? "email:" + identity : "";
}

std::string addressText(const std::string& identity)
{
    const auto address = AddressSet::parse(identity);
    if (!address || !address->isSingle() || identity.find_first_of("/-") != std::string::npos)
        return "";
    std::string text = address->firstText();
    return text == "0.0.0.0" || text == "::" ? "" : text;
}

struct Kind {
    common::FilterRule::IdentityType type;
    std::string (*textOf)(const std::string& identity);
    const char* possible;
};
constexpr Kind KINDS[] = {
    {common::FilterRule::IPAddress, addressText, "an address other than 0.0.0.0 and ::"},
    {common::FilterRule::DN, dnText,
     "pairs like CN=device with commas between, of C, ST, L, O, OU, CN, SN, T, D, N, G, I, DC, UID, E and "
     "printable "
     "ASCII, at most 255 characters in all"},
    {common::FilterRule::Email, emailText,
     "printable ASCII with one @ inside, without space and *, not beginning with #, at most 255 characters"}};

} // namespace

std::string identityText(common::FilterRule::IdentityType type, const std::string& identity,
                         const std::string& place)
{
    if (identity.empty())
        return "";
    for (const Kind& kind : KINDS) {
        if (kind.type != type)
            continue;
        const bool readable = identity.size() <= LONGEST && programs::isPrintableAscii(identity);
        std::string text = readable ? kind.textOf(identity) : "";
        if (text.empty())
            throw std::runtime_error(place + ": '" + programs::printable(identity.substr(0, LONGEST)) +
                                     "' is not possible, only " + kind.possible);
        return text;
    }
    throw std::runtime_error(place + ": '" + programs::printable(identity.substr(0, LONGEST)) +
                             "' is not possible without an identity-type, only an empty one");
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
