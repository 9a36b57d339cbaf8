// Writing of strongSwan's setting file.

#include "StrongswanSettingManager.h"

#include "AddressSet.h"
#include "PolicyNames.h"
#include "StrongswanIdentity.h"
#include "StrongswanProposals.h"
#include "SwanctlText.h"
#include "Text.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <stdexcept>
#include <tuple>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

using common::Certificate;
using common::FilterRule;

constexpr const char* FIRST_LINE = "# ipseccfg-strongswan 1\n";
constexpr int PART_FOR_RENEWAL = 10;

// 0 has a meaning of its own for the engine, and one more comes before all rules.
constexpr int FIRST_PRIORITY = 2;
constexpr const char* BEFORE_ALL_RULES = "1";

// Without these messages of ICMPv6 (RFC 4861) no host finds another one to negotiate with; type and code as the
// engine takes them for a port.
struct Discovery {
    const char* name;
    const char* selector;
};
constexpr Discovery DISCOVERIES[] = {{"neighbour-solicitation", "::/0[58/34560]"},
                                     {"neighbour-advertisement", "::/0[58/34816]"}};

[[noreturn]] void refuse(const std::string& place, const std::string& value, const std::string& why)
{
    throw std::runtime_error(place + ": '" + programs::printable(value) + "' is not possible" + why);
}

// A rule with its addresses read.
struct Selection {
    Selection(const FilterRule& aRule, const std::string& aPlace)
        : rule(aRule)
        , place(aPlace)
        , source(read_(aRule.getSrcIpAddress(), "src-addr"))
        , destination(read_(aRule.getDstIpAddress(), "dst-addr"))
    {
        if (source.isIPv6() != destination.isIPv6())
            refuse(place + ": dst-addr", rule.getDstIpAddress(),
                   ", only one of the same family as that of src-addr");
    }

    const FilterRule& rule;
    std::string place;
    AddressSet source;
    AddressSet destination;

private:
    AddressSet read_(const std::string& text, const std::string& member) const
    {
        const auto addresses = AddressSet::parse(text);
        if (!addresses)
            refuse(place + ": " + member, text,
                   ", only an address, a subnet (192.0.2.0/24, 2001:db8::/32) or a range "
                   "(192.0.2.7-192.0.2.9)");
        return *addresses;
    }
};

// The sections of rules under names of their own.
class Named {
public:
    /// @param children the rest of the section, which does not count for its name
    void add(const std::string& prefix, SwanctlText section, const SwanctlText& children = SwanctlText())
    {
        const std::string name = prefix + "-" + section.fingerprint();
        if (!names_.insert(name).second)
            throw std::runtime_error("two rules have the fingerprint " + name);
        if (!children.empty())
            section.add("children", children);
        sections_.add(name, section);
    }
    const SwanctlText& sections() const { return sections_; }

private:
    std::set<std::string> names_;
    SwanctlText sections_;
};

// What rules share that are negotiated by the same two ends.
struct Ends {
    std::string local;
    std::string remote;
    std::string localIdentity;
    std::string remoteIdentity;
    bool tunnel = false;

    bool operator<(const Ends& other) const
    {
        return std::tie(local, remote, localIdentity, remoteIdentity) <
               std::tie(other.local, other.remote, other.localIdentity, other.remoteIdentity);
    }
};

// Everything that the rules of one policy become.
class Rendering {
public:
    Rendering(const Configuration& configuration, const Restrictions& restrictions)
        : configuration_(configuration)
        , restrictions_(restrictions)
    {}

    void addRules(const common::FilterSet& rules, const std::string& name)
    {
        std::size_t number = 0;
        for (const common::FilterRulePtr& rule : rules) {
            const Selection selection(*rule, name + " " + std::to_string(++number));
            checkUnique_(selection);
            if (rule->getFilterType() == FilterRule::Use)
                protect_(selection);
            else
                shunt_(selection);
        }
    }

    /// @param common what all connections have
    SwanctlText connections(const SwanctlText& common, const SwanctlText& local,
                            const SwanctlText& remote) const
    {
        Named all;
        for (const auto& [ends, children] : protected_)
            all.add("protect", connectionOf_(ends, common, local, remote), children.sections());
        SwanctlText result = all.sections();
        SwanctlText children = shunts_.sections();
        if (protectsIPv6_)
            addDiscovery_(children);
        if (!children.empty()) {
            SwanctlText shunts;
            // No peer is ever taken for this one.
            shunts.add("remote_addrs", "127.0.0.1");
            shunts.add("children", children);
            result.add("shunts", shunts);
        }
        return result;
    }

    void setPhase2(const PhaseOffer& offer)
    {
        phase2_.add("esp_proposals", offer.proposals);
        phase2_.add("life_time", std::to_string(offer.lifetime) + "s");
        phase2_.add("rekey_time", std::to_string(offer.lifetime - offer.lifetime / PART_FOR_RENEWAL) + "s");
    }

private:
    static SwanctlText selectorsOf_(const Selection& selection, const SwanctlText& first)
    {
        SwanctlText child = first;
        child.add("local_ts", selection.source.subnets());
        child.add("remote_ts", selection.destination.subnets());
        child.add("priority", std::to_string(selection.rule.getPriority() + FIRST_PRIORITY));
        child.add("start_action", "trap");
        return child;
    }

