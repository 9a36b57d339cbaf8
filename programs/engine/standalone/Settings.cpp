// Reading of the setting file.

#include "Settings.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::standalone {

namespace {

using Json = nlohmann::json;

constexpr int FORMAT = 1;
constexpr int LOWEST_PRIORITY = 99;

const std::vector<std::string> ENCRYPTIONS = {"AES", "3DES", "AES-GCM"};
const std::vector<std::string> HASHES = {"SHA1", "SHA256", "SHA384", "SHA512", "AES-GCM"};
const std::vector<std::string> AUTHENTICATIONS = {"PSK", "RSA_SIG"};
const std::vector<std::string> ACTIONS = {"use", "bypass", "discard"};
const std::vector<std::string> IDENTITY_TYPES = {"none", "ip", "dn", "email"};
const std::vector<std::string> CERTIFICATE_KINDS = {"end-entity", "internal-ca", "root-ca"};
const std::vector<int> KEY_LENGTHS = {128, 192, 256};
const std::vector<int> DES3_KEY_LENGTHS = {0, 168, 192};
const std::vector<int> GROUPS = {14, 24, 19, 20};

// A value is quoted as JSON has it: whatever is in it, a line stays a line.
template <class Value>
std::string jsonText(const Value& value)
{
    return Json(value).dump(-1, ' ', true, Json::error_handler_t::replace);
}

template <class Value>
std::string listOf(const std::vector<Value>& allowed)
{
    std::string list;
    for (const Value& value : allowed)
        list += (list.empty() ? "" : ", ") + jsonText(value);
    return list;
}

// One object of the file: hands out its members by type and knows which of them nobody asked for.
class Object {
public:
    Object(const Json& json, const std::string& place)
        : json_(json)
        , place_(place)
    {
        if (!json.is_object())
            throw std::runtime_error((place.empty() ? "the file" : place) + ": must be an object");
    }

    bool has(const std::string& name) const { return json_.contains(name); }

    bool flag(const std::string& name)
    {
        const Json& value = member_(name);
        if (!value.is_boolean())
            fail(name, "must be true or false");
        return value.get<bool>();
    }

    std::string text(const std::string& name)
    {
        const Json& value = member_(name);
        if (!value.is_string())
            fail(name, "must be a string");
        return value.get<std::string>();
    }

    std::string text(const std::string& name, const std::vector<std::string>& allowed)
    {
        std::string value = text(name);
        expectOneOf_(name, value, allowed);
        return value;
    }

    int number(const std::string& name, int least, int most = std::numeric_limits<int>::max())
    {
        const Json& value = member_(name);
        if (!value.is_number_integer())
            fail(name, "must be an integer");
        // An unsigned number too large for the signed type would turn up negative.
        const bool tooLarge = value.is_number_unsigned() && value.get<std::uint64_t>() > INT32_MAX;
        if (tooLarge || value.get<std::int64_t>() < least || value.get<std::int64_t>() > most)
            fail(name, value.dump() + " is not allowed, only " + std::to_string(least) + " to " +
                           std::to_string(most));
        return value.get<int>();
    }

    int number(const std::string& name, const std::vector<int>& allowed)
    {
        const int value = number(name, std::numeric_limits<int>::min());
        expectOneOf_(name, value, allowed);
        return value;
    }

    /// The elements of an array, each read by `read` as an object.
    template <class Element>
    std::vector<Element> list(const std::string& name, Element (*read)(Object&))
    {
        const Json& array = member_(name);
        if (!array.is_array())
            fail(name, "must be an array");
        std::vector<Element> elements;
        for (const Json& json : array) {
            Object element(json, placeOf_(name) + "[" + std::to_string(elements.size()) + "]");
            elements.push_back(read(element));
            element.finish();
        }
        return elements;
    }

    /// Complains about the first member that nobody asked for.
    void finish() const
    {
        for (const auto& item : json_.items())
            if (asked_.count(item.key()) == 0)
                throw std::runtime_error((place_.empty() ? "the file" : place_) + ": has an unknown member " +
                                         jsonText(item.key()));
    }

    [[noreturn]] void fail(const std::string& name, const std::string& why) const
    {
        throw std::runtime_error(placeOf_(name) + ": " + why);
    }

private:
    const Json& member_(const std::string& name)
    {
        asked_.insert(name);
        const auto found = json_.find(name);
        if (found == json_.end())
            fail(name, "is missing");
        return *found;
    }

