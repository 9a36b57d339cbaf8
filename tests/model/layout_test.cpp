// The order of data members: a program built against an earlier library finds them by their place.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

// The members are private, and their places are what is tested.
#if defined(__clang__)
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define private public
#include "Certificate.h"
#include "FilterRule.h"
#include "IPsecEngineControlClient.h"
#include "IPsecPolicy.h"
#include "Module.h"
#include "ModuleService.h"
#include "ObjectXMLMapping.h"
#include "PayloadBuilder.h"
#include "Proc.h"
#include "SecurityAssociation.h"
#include "Service.h"
#include "SettingManager.h"
#include "XmlRpcReceivePolicy.h"
#include "XmlRpcSendPolicy.h"
#undef private

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;
using namespace norvale::tamber::systemdata::ipseccfg::server;

constexpr std::size_t VIRTUAL_TABLE = sizeof(void*);

// Whether the object consists of exactly these members in this order, after `begin` bytes, with no more than
// alignment between.
template <class Object, class... Members>
::testing::AssertionResult consistsOf(const Object& object, std::size_t begin, const Members&... members)
{
    const auto base = reinterpret_cast<std::uintptr_t>(&object);
    std::size_t end = begin;
    std::size_t index = 0;
    ::testing::AssertionResult result = ::testing::AssertionSuccess();
    const auto place = [&](std::uintptr_t address, std::size_t size, std::size_t alignment) {
        const std::size_t expected = (end + alignment - 1) / alignment * alignment;
        if (result && address - base != expected)
            result = ::testing::AssertionFailure()
                     << "member " << index << " at " << address - base << ", not at " << expected;
        end = expected + size;
        ++index;
    };
    // NOLINTNEXTLINE(bugprone-sizeof-expression): some members are pointers
    (place(reinterpret_cast<std::uintptr_t>(&members), sizeof(Members), alignof(Members)), ...);
    const std::size_t whole = (end + alignof(Object) - 1) / alignof(Object) * alignof(Object);
    if (result && sizeof(Object) != whole)
        result = ::testing::AssertionFailure() << "size " << sizeof(Object) << ", not " << whole;
    return result;
}

TEST(Layout, OfThePayloads)
{
    EXPECT_EQ(VIRTUAL_TABLE, sizeof(Payload));
    EXPECT_EQ(VIRTUAL_TABLE, sizeof(PayloadVisitor));
    const SecurityAssociation association;
    EXPECT_TRUE(consistsOf(association, VIRTUAL_TABLE, association.children_));
    const Proposal proposal;
    EXPECT_TRUE(consistsOf(proposal, VIRTUAL_TABLE, proposal.id_, proposal.children_));
    const Transform transform;
    EXPECT_TRUE(consistsOf(transform, VIRTUAL_TABLE, transform.id_, transform.children_));
    const KeyLength keyLength(1);
    EXPECT_TRUE(consistsOf(keyLength, VIRTUAL_TABLE, keyLength.val_));
    const AuthenticationMethod method(0, "");
    EXPECT_TRUE(consistsOf(method, VIRTUAL_TABLE, method.val_, method.data_));
}

TEST(Layout, OfRulesAndCertificates)
{
    const FilterRule rule;
    EXPECT_TRUE(consistsOf(rule, 0, rule.filterType_, rule.srcIpAddress_, rule.dstIpAddress_,
                           rule.identityType_, rule.srcIdentity_, rule.dstIdentity_, rule.priority_));
    const Certificate certificate;
    EXPECT_TRUE(
        consistsOf(certificate, 0, certificate.kind_, certificate.certFilePath_, certificate.pkeyFilePath_));
}

TEST(Layout, OfThePolicyAndTheSettings)
{
    const IPsecPolicy policy;
    EXPECT_TRUE(consistsOf(policy, 0, policy.policyID_, policy.phase1_, policy.phase2_, policy.filters_,
                           policy.nsName_));
    const FilterFinder finder("", "");
    EXPECT_TRUE(consistsOf(finder, 0, finder.srcIp_, finder.dstIp_));
    const IPsecEngineControlClient& client = IPsecEngineControlClient::getInstance();
    EXPECT_TRUE(consistsOf(client, 0, client.settingFilePath_, client.mode_));
    EXPECT_EQ(VIRTUAL_TABLE + sizeof(std::string), sizeof(SettingManager));
}

TEST(Layout, OfTheBuilders)
{
    const SecurityAssociationBuilder association;
    EXPECT_TRUE(consistsOf(association, VIRTUAL_TABLE, association.sa_, association.prop_, association.trans_,
                           association.ea_, association.kl_, association.ha_, association.am_,
                           association.gd_, association.lt_, association.ld_));
    const ProposalBuilder proposal;
    EXPECT_TRUE(consistsOf(proposal, VIRTUAL_TABLE, proposal.prop_, proposal.trans_, proposal.ea_,
                           proposal.kl_, proposal.ha_, proposal.am_, proposal.gd_, proposal.lt_,
                           proposal.ld_));
    const TransformBuilder transform;
    EXPECT_TRUE(consistsOf(transform, VIRTUAL_TABLE, transform.trans_, transform.ea_, transform.kl_,
                           transform.ha_, transform.am_, transform.gd_, transform.lt_, transform.ld_));
    const PayloadDirector director(nullptr);
    EXPECT_TRUE(consistsOf(director, 0, director.builder_));
}