    static void addDiscovery_(SwanctlText& children)
    {
        for (const Discovery& discovery : DISCOVERIES) {
            SwanctlText child;
            child.add("mode", "pass");
            child.add("local_ts", discovery.selector);
            child.add("remote_ts", discovery.selector);
            child.add("priority", BEFORE_ALL_RULES);
            child.add("start_action", "trap");
            children.add(discovery.name, child);
        }
    }

    // The engine would let one of two such rules silently replace the other.
    void checkUnique_(const Selection& selection)
    {
        const std::string key = programs::joined(selection.source.subnets()) + " to " +
                                programs::joined(selection.destination.subnets()) + " at " +
                                std::to_string(selection.rule.getPriority());
        const auto [other, unique] = places_.insert({key, selection.place});
        if (!unique)
            refuse(selection.place + ": priority", std::to_string(selection.rule.getPriority()),
                   ", only one that " + other->second + ", which has the same addresses, does not have");
    }

    void shunt_(const Selection& selection)
    {
        const FilterRule& rule = selection.rule;
        if (rule.getIdentityType() != FilterRule::IdentityNone)
            refuse(selection.place + ": identity-type",
                   programs::nameOf(programs::IDENTITY_TYPES, rule.getIdentityType()),
                   ", only none, for a rule that does not protect");
        identityText(FilterRule::IdentityNone, rule.getSrcIdentity(), selection.place + ": src-identity");
        identityText(FilterRule::IdentityNone, rule.getDstIdentity(), selection.place + ": dst-identity");
        SwanctlText child;
        child.add("mode", rule.getFilterType() == FilterRule::Bypass ? "pass" : "drop");
        shunts_.add(programs::nameOf(programs::ACTIONS, rule.getFilterType()),
                    selectorsOf_(selection, child));
    }

    void protect_(const Selection& selection)
    {
        if (restrictions_.ikeVersion == 1) {
            checkOneSubnet_(selection, "src-addr", selection.rule.getSrcIpAddress(), selection.source);
            checkOneSubnet_(selection, "dst-addr", selection.rule.getDstIpAddress(), selection.destination);
        }
        const Ends ends = endsOf_(selection);
        SwanctlText child = phase2_;
        child.add("mode", ends.tunnel ? "tunnel" : "transport");
        protected_[ends].add("use", selectorsOf_(selection, child));
        protectsIPv6_ = protectsIPv6_ || selection.source.isIPv6();
    }

    static void checkOneSubnet_(const Selection& selection, const std::string& member,
                                const std::string& text, const AddressSet& addresses)
    {
        if (addresses.subnets().size() > 1)
            refuse(selection.place + ": " + member, text,
                   " with IKE version 1, only an address, a subnet or a range that is a subnet");
    }

    Ends endsOf_(const Selection& selection) const
    {
        const FilterRule& rule = selection.rule;
        Ends ends;
        ends.localIdentity =
            identityText(rule.getIdentityType(), rule.getSrcIdentity(), selection.place + ": src-identity");
        ends.remoteIdentity =
            identityText(rule.getIdentityType(), rule.getDstIdentity(), selection.place + ": dst-identity");
        const auto* const gateway = gatewayFor_(selection);
        const bool addressed = rule.getIdentityType() == FilterRule::IPAddress;
        ends.local = endOf_(selection.source, addressed ? ends.localIdentity : "",
                            gateway == nullptr ? nullptr : &gateway->local);
        ends.remote = endOf_(selection.destination, addressed ? ends.remoteIdentity : "",
                             gateway == nullptr ? nullptr : &gateway->remote);
        if (ends.local.empty())
            ends.local = "%any"; // the engine's word for whichever of this host's leads there
        if (ends.remote.empty())
            refuse(selection.place + ": dst-addr", rule.getDstIpAddress(),
                   " without an end of its tunnel, only with a gateway in the server's configuration or an "
                   "identity of type ip, or one address");
        const bool hosts = selection.source.isSingle() && selection.destination.isSingle();
        if (configuration_.mode == "transport" && (!hosts || gateway != nullptr))
            refuse(selection.place + ": mode", "transport",
                   " by the server's configuration, only tunnel, for a subnet, a range or a gateway");
        ends.tunnel = configuration_.mode == "tunnel" || !hosts || gateway != nullptr;
        return ends;
    }

    // Empty if nothing says it.
    static std::string endOf_(const AddressSet& side, const std::string& identity, const std::string* gateway)
    {
        if (gateway != nullptr)
            return gateway->empty() ? "" : AddressSet::parse(*gateway)->firstText();
        return side.isSingle() ? side.firstText() : identity;
    }

    const Configuration::Gateway* gatewayFor_(const Selection& selection) const
    {
        for (const Configuration::Gateway& gateway : configuration_.gateways)
            if (AddressSet::parse(gateway.destination)->contains(selection.destination))
                return &gateway;
        return nullptr;
    }