    template <class Value>
    void expectOneOf_(const std::string& name, const Value& value, const std::vector<Value>& allowed) const
    {
        if (std::find(allowed.begin(), allowed.end(), value) == allowed.end())
            fail(name, jsonText(value) + " is not allowed, only " + listOf(allowed));
    }

    std::string placeOf_(const std::string& name) const
    {
        return place_.empty() ? name : place_ + "." + name;
    }

    const Json& json_;
    std::string place_;
    std::set<std::string> asked_;
};

Transform readTransform(Object& object)
{
    Transform transform;
    transform.id = object.number("id", std::numeric_limits<int>::min());
    transform.encryption = object.text("encryption", ENCRYPTIONS);
    const bool des3 = transform.encryption == "3DES";
    if (!des3 || object.has("key-length"))
        transform.keyLength = object.number("key-length", des3 ? DES3_KEY_LENGTHS : KEY_LENGTHS);
    transform.hash = object.text("hash", HASHES);
    if (object.has("authentication")) {
        transform.authentication = object.text("authentication", AUTHENTICATIONS);
        transform.authenticationData = object.text("authentication-data");
        if (*transform.authentication == "PSK" && transform.authenticationData.empty())
            object.fail("authentication-data", "must not be empty");
    }
    if (object.has("group"))
        transform.group = object.number("group", GROUPS);
    transform.lifetime = object.number("lifetime", 1);
    return transform;
}

Proposal readProposal(Object& object)
{
    Proposal proposal;
    proposal.id = object.number("id", std::numeric_limits<int>::min());
    proposal.transforms = object.list("transforms", readTransform);
    return proposal;
}

Rule readRule(Object& object)
{
    Rule rule;
    rule.action = object.text("action", ACTIONS);
    rule.source = object.text("source");
    rule.destination = object.text("destination");
    rule.priority = object.number("priority", 0, LOWEST_PRIORITY);
    rule.identityType = object.text("identity-type", IDENTITY_TYPES);
    rule.sourceIdentity = object.text("source-identity");
    rule.destinationIdentity = object.text("destination-identity");
    return rule;
}

Certificate readCertificate(Object& object)
{
    Certificate certificate;
    certificate.kind = object.text("kind", CERTIFICATE_KINDS);
    certificate.certificate = object.text("certificate");
    certificate.privateKey = object.text("private-key");
    return certificate;
}

Settings settingsOf(const Json& json)
{
    Object object(json, "");
    object.number("format", FORMAT, FORMAT);
    Settings settings;
    settings.fips = object.flag("fips");
    settings.nameSpace = object.text("namespace");
    settings.phase1 = object.list("phase1", readProposal);
    settings.phase2 = object.list("phase2", readProposal);
    settings.rules = object.list("rules", readRule);
    settings.certificates = object.list("certificates", readCertificate);
    object.finish();
    return settings;
}

std::string contentOf(const std::string& file)
{
    struct stat status = {};
    if (stat(file.c_str(), &status) != 0)
        throw std::runtime_error(std::generic_category().message(errno));
    if (!S_ISREG(status.st_mode))
        throw std::runtime_error("is not a regular file");
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream.is_open())
        throw std::runtime_error(std::generic_category().message(errno));
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

// The parser's own text is not passed on: it quotes the file, and a secret with it.
std::string positionOf(const std::string& content, std::size_t byte)
{
    const std::size_t end = std::min(byte == 0 ? 0 : byte - 1, content.size());
    const auto line =
        std::count(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(end), '\n') + 1;
    const std::size_t lineStart = end == 0 ? std::string::npos : content.rfind('\n', end - 1);
    const std::size_t column = lineStart == std::string::npos ? end + 1 : end - lineStart;
    return std::to_string(line) + ":" + std::to_string(column);
}

std::string plural(std::size_t count, const std::string& noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace

Settings readSettings(const std::string& file)
{
    std::string content;
    try {
        content = contentOf(file);
        return settingsOf(Json::parse(content));
    } catch (const Json::parse_error& error) {
        throw std::runtime_error(file + ":" + positionOf(content, error.byte) + ": is not JSON");
    } catch (const std::exception& error) {
        throw std::runtime_error(file + ": " + error.what());
    }
}

std::string summaryOf(const Settings& settings)
{
    return plural(settings.phase1.size(), "proposal") + " in phase 1, " +
           plural(settings.phase2.size(), "proposal") + " in phase 2, " +
           plural(settings.rules.size(), "rule") + ", " +
           plural(settings.certificates.size(), "certificate") + ", FIPS mode " +
           (settings.fips ? "on" : "off");
}

} // namespace norvale::tamber::systemdata::ipseccfg::standalone
