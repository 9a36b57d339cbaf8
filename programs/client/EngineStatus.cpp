// Rules, policies and tunnels of the engine put together.

#include "EngineStatus.h"

#include "Connection.h"
#include "EngineProcess.h"
#include "Text.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>

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
    std::string trouble; // why there is none
};

std::string negotiationOf(const Element& ike)
{
    // The other end adds its part with its first answer.
    const bool answered = ike.value("responder-spi").find_first_not_of('0') != std::string::npos;
    return answered ? "the negotiation with " + ike.value("remote-host") + " has not come to an end"
                    : ike.value("remote-host") + " has not answered yet";
}

Findings search(const std::vector<Element>& associations, const std::string& connection,
                const std::string& child, const Troubles& troubles)
{
    Findings findings;
    const auto trouble = troubles.find(connection);
    if (trouble != troubles.end())
        findings.trouble = "the last negotiation failed: " + trouble->second;
    for (const Element& event : associations)
        for (const Element& ike : event.elements()) {
            if (ike.name() != connection)
                continue;
            if (ike.value("state") == "CONNECTING")
                findings.trouble = negotiationOf(ike);
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
    } else if (!findings.trouble.empty()) {
        rule.state = "down";
        rule.reason = programs::printable(findings.trouble);
    } else {
        rule.state = rule.action == "use" ? "trapped" : "in force";
    }
}

// A pid file that must not be seen is not one that is missing: the engine may well run.
void requireSight(const std::string& pidFile)
{
    if (access(pidFile.c_str(), R_OK) != 0 && errno == EACCES)
        throw std::runtime_error("cannot read " + pidFile + ": " + std::generic_category().message(EACCES) +
                                 "; ask with the engine's rights, 'sudo ipseccfgctl status' say");
}

} // namespace

bool protects(const configserver::Configuration& configuration)
{
    return configuration.engine == "strongswan";
}

Troubles troublesOf(const std::string& content)
{
    Troubles troubles;
    std::istringstream lines(content);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t blank = line.find(' ');
        if (blank != std::string::npos)
            troubles[line.substr(0, blank)] = line.substr(blank + 1);
    }
    return troubles;
}

std::vector<RuleStatus> statusOf(const std::vector<Element>& connections,
                                 const std::vector<Element>& policies,
                                 const std::vector<Element>& associations, const Troubles& troubles)
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
                judge(rule, search(associations, connection.name(), child.name(), troubles),
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
    requireSight(configuration.pidFile);
    if (!configserver::EngineProcess(configuration.pidFile, configuration.serviceCommand).find())
        return std::nullopt;
    if (!protects(configuration))
        return std::vector<RuleStatus>();
    const std::string folder = configuration.settingDirectory + "/.strongswan";
    vici::Connection engine(folder + "/vici", EXCHANGE_TIME);
    Element kinds;
    kinds.add("trap", "yes").add("drop", "yes").add("pass", "yes");
    const auto connections = engine.stream("list-conns", "list-conn");
    const auto policies = engine.stream("list-policies", "list-policy", kinds);
    const auto associations = engine.stream("list-sas", "list-sa");
    std::ifstream file(folder + "/troubles", std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return statusOf(connections, policies, associations, troublesOf(content));
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