TEST(Layout, OfTheMessages)
{
    constexpr std::size_t COMMAND = VIRTUAL_TABLE + sizeof(void*);
    EXPECT_EQ(COMMAND, sizeof(Command));
    const ScenarioSerializer scenario(ScenarioCommand::Start, "", false, "");
    EXPECT_TRUE(
        consistsOf(scenario, COMMAND, scenario.type_, scenario.path_, scenario.mode_, scenario.nsName_));
    const ScenarioDeserializer scenarioRead;
    EXPECT_TRUE(consistsOf(scenarioRead, COMMAND, scenarioRead.type_, scenarioRead.path_, scenarioRead.mode_,
                           scenarioRead.nsName_));
    const SecurityAssociationSerializer associations(nullptr, nullptr);
    EXPECT_TRUE(consistsOf(associations, COMMAND, associations.phase1_, associations.phase2_));
    const SecurityAssociationDeserializer associationsRead;
    EXPECT_TRUE(consistsOf(associationsRead, COMMAND, associationsRead.phase1_, associationsRead.phase2_));
    const FilterRuleSerializer rules({}, {});
    EXPECT_TRUE(consistsOf(rules, COMMAND, rules.use_, rules.bd_));
    const FilterRuleDeserializer rulesRead;
    EXPECT_TRUE(consistsOf(rulesRead, COMMAND, rulesRead.use_, rulesRead.bd_));
    const CertificateSerializer certificates(std::list<CertificatePtr>{});
    EXPECT_TRUE(consistsOf(certificates, COMMAND, certificates.certs_));
    const CertificateDeserializer certificatesRead;
    EXPECT_TRUE(consistsOf(certificatesRead, COMMAND, certificatesRead.certs_));
    const ResultSerializer result(ResultCommand::Success, "");
    EXPECT_TRUE(consistsOf(result, COMMAND, result.status_, result.detail_));
    const ResultDeserializer resultRead;
    EXPECT_TRUE(consistsOf(resultRead, COMMAND, resultRead.status_, resultRead.detail_));
    const ParseVisitor visitor(nullptr);
    EXPECT_TRUE(consistsOf(visitor, VIRTUAL_TABLE, visitor.parser_));
}

TEST(Layout, OfTheTransport)
{
    const XmlRpcSendPolicy sender;
    EXPECT_TRUE(consistsOf(sender, 0, sender.path_, sender.mode_));
    EXPECT_EQ(sizeof(void*), sizeof(XmlRpcReceivePolicy));
}

TEST(Layout, OfTheHostControl)
{
    EXPECT_EQ(VIRTUAL_TABLE, sizeof(Proc));
    const Module module("");
    EXPECT_TRUE(consistsOf(module, VIRTUAL_TABLE, module.ko_));
    const Service service("");
    EXPECT_TRUE(consistsOf(service, VIRTUAL_TABLE, service.cmd_));
    const ModuleService moduleService("", {}, 1, 2);
    EXPECT_TRUE(consistsOf(moduleService, VIRTUAL_TABLE, moduleService.srv_, moduleService.modList_,
                           moduleService.interval_, moduleService.retry_));
}

TEST(Layout, PolicyNumbersAreHandedOutOneByOne)
{
    const int next = IPsecPolicy::POLICY_ID;
    const IPsecPolicy first;
    const IPsecPolicy second;
    EXPECT_EQ(next, first.policyID_);
    EXPECT_EQ(next + 1, second.policyID_);
    EXPECT_EQ(next + 2, IPsecPolicy::POLICY_ID);
}

TEST(Layout, AFreshControlClientHoldsNoPathAndHasFipsModeOff)
{
    // No other test of this program changes it.
    EXPECT_EQ("", IPsecEngineControlClient::getInstance().settingFilePath_);
    EXPECT_FALSE(IPsecEngineControlClient::getInstance().mode_);
}

TEST(Layout, ACommandBeginsWithoutAnArray)
{
    struct Open : ResultDeserializer {
        using ResultDeserializer::receiver_;
    };
    EXPECT_EQ(nullptr, Open().receiver_);
}

template <class... Classes>
constexpr bool NOT_COPYABLE =
    ((!std::is_copy_constructible<Classes>::value && !std::is_copy_assignable<Classes>::value) && ...);

TEST(Layout, WhatOwnsSomethingCannotBeCopied)
{
    EXPECT_TRUE((NOT_COPYABLE<XmlRpcSendPolicy, XmlRpcReceivePolicy, Proc, Module, Service, ModuleService>));
}

} // namespace
} // namespace tests
