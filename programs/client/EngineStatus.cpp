// Rules, policies and tunnels of the engine put together.

#include "EngineStatus.h"

#include "Connection.h"
#include "EngineProcess.h"
#include "Text.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

using vici::Element;

constexpr auto EXCHANGE_TIME = std::chrono::seconds(10);
// The engine's priority of the policy's priority 0.
constexpr int FIRST_PRIORITY = 2;

constexpr const char* ACTIONS[] = {"use", "bypass", "discard"};

// The action that a child's name begins with; empty if it is no rule of the policy.
std::string actionOf(const std::string& child)
{
    for (const char* const action : ACTIONS)
        if (child.compare(0, std::string(action).size() + 1, std::string(action) + "-") == 0)
            return action;
    return "";
}

std::uint64_t number(const Element& section, const std::string& name)
{
    return std::strtoull(section.value(name).c_str(), nullptr, 10);
}

std::string algorithm(const Element& section, const std::string& name)
{
    const std::string length = section.value(name + "-keysize");
    return section.value(name + "-alg") + (length.empty() ? "" : "-" + length);
}

std::string suiteOf(const Element& child)
{
    std::vector<std::string> parts = {algorithm(child, "encr")};
    for (const std::string& part : {algorithm(child, "integ"), child.value("dh-group")})
        if (!part.empty())
            parts.push_back(part);
    return programs::joined(parts, "/");
}

TunnelStatus tunnelOf(const Element& ike, const Element& child)
{
    TunnelStatus tunnel;
    tunnel.peer = ike.value("remote-host") + " [" + ike.value("remote-id") + "]";
    tunnel.suite = suiteOf(child);
    tunnel.bytesIn = number(child, "bytes-in");
    tunnel.bytesOut = number(child, "bytes-out");
    tunnel.packetsIn = number(child, "packets-in");
    tunnel.packetsOut = number(child, "packets-out");
    tunnel.rekeySeconds = number(child, "rekey-time");
    return tunnel;
}

// What is known of the connection and the child of a rule.
struct Findings {
    std::optional<TunnelStatus> tunnel;
    std::string negotiation; // with whom there is one going on
};

Findings search(const std::vector<Element>& associations, const std::string& connection,
                const std::string& child)
{
    Findings findings;
    for (const Element& event : associations)
        for (const Element& ike : event.elements()) {
            if (ike.name() != connection)
                continue;
            if (ike.value("state") == "CONNECTING")
                findings.negotiation = ike.value("remote-host");
            for (const Element& sa : ike.section("child-sas").elements())
                // Of an old pair of keys and its renewal the one that was made last counts.
                if (sa.value("name") == child && sa.value("state") == "INSTALLED")
                    findings.tunnel = tunnelOf(ike, sa);
        }
    return findings;
}

std::set<std::string> installedIn(const std::vector<Element>& policies)
{
    std::set<std::string> names;
    for (const Element& event : policies)
        for (const Element& policy : event.elements())
            names.insert(policy.value("child"));
    return names;
}

void judge(RuleStatus& rule, const Findings& findings, bool installed)
{
    rule.tunnel = findings.tunnel;
    if (rule.tunnel) {
        rule.state = "up";
    } else if (!installed) {
        rule.state = "down";
        rule.reason = "the kernel has no policy for it";
    } else if (!findings.negotiation.empty()) {
        rule.state = "down";
        rule.reason = "the negotiation with " + findings.negotiation + " has not come to an end";
    } else {
        rule.state = rule.action == "use" ? "trapped" : "in force";
    }
}

} // namespace

std::vector<RuleStatus> statusOf(const std::vector<Element>& connections,
                                 const std::vector<Element>& policies,
                                 const std::vector<Element>& associations)
{
    const std::set<std::string> installed = installedIn(policies);
    std::vector<RuleStatus> rules;
    for (const Element& event : connections)
        for (const Element& connection : event.elements())
            for (const Element& child : connection.section("children").elements()) {
                RuleStatus rule;
                rule.action = actionOf(child.name());
                if (rule.action.empty())
                    continue;
                rule.source = programs::joined(child.items("local-ts"));
                rule.destination = programs::joined(child.items("remote-ts"));
                rule.priority = static_cast<int>(number(child, "priority")) - FIRST_PRIORITY;
                judge(rule, search(associations, connection.name(), child.name()),
                      installed.count(child.name()) != 0);
                rules.push_back(rule);
            }
    std::stable_sort(rules.begin(), rules.end(), [](const RuleStatus& one, const RuleStatus& other) {
        return one.priority < other.priority;
    });
    return rules;
}

std::optional<std::vector<RuleStatus>> engineStatus(const configserver::Configuration& configuration)
{
    if (configuration.engine != "strongswan")
        throw std::runtime_error("the engine " + configuration.engine + " has no tunnels to speak of");
    if (!configserver::EngineProcess(configuration.pidFile, configuration.serviceCommand).find())
        return std::nullopt;
    vici::Connection engine(configuration.settingDirectory + "/.strongswan/vici", EXCHANGE_TIME);
    Element kinds;
    kinds.add("trap", "yes").add("drop", "yes").add("pass", "yes");
    const auto connections = engine.stream("list-conns", "list-conn");
    const auto policies = engine.stream("list-policies", "list-policy", kinds);
    return statusOf(connections, policies, engine.stream("list-sas", "list-sa"));
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
