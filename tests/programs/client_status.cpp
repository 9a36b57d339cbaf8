// The engine's status: what its control interface answers becomes one line a rule.

#include "client_support.h"

#include "EngineStatus.h"
#include "StatusView.h"
#include "vici_text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <vector>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg;
using namespace norvale::tamber::systemdata::ipseccfg::client;
using tests::vici_text::list;
using tests::vici_text::section;
using tests::vici_text::value;
using vici::Element;

std::string child(const std::string& key, const std::string& priority)
{
    return section(key, list("local-ts", {"192.0.2.1/32", "192.0.2.4/31"}) +
                            list("remote-ts", {"10.0.0.0/8"}) + value("priority", priority));
}

std::string tunnel(const std::string& id, const std::string& rule, const std::string& state,
                   const std::string& bytesIn)
{
    return section(rule + "-" + id, value("name", rule) + value("state", state) +
                                        value("encr-alg", "AES_CBC") + value("encr-keysize", "256") +
                                        value("integ-alg", "HMAC_SHA2_256_128") +
                                        value("dh-group", "MODP_2048") + value("bytes-in", bytesIn));
}

class ClientStatus : public ::testing::Test {
protected:
    std::vector<RuleStatus> status() const
    {
        return statusOf(connections, policies, associations, troublesOf(troubles));
    }

    std::vector<Element> connections = {
        Element::decode(section("protect-1", section("children", child("use-1", "12")))),
        Element::decode(
            section("shunts", section("children", child("bypass-1", "2") + child("discard-1", "101") +
                                                      child("neighbour-solicitation", "1"))))};
    std::vector<Element> policies = {Element::decode(section("a", value("child", "use-1"))),
                                     Element::decode(section("b", value("child", "bypass-1"))),
                                     Element::decode(section("c", value("child", "discard-1")))};
    std::vector<Element> associations;
    std::string troubles;
};

TEST_F(ClientStatus, NamesEachRuleByPriority)
{
    const auto rules = status();
    ASSERT_EQ(3U, rules.size());
    EXPECT_EQ("bypass", rules[0].action);
    EXPECT_EQ(0, rules[0].priority);
    EXPECT_EQ("in force", rules[0].state);
    EXPECT_EQ("use", rules[1].action);
    EXPECT_EQ(10, rules[1].priority);
    EXPECT_EQ("192.0.2.1/32, 192.0.2.4/31", rules[1].source);
    EXPECT_EQ("10.0.0.0/8", rules[1].destination);
    EXPECT_EQ("trapped", rules[1].state);
    EXPECT_EQ("discard", rules[2].action);
    EXPECT_EQ(99, rules[2].priority);
}

TEST_F(ClientStatus, CountsWithSixtyFourBits)
{
    associations = {Element::decode(section(
        "protect-1",
        value("state", "ESTABLISHED") + value("remote-host", "10.0.0.2") + value("remote-id", "CN=x") +
            section("child-sas",
                    section("use-1-7",
                            value("name", "use-1") + value("state", "INSTALLED") +
                                value("encr-alg", "AES_GCM_16") + value("encr-keysize", "128") +
                                value("dh-group", "ECP_256") + value("bytes-in", "18446744073709551615") +
                                value("bytes-out", "4294967296") + value("packets-in", "5000000000") +
                                value("packets-out", "0") + value("rekey-time", "77")))))};
    const auto rules = status();
    EXPECT_EQ("up", rules[1].state);
    ASSERT_TRUE(rules[1].tunnel);
    EXPECT_EQ("10.0.0.2 [CN=x]", rules[1].tunnel->peer);
    EXPECT_EQ("AES_GCM_16-128/ECP_256", rules[1].tunnel->suite);
    EXPECT_EQ(18446744073709551615U, rules[1].tunnel->bytesIn);
    EXPECT_EQ(4294967296U, rules[1].tunnel->bytesOut);
    EXPECT_EQ(5000000000U, rules[1].tunnel->packetsIn);
    EXPECT_EQ(77U, rules[1].tunnel->rekeySeconds);
    EXPECT_FALSE(rules[0].tunnel);
    EXPECT_NE(std::string::npos,
              viewOf(rules).find("18446744073709551615/4294967296  5000000000/0    77 s\n"))
        << viewOf(rules);
}

TEST_F(ClientStatus, SaysThatThePeerHasNotAnswered)
{
    associations = {
        Element::decode(section("protect-1", value("state", "CONNECTING") + value("remote-host", "10.0.0.2") +
                                                 value("responder-spi", "0000000000000000")))};
    EXPECT_EQ("down", status()[1].state);
    EXPECT_EQ("10.0.0.2 has not answered yet", status()[1].reason);
}

TEST_F(ClientStatus, SaysThatTheNegotiationGoesOn)
{
    associations = {
        Element::decode(section("protect-1", value("state", "CONNECTING") + value("remote-host", "10.0.0.2") +
                                                 value("responder-spi", "000000000000000a")))};
    troubles = "protect-1 of an earlier one\n";
    EXPECT_EQ("down", status()[1].state);
    EXPECT_EQ("the negotiation with 10.0.0.2 has not come to an end", status()[1].reason);
}

TEST_F(ClientStatus, SaysHowTheLastNegotiationFailed)
{
    troubles =
        "protect-10 of another one\nprotect-1 establishing IKE_SA failed, peer not responding\nnothing\n";
    EXPECT_EQ("down", status()[1].state);
    EXPECT_EQ("the last negotiation failed: establishing IKE_SA failed, peer not responding",
              status()[1].reason);
    EXPECT_EQ("in force", status()[0].state);
    EXPECT_NE(
        std::string::npos,
        viewOf(status()).find("down: the last negotiation failed: establishing IKE_SA failed, peer not"));
    troubles = "protect-1 a\x01"
               "b\xff\n";
    EXPECT_EQ("the last negotiation failed: a?b?", status()[1].reason);
}