    static SwanctlText connectionOf_(const Ends& ends, const SwanctlText& common, SwanctlText local,
                                     SwanctlText remote)
    {
        SwanctlText connection = common;
        connection.add("local_addrs", ends.local);
        connection.add("remote_addrs", ends.remote);
        if (!ends.localIdentity.empty())
            local.add("id", ends.localIdentity);
        if (!ends.remoteIdentity.empty())
            remote.add("id", ends.remoteIdentity);
        connection.add("local", local);
        connection.add("remote", remote);
        return connection;
    }

    const Configuration& configuration_;
    Restrictions restrictions_;
    SwanctlText phase2_;
    std::map<std::string, std::string> places_;
    std::map<Ends, Named> protected_;
    Named shunts_;
    bool protectsIPv6_ = false;
};

SwanctlText commonOf(const PhaseOffer& offer, std::size_t ikeVersion)
{
    const int renewal = offer.lifetime / PART_FOR_RENEWAL;
    const std::string begin = std::to_string(offer.lifetime - renewal) + "s";
    SwanctlText common;
    common.add("version", std::to_string(ikeVersion));
    common.add("proposals", offer.proposals);
    // Version 1 can renew the keys of phase 1 only by authenticating again.
    common.add("rekey_time", ikeVersion == 1 ? "0s" : begin);
    common.add("reauth_time", ikeVersion == 1 ? begin : "0s");
    common.add("over_time", std::to_string(renewal) + "s");
    // Who is at another address is not who the rule names.
    common.add("mobike", "no");
    return common;
}

std::string pathOf(const std::string& path, const std::string& place)
{
    constexpr std::size_t LONGEST = 500; // the engine has room for 511
    if (path.empty() || path.front() != '/' || path.size() > LONGEST || !programs::isPrintableAscii(path))
        refuse(place, path.substr(0, LONGEST),
               ", only an absolute path of printable ASCII, at most 500 characters");
    return path;
}

// What certificates become.
struct Credentials {
    std::string keyLines;
    SwanctlText local;
    SwanctlText authorities;
};

Credentials credentialsOf(const std::list<common::CertificatePtr>& certificates)
{
    Credentials credentials;
    std::size_t number = 0;
    for (const common::CertificatePtr& certificate : certificates) {
        const std::string count = std::to_string(++number);
        const std::string place = "certificate " + count;
        const std::string path = pathOf(certificate->getCertFilePath(), place + ": cert-path");
        if (certificate->getKind() == Certificate::EndEntity) {
            SwanctlText entry;
            entry.add("file", path);
            credentials.local.add("cert-" + count, entry);
            credentials.keyLines +=
                "# private-key: " + pathOf(certificate->getPkeyFilePath(), place + ": pkey-path") + "\n";
        } else {
            SwanctlText entry;
            entry.add("cacert", path);
            credentials.authorities.add("ca-" + count, entry);
        }
    }
    const auto have = [&certificates](Certificate::Kind kind) {
        return std::any_of(certificates.begin(), certificates.end(),
                           [kind](const auto& certificate) { return certificate->getKind() == kind; });
    };
    if (!have(Certificate::EndEntity) || !have(Certificate::RootCA))
        throw std::runtime_error(
            "phase 1: auth-method: RSA_SIG is not possible without a certificate of kind 1 "
            "(end-entity) and one of kind 3 (root-ca), only PSK");
    return credentials;
}

} // namespace

StrongswanSettingManager::StrongswanSettingManager(const Configuration& configuration,
                                                   const SettingFolder& folder)
    : EngineSettingManager(configuration, folder)
    , configuration_(configuration)
{}

std::string StrongswanSettingManager::render_(const common::IPsecPolicy& policy,
                                              const common::FilterSet& filters,
                                              const std::list<common::CertificatePtr>& certificates,
                                              bool fipsMode) const
{
    const Restrictions restrictions = {configuration_.ikeVersion, fipsMode};
    const common::FilterSet used = policy.getFilterRules();
    Rendering rendering(configuration_, restrictions);
    SwanctlText common;
    SwanctlText local;
    SwanctlText remote;
    SwanctlText secrets;
    Credentials credentials;
    if (!used.empty()) {
        common = commonOf(offerOfPhase1(policy.getPhase1SA(), restrictions), configuration_.ikeVersion);
        rendering.setPhase2(offerOfPhase2(policy.getPhase2SA(), restrictions));
        const Authentication authentication = authenticationOf(policy.getPhase1SA());
        if (authentication.preShared) {
            SwanctlText key;
            key.add("secret", "0x" + hexOf(authentication.preSharedKey));
            secrets.add("ike", key);
        } else {
            credentials = credentialsOf(certificates);
            local = credentials.local;
        }
        const std::string method = authentication.preShared ? "psk" : "pubkey";
        local.add("auth", method);
        remote.add("auth", method);
    }
    rendering.addRules(used, "used rule");
    rendering.addRules(filters, "default rule");

    SwanctlText file;
    file.add("connections", rendering.connections(common, local, remote));
    file.add("secrets", secrets);
    file.add("authorities", credentials.authorities);
    return FIRST_LINE + ("# namespace: " + policy.getNsName() + "\n") + credentials.keyLines + file.text();
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
