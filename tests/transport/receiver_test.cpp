// The policy receiver: what it hands out, in which order, and what stays after a failure.

#include "Exceptions.h"
#include "MemoryPlatform.h"
#include "ObjectXMLMapping.h"
#include "PayloadBuilder.h"
#include "XmlRpcReceivePolicy.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;
using memory_platform::state;

const std::string PHASE1 =
    "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\nkey-length 3 128\n}\n";
const std::string PHASE2 =
    "{\ntable-id 3 1\nphase-id 3 2\nproposal-id 3 1\ntransform-id 3 1\nkey-length 3 256\n}\n";
const std::string ROOT_CA = "{\ntable-id 3 3\ncert-kind 3 3\ncert-path 1 root.pem\npkey-path 1 \n}\n";

std::string scenario(const std::string& type)
{
    return "{\ntable-id 3 0\nscenario 3 " + type +
           "\nsetting-file-path 1 /new\nfips-mode 3 1\nns-name 1 red\n}\n";
}

std::string rule(const std::string& type, const std::string& source, const std::string& priority = "1")
{
    return "{\ntable-id 3 2\nfilter-type 3 " + type + "\nsrc-addr 1 " + source +
           "\ndst-addr 1 b\npriority 3 " + priority + "\n}\n";
}

class PolicyReceiver : public ::testing::Test {
protected:
    PolicyReceiver()
    {
        state() = memory_platform::State();
        policy_.addFilter(createFilterRule(FilterRule::Use, "held", "b"));
        policy_.setPhase1SA(heldPhase1_);
        policy_.setPhase2SA(heldPhase2_);
        rules_.push_back(createFilterRule(FilterRule::Bypass, "held default", "b"));
        certificates_.push_back(createCertificate(Certificate::EndEntity, "held.pem", ""));
    }

    ~PolicyReceiver() override { EXPECT_EQ(0, state().liveParsers); }

    int receive(const std::string& structures)
    {
        std::istringstream stream("command server\n" + structures + "end\n");
        return XmlRpcReceivePolicy(stream).execute(policy_, rules_, certificates_, path_, mode_);
    }

    /// Everything that was handed out, in one text.
    std::string held()
    {
        std::ostringstream text;
        text << path_ << '|' << mode_ << '|' << policy_.getNsName() << '|';
        for (const FilterRulePtr& used : policy_.getFilterRules())
            text << used->getSrcIpAddress() << ',';
        text << '|';
        for (const FilterRulePtr& other : rules_)
            text << other->getSrcIpAddress() << ',';
        text << '|';
        for (const CertificatePtr& certificate : certificates_)
            text << certificate->getCertFilePath() << ',';
        return text.str();
    }

    IPsecPolicy policy_;
    FilterSet rules_;
    std::list<CertificatePtr> certificates_;
    std::string path_ = "/old";
    bool mode_ = false;
    const PayloadPtr heldPhase1_ = createSecurityAssociation();
    const PayloadPtr heldPhase2_ = createSecurityAssociation();
};

TEST_F(PolicyReceiver, HandsOutAWholeRequest)
{
    EXPECT_EQ(1, receive(scenario("1") + PHASE1 + PHASE2 + rule("3", "use 1") + rule("3", "use 2") +
                         rule("2", "discard") + ROOT_CA));
    EXPECT_EQ("/new|1|red|held,use 1,use 2,|discard,|root.pem,", held());
    EXPECT_EQ("SecurityAssociation: \nproposalID: 1\ntransformID: 1\nKeyLength: value: 128\n\n\n",
              policy_.getPhase1SA()->to_string());
    EXPECT_EQ("SecurityAssociation: \nproposalID: 1\ntransformID: 1\nKeyLength: value: 256\n\n\n",
              policy_.getPhase2SA()->to_string());
}

TEST_F(PolicyReceiver, ReturnsTheScenarioAsItWasSent)
{
    for (const char* const type : {"1", "3", "0", "7", "-1"}) {
        policy_ = IPsecPolicy();
        EXPECT_EQ(std::stoi(type), receive(scenario(type))) << type;
    }
    EXPECT_EQ(0, receive(""));
}