TEST_F(ClientStatus, IsATableWithoutAGap)
{
    EXPECT_EQ(
        "  priority  action   source                      destination  state     peer  suite  bytes in/out  "
        "packets "
        "in/out  rekey\n"
        "  0         bypass   192.0.2.1/32, 192.0.2.4/31  10.0.0.0/8   in force  -     -      -             -"
        "               -\n"
        "  10        use      192.0.2.1/32, 192.0.2.4/31  10.0.0.0/8   trapped   -     -      -             -"
        "               -\n"
        "  99        discard  192.0.2.1/32, 192.0.2.4/31  10.0.0.0/8   in force  -     -      -             -"
        "               -\n",
        viewOf(status()));
}

TEST_F(ClientStatus, SaysThatTheKernelHasNoPolicyForARule)
{
    troubles = "protect-1 anything\n";
    policies = {policies[1]};
    const auto rules = status();
    EXPECT_EQ("in force", rules[0].state);
    for (const std::size_t number : {1U, 2U}) {
        EXPECT_EQ("down", rules[number].state);
        EXPECT_EQ("the kernel has no policy for it", rules[number].reason);
    }
}

TEST_F(ClientStatus, IsUpWithATunnelWhateverAnotherNegotiationComesTo)
{
    const std::string children =
        section("child-sas", section("use-1-7", value("name", "use-1") + value("state", "INSTALLED")));
    associations = {Element::decode(section("protect-1", value("state", "ESTABLISHED") + children) +
                                    section("protect-1", value("state", "CONNECTING")))};
    troubles = "protect-1 anything\n";
    EXPECT_EQ("up", status()[1].state);
    EXPECT_EQ("", status()[1].reason);
}

TEST_F(ClientStatus, TakesNoOtherTunnelForThatOfARule)
{
    associations = {Element::decode(
        section("protect-1", value("state", "ESTABLISHED") +
                                 section("child-sas", tunnel("1", "use-1", "REKEYING", "1") +
                                                          tunnel("2", "use-10", "INSTALLED", "2"))) +
        section("protect-10", value("state", "CONNECTING") +
                                  section("child-sas", tunnel("3", "use-1", "INSTALLED", "3"))))};
    EXPECT_EQ("trapped", status()[1].state);
    EXPECT_EQ("", status()[1].reason);
}

TEST_F(ClientStatus, IsThatOfTheKeysThatWereMadeLast)
{
    associations = {Element::decode(
        section("protect-1", section("child-sas", tunnel("1", "use-1", "INSTALLED", "1") +
                                                      tunnel("2", "use-1", "INSTALLED", "2") +
                                                      tunnel("3", "use-1", "DELETING", "3"))))};
    const auto rules = status();
    ASSERT_TRUE(rules[1].tunnel);
    EXPECT_EQ(2U, rules[1].tunnel->bytesIn);
    EXPECT_EQ("AES_CBC-256/HMAC_SHA2_256_128/MODP_2048", rules[1].tunnel->suite);
}

tests::Printed printed(const Outcome& outcome, bool json)
{
    Options options;
    options.command = Command::Status;
    options.json = json;
    return tests::printed(outcome, options);
}

TEST_F(ClientStatus, IsListedInJson)
{
    connections = {connections[0],
                   Element::decode(section("protect-2", section("children", child("use-2", "13"))))};
    associations = {Element::decode(
        section("protect-1", value("remote-host", "10.0.0.2") + value("remote-id", "CN=x") +
                                 section("child-sas", tunnel("1", "use-1", "INSTALLED", "7"))))};
    const Outcome outcome{Status::Success, "2 rules in force", {}, {}, status()};
    EXPECT_EQ(nlohmann::json::parse(
                  R"([{"action": "use", "source": "192.0.2.1/32, 192.0.2.4/31", "destination": "10.0.0.0/8",
                       "priority": 10, "state": "up", "reason": "", "peer": "10.0.0.2 [CN=x]",
                       "suite": "AES_CBC-256/HMAC_SHA2_256_128/MODP_2048", "bytes-in": 7, "bytes-out": 0,
                       "packets-in": 0, "packets-out": 0, "rekey-seconds": 0},
                      {"action": "use", "source": "192.0.2.1/32, 192.0.2.4/31", "destination": "10.0.0.0/8",
                       "priority": 11, "state": "down", "reason": "the kernel has no policy for it"}])"),
              nlohmann::json::parse(printed(outcome, true).out).at("rules"));
}

// The server takes no part in it.
TEST_F(ClientStatus, ThatCannotBeToldIsNoRefusalOfTheServer)
{
    EXPECT_EQ("ipseccfgctl: status: the engine is not running; 'ipseccfgctl start POLICY' starts it\n",
              printed({Status::Failure, "the engine is not running", {}, {}}, false).err);
}

TEST_F(ClientStatus, IsThatOfAnEngineThatCanBeAsked)
{
    configserver::Configuration configuration;
    configuration.pidFile = "/nowhere/engine.pid";
    for (const std::string engine : {"standalone", "strongswan"}) {
        configuration.engine = engine;
        EXPECT_FALSE(engineStatus(configuration)) << engine;
    }
}

} // namespace
