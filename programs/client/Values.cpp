// The forms of the texts of a policy.

#include "Values.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstddef>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

const char* const LETTERS_AND_DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

struct Address {
    AddressFamily family;
    std::array<unsigned char, sizeof(in6_addr)>
        bytes; // in network order, so that they compare as the addresses do
};

std::optional<Address> toAddress(const std::string& text)
{
    Address address{AddressFamily::IPv4, {}};
    if (inet_pton(AF_INET, text.c_str(), address.bytes.data()) == 1)
        return address;
    address.family = AddressFamily::IPv6;
    if (inet_pton(AF_INET6, text.c_str(), address.bytes.data()) == 1)
        return address;
    return std::nullopt;
}

bool isPrefixLength(const std::string& text, AddressFamily family)
{
    constexpr std::size_t MOST_DIGITS = 3;
    if (text.empty() || text.size() > MOST_DIGITS ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    return std::stoi(text) <= (family == AddressFamily::IPv4 ? 32 : 128);
}

std::optional<AddressFamily> familyOfNetwork(const std::string& address, const std::string& length)
{
    const auto family = familyOfAddress(address);
    return family && isPrefixLength(length, *family) ? family : std::nullopt;
}

std::optional<AddressFamily> familyOfRange(const std::string& first, const std::string& last)
{
    const auto low = toAddress(first);
    const auto high = toAddress(last);
    if (!low || !high || low->family != high->family || low->bytes > high->bytes)
        return std::nullopt;
    return low->family;
}

std::string trimmed(const std::string& text)
{
    const std::size_t begin = text.find_first_not_of(' ');
    return begin == std::string::npos ? std::string()
                                      : text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

// The pieces between the commas that separate; empty if a quotation or an escape does not end.
std::vector<std::string> relativeNames(const std::string& text)
{
    std::vector<std::string> names(1);
    bool quotation = false;
    bool escaped = false;
    for (const char character : text) {
        const bool separates = character == ',' && !quotation && !escaped;
        if (character == '"' && !escaped)
            quotation = !quotation;
        escaped = character == '\\' && !escaped;
        if (separates)
            names.emplace_back();
        else
            names.back() += character;
    }
    return quotation || escaped ? std::vector<std::string>() : names;
}

bool isTypeAndValue(const std::string& text)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos)
        return false;
    const std::string type = trimmed(text.substr(0, equals));
    return !type.empty() &&
           type.find_first_not_of(std::string(LETTERS_AND_DIGITS) + ".-") == std::string::npos &&
           !trimmed(text.substr(equals + 1)).empty();
}

} // namespace

const char* nameOf(AddressFamily family)
{
    return family == AddressFamily::IPv4 ? "IPv4" : "IPv6";
}

std::optional<AddressFamily> familyOfAddress(const std::string& text)
{
    const auto address = toAddress(text);
    return address ? std::optional<AddressFamily>(address->family) : std::nullopt;
}

std::optional<AddressFamily> familyOfSelector(const std::string& text)
{
    const std::size_t slash = text.find('/');
    if (slash != std::string::npos)
        return familyOfNetwork(text.substr(0, slash), text.substr(slash + 1));
    const std::size_t hyphen = text.find('-');
    if (hyphen != std::string::npos)
        return familyOfRange(text.substr(0, hyphen), text.substr(hyphen + 1));
    return familyOfAddress(text);
}

bool isEmail(const std::string& text)
{
    const std::size_t at = text.find('@');
    return at != std::string::npos && at > 0 && at + 1 < text.size() &&
           text.find('@', at + 1) == std::string::npos && text.find(' ') == std::string::npos;
}

bool isDistinguishedName(const std::string& text)
{
    const std::vector<std::string> names = relativeNames(text);
    return !names.empty() && std::all_of(names.begin(), names.end(), isTypeAndValue);
}

bool isNamespaceName(const std::string& text)
{
    constexpr std::size_t LONGEST = 255;
    return !text.empty() && text.size() <= LONGEST && text != "." && text != ".." &&
           text.find_first_not_of(std::string(LETTERS_AND_DIGITS) + "_.-") == std::string::npos;
}

bool isAbsolutePath(const std::string& text)
{
    return !text.empty() && text.front() == '/';
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