TEST_F(PolicyReceiver, HandsOutTheSettingsOfAShutdownAndNothingElse)
{
    EXPECT_EQ(2,
              receive("{\ntable-id 3 0\nscenario 3 2\nsetting-file-path 1 \nfips-mode 3 1\nns-name 1 \n}\n" +
                      PHASE1 + PHASE2 + rule("3", "ignored") + rule("2", "ignored") + ROOT_CA));
    EXPECT_EQ("|1||held,|held default,|held.pem,", held());
    EXPECT_EQ(heldPhase1_, policy_.getPhase1SA());
    EXPECT_EQ(heldPhase2_, policy_.getPhase2SA());
}

TEST_F(PolicyReceiver, DoesNotReadTheSectionsOfAShutdown)
{
    EXPECT_EQ(2, receive(scenario("2") +
                         "{\ntable-id 3 1\nphase-id 3 x\n}\n{\ntable-id 3 2\nfilter-type 3 x\n}\n"));
}

TEST_F(PolicyReceiver, AddsUsedRulesAndReplacesTheLists)
{
    receive(scenario("1") + rule("3", "first") + rule("1", "first default") + ROOT_CA);
    receive(scenario("3") + rule("3", "second") + rule("1", "second default"));
    EXPECT_EQ("/new|1|red|held,first,second,|second default,||", held() + "|");
}

TEST_F(PolicyReceiver, UnsetsAPhaseThatTheRequestDoesNotHold)
{
    receive(scenario("1") + PHASE1);
    EXPECT_NE(nullptr, policy_.getPhase1SA());
    EXPECT_EQ(nullptr, policy_.getPhase2SA());
}

TEST_F(PolicyReceiver, RefusesWhatCannotBeParsedAndChangesNothing)
{
    state().parseStatus = 1;
    EXPECT_EQ("CArrayPaser's parse error",
              textThrownBy<std::runtime_error>([this] { receive(scenario("1")); }));
    EXPECT_EQ("/old|0||held,|held default,|held.pem,", held());
}

TEST_F(PolicyReceiver, KeepsTheSettingsWhenAnAssociationCannotBeRead)
{
    EXPECT_EQ("stoi", textThrownBy<std::invalid_argument>([this] {
                  receive(scenario("1") + "{\ntable-id 3 1\nphase-id 3 x\n}\n" + rule("2", "discard") +
                          ROOT_CA);
              }));
    EXPECT_EQ("/new|1|red|held,|held default,|held.pem,", held());
    EXPECT_EQ(heldPhase1_, policy_.getPhase1SA());
}

TEST_F(PolicyReceiver, KeepsTheAssociationsOfBeforeWhenARuleCannotBeRead)
{
    EXPECT_EQ("Priority is invalid: value: 100", textThrownBy<std::domain_error>([this] {
                  receive(scenario("1") + PHASE1 + rule("2", "discard") + rule("3", "use", "100") + ROOT_CA);
              }));
    EXPECT_EQ("/new|1|red|held,|held default,|held.pem,", held());
    EXPECT_EQ(heldPhase1_, policy_.getPhase1SA());
}

TEST_F(PolicyReceiver, KeepsWhatItHandedOutBeforeADuplicateRule)
{
    EXPECT_EQ("Detect duplicates of key: src addr: held :dst addr: b",
              textThrownBy<std::runtime_error>([this] {
                  receive(scenario("1") + PHASE1 + rule("3", "new") + rule("3", "held") + rule("3", "later") +
                          rule("2", "discard") + ROOT_CA);
              }));
    EXPECT_EQ("/new|1|red|held,new,|discard,|held.pem,", held());
    EXPECT_NE(heldPhase1_, policy_.getPhase1SA());
}

TEST_F(PolicyReceiver, KeepsWhatItHandedOutBeforeABadCertificate)
{
    EXPECT_EQ("stoi", textThrownBy<std::invalid_argument>([this] {
                  receive(scenario("1") + rule("3", "new") + ROOT_CA + "{\ntable-id 3 3\ncert-kind 3 x\n}\n");
              }));
    EXPECT_EQ("/new|1|red|held,new,||held.pem,", held());
}

TEST_F(PolicyReceiver, LeavesTheRestOfTheStreamForTheNextRequest)
{
    std::istringstream stream("command server\n" + scenario("2") + "end\ncommand server\n" + scenario("3") +
                              "end\n");
    XmlRpcReceivePolicy receiver(stream);
    EXPECT_EQ(2, receiver.execute(policy_, rules_, certificates_, path_, mode_));
    EXPECT_EQ(3, receiver.execute(policy_, rules_, certificates_, path_, mode_));
}

} // namespace
} // namespace tests
