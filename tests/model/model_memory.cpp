// The policy model when there is no memory: each operation with each of its allocations failing in turn.

#include "Certificate.h"
#include "FailingHeap.h"
#include "IPsecEngineControlClient.h"
#include "IPsecPolicy.h"
#include "PayloadBuilder.h"
#include "PayloadVisitor.h"
#include "SettingManager.h"
#include "Utility.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <unistd.h>
#include <vector>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;
using testing::PrintToString;

// Longer than what a string holds without an allocation.
const std::string LONG = "a text that is too long to be kept without memory";
const std::string OTHER = "another text that is too long to be kept without memory";

struct Operation {
    const char* name;
    std::function<void()> run;
};

/// Runs each operation with each of its allocations failing in turn; `state` must give the same text after
/// each failure.
void expectUnchangedByFailures(const std::vector<Operation>& operations,
                               const std::function<std::string()>& state)
{
    for (const Operation& operation : operations) {
        SCOPED_TRACE(operation.name);
        const std::string before = state();
        EXPECT_LT(0, failEachAllocation(operation.run, [&] { EXPECT_EQ(before, state()); }));
    }
}

/// Runs operations that need no memory.
void expectNoAllocation(const std::vector<Operation>& operations)
{
    for (const Operation& operation : operations)
        EXPECT_EQ(0, failEachAllocation(operation.run, [] {})) << operation.name;
}

/// A sink that keeps nothing, so that a stream needs no memory of its own.
class NullSink : public std::streambuf {
protected:
    std::streamsize xsputn(const char* /*text*/, std::streamsize size) override { return size; }
    int_type overflow(int_type character) override { return traits_type::not_eof(character); }
};

template <class Value>
void print(const Value& value)
{
    NullSink sink;
    std::ostream stream(&sink);
    stream.exceptions(std::ios_base::badbit);
    stream << value;
}

// Writes down every node that it visits.
class Recorder : public PayloadVisitor {
public:
    explicit Recorder(std::string& text)
        : text_(text)
    {}

    void visit(SecurityAssociation& /*payload*/) override { text_ += "association "; }
    void visit(Proposal& /*payload*/) override { text_ += "proposal "; }
    void visit(Transform& /*payload*/) override { text_ += "transform "; }
    void visit(EncryptionAlgorithm& /*payload*/) override { text_ += "encryption "; }
    void visit(KeyLength& /*payload*/) override { text_ += "length "; }
    void visit(HashAlgorithm& /*payload*/) override { text_ += "hash "; }
    void visit(AuthenticationMethod& /*payload*/) override { text_ += "authentication "; }
    void visit(GroupDescription& /*payload*/) override { text_ += "group "; }
    void visit(LifeType& /*payload*/) override { text_ += "type "; }
    void visit(LifeDuration& /*payload*/) override { text_ += "duration "; }

private:
    std::string& text_;
};

std::string attributesWith(const std::string& key)
{
    return "EncryptionAlgorithm: value: AES\nKeyLength: value: 256\nHashAlgorithm: value: SHA256\n"
           "AuthenticationMethod: value: PSK: data: " +
           key + "\nGroupDescription: value: Group14\nLifeType: value: SECOND\nLifeDuration: value: 28800\n";
}

// The payload tree

class PayloadMemory : public ::testing::Test {
protected:
    const PayloadPtr tree_ = createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                                       AuthenticationMethod::PSK, LONG, GroupDescription::G14,
                                                       LifeType::SECOND, 28800);
    const PayloadPtr proposal_ = tree_->getChild(0);
    const PayloadPtr transform_ = proposal_->getChild(0);
    const PayloadPtr authentication_ = transform_->getChild(3);
    const PayloadPtr leaf_ = createKeyLength(128);
};

TEST_F(PayloadMemory, ThatRunsOutLeavesTheTreeAsItWas)
{
    std::vector<Operation> operations;
    for (const PayloadPtr& composite : {tree_, proposal_, transform_}) {
        operations.push_back({"add", [&composite = *composite, this] { composite.add(leaf_); }});
        operations.push_back({"getChildren", [&composite = *composite] { composite.getChildren(); }});
        operations.push_back({"to_string", [&composite = *composite] { composite.to_string(); }});
        operations.push_back({"operator<<", [&composite = *composite] { print(composite); }});
    }
    operations.push_back({"operator<<", [this] { print(*authentication_); }});
    operations.push_back(
        {"getData", [this] { dynamic_cast<AuthenticationMethod&>(*authentication_).getData(); }});
    for (const PayloadPtr& attribute : transform_->getChildren())
        if (attribute != leaf_) // the text of the shortest attribute needs no memory
            operations.push_back({"to_string", [attribute] { attribute->to_string(); }});
    expectUnchangedByFailures(operations, [this] { return tree_->to_string(); });
    EXPECT_EQ(8U, transform_->getNumberOfChildren()); // the one that was added once memory was there
}

// A text that misses its end would be taken for the whole.
TEST_F(PayloadMemory, ThatRunsOutNeverShortensAText)
{
    const std::string whole =
        "SecurityAssociation: \nproposalID: 0\ntransformID: 0\n" + attributesWith(LONG) + "\n\n";
    std::string text;
    EXPECT_LT(3, failEachAllocation([&] { text = tree_->to_string(); }, [&] { EXPECT_EQ("", text); }));
    EXPECT_EQ(whole, text);
}

TEST_F(PayloadMemory, ThatRunsOutEndsAVisitThatMayBeginAnew)
{
    std::string visited;
    visited.reserve(1000);
    const auto visit = [&] {
        visited.clear();
        Recorder recorder(visited);
        tree_->accept(recorder);
    };
    const std::string whole =
        "association proposal transform encryption length hash authentication group type duration ";
    EXPECT_LT(0, failEachAllocation(visit, [&] { EXPECT_EQ(whole.substr(0, visited.size()), visited); }));
    EXPECT_EQ(whole, visited);
}

TEST_F(PayloadMemory, IsNotNeededToTakeAChildOutOrToLookAtOne)
{
    std::vector<Operation> operations;
    for (const PayloadPtr& composite : {tree_, proposal_, transform_}) {
        operations.push_back({"getChild", [&composite = *composite] { composite.getChild(0); }});
        operations.push_back(
            {"getNumberOfChildren", [&composite = *composite] { composite.getNumberOfChildren(); }});
        operations.push_back({"remove", [&composite = *composite, child = composite->getChild(0)] {
                                  composite.remove(child);
                              }});
    }
    expectNoAllocation(operations);
    EXPECT_EQ(0U, tree_->getNumberOfChildren());
    EXPECT_EQ(0U, proposal_->getNumberOfChildren());
    EXPECT_EQ(6U, transform_->getNumberOfChildren());
}

// Factories

struct Factory {
    const char* name;
    PayloadPtr (*create)();
    std::string text;
};

const auto ENCRYPTION = EncryptionAlgorithm::AES;
const auto HASH = HashAlgorithm::SHA256;
const auto PSK = AuthenticationMethod::PSK;
const auto GROUP = GroupDescription::G14;
const auto SECOND = LifeType::SECOND;

const std::string ALL = attributesWith(LONG);
const std::string WITHOUT_KEY =
    "EncryptionAlgorithm: value: AES\nKeyLength: value: 256\nHashAlgorithm: value: SHA256\n"
    "GroupDescription: value: Group14\nLifeType: value: SECOND\nLifeDuration: value: 28800\n";
const std::string WITHOUT_GROUP =
    "EncryptionAlgorithm: value: AES\nKeyLength: value: 256\nHashAlgorithm: value: SHA256\n"
    "LifeType: value: SECOND\nLifeDuration: value: 28800\n";

const Factory FACTORIES[] = {
    {"association", [] { return createSecurityAssociation(); }, "SecurityAssociation: \n"},
    {"proposal", [] { return createProposal(); }, "proposalID: 0\n"},
    {"transform", [] { return createTransform(); }, "transformID: 0\n"},
    {"association of all",
     [] { return createSecurityAssociation(ENCRYPTION, 256, HASH, PSK, LONG, GROUP, SECOND, 28800); },
     "SecurityAssociation: \nproposalID: 0\ntransformID: 0\n" + ALL + "\n\n"},
    {"association without a key",
     [] { return createSecurityAssociation(ENCRYPTION, 256, HASH, GROUP, SECOND, 28800); },
     "SecurityAssociation: \nproposalID: 0\ntransformID: 0\n" + WITHOUT_KEY + "\n\n"},
    {"association without a group",
     [] { return createSecurityAssociation(ENCRYPTION, 256, HASH, SECOND, 28800); },
     "SecurityAssociation: \nproposalID: 0\ntransformID: 0\n" + WITHOUT_GROUP + "\n\n"},
    {"proposal of all", [] { return createProposal(ENCRYPTION, 256, HASH, PSK, LONG, GROUP, SECOND, 28800); },
     "proposalID: 0\ntransformID: 0\n" + ALL + "\n"},
    {"proposal without a key", [] { return createProposal(ENCRYPTION, 256, HASH, GROUP, SECOND, 28800); },
     "proposalID: 0\ntransformID: 0\n" + WITHOUT_KEY + "\n"},
    {"proposal without a group", [] { return createProposal(ENCRYPTION, 256, HASH, SECOND, 28800); },
     "proposalID: 0\ntransformID: 0\n" + WITHOUT_GROUP + "\n"},
    {"transform of all",
     [] { return createTransform(ENCRYPTION, 256, HASH, PSK, LONG, GROUP, SECOND, 28800); },
     "transformID: 0\n" + ALL},
    {"transform without a key", [] { return createTransform(ENCRYPTION, 256, HASH, GROUP, SECOND, 28800); },
     "transformID: 0\n" + WITHOUT_KEY},
    {"transform without a group", [] { return createTransform(ENCRYPTION, 256, HASH, SECOND, 28800); },
     "transformID: 0\n" + WITHOUT_GROUP},
    {"encryption", [] { return createEncryptionAlgorithm(ENCRYPTION); }, "EncryptionAlgorithm: value: AES"},
    {"key length", [] { return createKeyLength(256); }, "KeyLength: value: 256"},
    {"hash", [] { return createHashAlgorithm(HASH); }, "HashAlgorithm: value: SHA256"},
    {"authentication", [] { return createAuthenticationMethod(PSK, LONG); },
     "AuthenticationMethod: value: PSK: data: " + LONG},
    {"group", [] { return createGroupDescription(GROUP); }, "GroupDescription: value: Group14"},
    {"life type", [] { return createLifeType(SECOND); }, "LifeType: value: SECOND"},
    {"life duration", [] { return createLifeDuration(28800); }, "LifeDuration: value: 28800"},
};

TEST(FactoryMemory, ThatRunsOutLeavesNothingOfATreeBehind)
{
    for (const Factory& factory : FACTORIES) {
        SCOPED_TRACE(factory.name);
        PayloadPtr tree;
        EXPECT_LT(0, failEachAllocation([&] { tree = factory.create(); }, [&] { EXPECT_EQ(nullptr, tree); }));
        EXPECT_EQ(factory.text, tree->to_string());
    }
}

// Builders

template <class Kind>
PayloadBuilderPtr make()
{
    return std::make_shared<Kind>();
}

struct Builder {
    const char* name;
    PayloadBuilderPtr (*create)();
    const char* heading; // of a tree, up to its transform
    const char* ending;
};

const Builder BUILDERS[] = {
    {"SecurityAssociationBuilder", make<SecurityAssociationBuilder>,
     "SecurityAssociation: \nproposalID: 0\ntransformID: 0\n", "\n\n"},
    {"ProposalBuilder", make<ProposalBuilder>, "proposalID: 0\ntransformID: 0\n", "\n"},
    {"TransformBuilder", make<TransformBuilder>, "transformID: 0\n", ""},
};

void buildAll(PayloadDirector& director)
{
    director.construct(ENCRYPTION, 256, HASH, PSK, LONG, GROUP, SECOND, 28800);
}

TEST(BuilderMemory, ThatRunsOutLeavesTheBuilderWithWhatEarlierRunsBuilt)
{
    for (const Builder& row : BUILDERS) {
        const PayloadBuilderPtr builder = row.create();
        PayloadDirector director(builder);
        buildAll(director);
        const std::string whole = row.heading + ALL + row.ending;
        // What the builder holds shows once it is put together anew; then it holds a new tree of the same kind.
        const auto assembled = [&] {
            builder->buildSecurityAssociation();
            builder->buildProposal();
            builder->buildTransform();
            builder->addProposalToSecurityAsscosiation();
            builder->addTransformToProposal();
            builder->addAttributesToTransform();
            return builder->getResult()->to_string();
        };
        const std::vector<Operation> operations = {
            {"buildTransform", [&] { builder->buildTransform(); }},
            {"buildEncryptionAlgorithm", [&] { builder->buildEncryptionAlgorithm(ENCRYPTION); }},
            {"buildKeyLength", [&] { builder->buildKeyLength(256); }},
            {"buildHashAlgorithm", [&] { builder->buildHashAlgorithm(HASH); }},
            {"buildAuthenticationMethod", [&] { builder->buildAuthenticationMethod(PSK, LONG); }},
            {"buildGroupDescription", [&] { builder->buildGroupDescription(GROUP); }},
            {"buildLifeType", [&] { builder->buildLifeType(SECOND); }},
            {"buildLifeDuration", [&] { builder->buildLifeDuration(28800); }},
            {"addAttributesToTransform", [&] { builder->addAttributesToTransform(); }},
        };
        SCOPED_TRACE(row.name);
        expectUnchangedByFailures(operations, assembled);
        EXPECT_EQ(whole, assembled());
    }
}

TEST(BuilderMemory, ThatRunsOutKeepsWhatABuilderHasLinked)
{
    SecurityAssociationBuilder builder;
    builder.buildSecurityAssociation();
    builder.buildProposal();
    builder.buildTransform();
    const PayloadPtr association = builder.getResult();
    expectUnchangedByFailures(
        {{"addProposalToSecurityAsscosiation", [&] { builder.addProposalToSecurityAsscosiation(); }},
         {"addTransformToProposal", [&] { builder.addTransformToProposal(); }},
         {"buildSecurityAssociation", [&] { builder.buildSecurityAssociation(); }},
         {"buildProposal", [&] { builder.buildProposal(); }}},
        [&] { return association->to_string(); });
    EXPECT_EQ("SecurityAssociation: \nproposalID: 0\ntransformID: 0\n\n\n", association->to_string());
    EXPECT_EQ("SecurityAssociation: \n", builder.getResult()->to_string());
}

TEST(BuilderMemory, ThatRunsOutHalfwayAddsTheFirstAttributesOnly)
{
    TransformBuilder builder;
    PayloadDirector director(std::shared_ptr<PayloadBuilder>(&builder, [](PayloadBuilder*) {}));
    buildAll(director);
    builder.buildTransform();
    std::size_t added = 0;
    EXPECT_EQ(7, failEachAllocation([&] { builder.addAttributesToTransform(); },
                                    [&] {
                                        const PayloadPtr transform = builder.getResult();
                                        const std::string text = transform->to_string();
                                        EXPECT_EQ(("transformID: 0\n" + ALL).substr(0, text.size()), text);
                                        EXPECT_EQ(added++, transform->getNumberOfChildren());
                                        builder.buildTransform();
                                    }));
    EXPECT_EQ("transformID: 0\n" + ALL, builder.getResult()->to_string());
}

TEST(DirectorMemory, ThatRunsOutLeavesADirectorThatConstructsTheNextTree)
{
    for (const Builder& row : BUILDERS) {
        SCOPED_TRACE(row.name);
        PayloadDirector director(row.create());
        const std::function<PayloadPtr()> constructions[] = {
            [&] { return director.construct(); },
            [&] { return director.construct(ENCRYPTION, 256, HASH, PSK, LONG, GROUP, SECOND, 28800); },
            [&] { return director.construct(ENCRYPTION, 256, HASH, GROUP, SECOND, 28800); },
            [&] { return director.construct(ENCRYPTION, 256, HASH, SECOND, 28800); },
        };
        for (const auto& construct : constructions) {
            PayloadPtr tree;
            buildAll(director);
            EXPECT_LT(0, failEachAllocation([&] { tree = construct(); },
                                            [&] {
                                                EXPECT_EQ(nullptr, tree);
                                                buildAll(director);
                                            }));
            // What an earlier run built is added again, which only the bare skeleton does not show.
            const bool bare = &construct == constructions;
            EXPECT_EQ(row.heading + (bare ? std::string() : ALL) + row.ending, tree->to_string());
        }
    }
}

TEST(DirectorMemory, IsNeededForNothingBeyondItsBuilder)
{
    const PayloadBuilderPtr builder = std::make_shared<TransformBuilder>();
    expectNoAllocation({{"PayloadDirector", [&] { const PayloadDirector director(builder); }},
                        {"getResult", [&] { builder->getResult(); }}});
}

// Filter rules and certificates

TEST(FilterRuleMemory, ThatRunsOutLeavesTheRuleAsItWas)
{
    FilterRulePtr rule;
    EXPECT_LT(0, failEachAllocation([&] { rule = createFilterRule(); }, [&] { EXPECT_EQ(nullptr, rule); }));
    EXPECT_LT(2, failEachAllocation([&] { rule = createFilterRule(FilterRule::Use, LONG, OTHER); },
                                    [&] { EXPECT_EQ(FilterRule::FilterNone, rule->getFilterType()); }));
    rule->setSrcIdentity("a");
    rule->setDstIdentity("b");
    expectUnchangedByFailures(
        {
            {"setSrcIpAddress", [&] { rule->setSrcIpAddress(OTHER + LONG); }},
            {"setDstIpAddress", [&] { rule->setDstIpAddress(OTHER + LONG); }},
            {"setSrcIdentity", [&] { rule->setSrcIdentity(LONG); }},
            {"setDstIdentity", [&] { rule->setDstIdentity(LONG); }},
            {"getSrcIpAddress", [&] { rule->getSrcIpAddress(); }},
            {"getDstIpAddress", [&] { rule->getDstIpAddress(); }},
            {"getSrcIdentity", [&] { rule->getSrcIdentity(); }},
            {"getDstIdentity", [&] { rule->getDstIdentity(); }},
            {"operator<<", [&] { print(*rule); }},
        },
        [&] { return PrintToString(*rule); });
    expectNoAllocation({{"setFilterType", [&] { rule->setFilterType(FilterRule::Bypass); }},
                        {"setIdentityType", [&] { rule->setIdentityType(FilterRule::DN); }},
                        {"setPriority", [&] { rule->setPriority(99); }}});
    EXPECT_EQ("Contents of FilterRule:\n  Filter Type   : 1\n  Src IP Address: " + OTHER + LONG +
                  "\n  Dst IP Address: " + OTHER + LONG + "\n  Identity Type : 2\n  Src Identity  : " + LONG +
                  "\n  Dst Identity  : " + LONG + "\n  Priority      : 99\n",
              PrintToString(*rule));
}

TEST(FilterRuleMemory, ThatRunsOutForTheRefusalOfAPriorityKeepsThePriority)
{
    FilterRule rule;
    rule.setPriority(7);
    EXPECT_LT(0, failEach(
                     heap.failure,
                     [&] {
                         const std::string outcome = outcomeOf([&] { rule.setPriority(100); });
                         const Undisturbed undisturbed;
                         EXPECT_TRUE(outcome == "bad_alloc" || outcome == "Priority is invalid: value: 100");
                     },
                     [&](long) { EXPECT_EQ(7, rule.getPriority()); }));
}

TEST(CertificateMemory, ThatRunsOutLeavesTheCertificateAsItWas)
{
    CertificatePtr certificate;
    EXPECT_LT(0, failEachAllocation([&] { certificate = createCertificate(); },
                                    [&] { EXPECT_EQ(nullptr, certificate); }));
    EXPECT_LT(
        2, failEachAllocation([&] { certificate = createCertificate(Certificate::EndEntity, LONG, OTHER); },
                              [&] { EXPECT_EQ(Certificate::None, certificate->getKind()); }));
    expectUnchangedByFailures(
        {
            {"setCertFilePath", [&] { certificate->setCertFilePath(OTHER + LONG); }},
            {"setPkeyFilePath", [&] { certificate->setPkeyFilePath(OTHER + LONG); }},
            {"getCertFilePath", [&] { certificate->getCertFilePath(); }},
            {"getPkeyFilePath", [&] { certificate->getPkeyFilePath(); }},
            {"operator<<", [&] { print(*certificate); }},
        },
        [&] { return PrintToString(*certificate); });
    expectNoAllocation({{"setKind", [&] { certificate->setKind(Certificate::RootCA); }},
                        {"getKindName", [&] { certificate->getKindName(); }}});
    EXPECT_EQ("Contents of Certificate:\n  Filter Kind   : RootCA\n  Cert File Path: " + OTHER + LONG +
                  "\n  Pkey File Path: " + OTHER + LONG + "\n",
              PrintToString(*certificate));
}

// The policy store

class PolicyMemory : public ::testing::Test {
protected:
    PolicyMemory()
    {
        policy_.setPhase1SA(association_);
        policy_.setPhase2SA(association_);
        policy_.addFilter(held_);
        policy_.getNsName() = "red";
    }

    std::string state()
    {
        std::string text = policy_.getNsName() + (policy_.getPhase1SA() ? " phase 1" : "") +
                           (policy_.getPhase2SA() ? " phase 2" : "");
        for (const FilterRulePtr& rule : policy_.getFilterRules())
            text += "\n" + PrintToString(*rule);
        return text;
    }

    const PayloadPtr association_ = createSecurityAssociation();
    const FilterRulePtr held_ = createFilterRule(FilterRule::Use, LONG, OTHER);
    const FilterRulePtr added_ = createFilterRule(FilterRule::Use, OTHER, LONG);
    const FilterRulePtr twin_ = createFilterRule(FilterRule::Use, LONG, OTHER);
    const FilterRulePtr bypass_ = createFilterRule(FilterRule::Bypass, "a", "b");
    IPsecPolicy policy_;
    const IPsecPolicy& seen_ = policy_;
    std::string name_ = LONG;
};

TEST_F(PolicyMemory, ThatRunsOutLeavesThePolicyAsItWas)
{
    expectUnchangedByFailures(
        {
            {"addFilter", [this] { policy_.addFilter(added_); }},
            {"getFilterRules", [this] { policy_.getFilterRules(); }},
            {"getFilterRules const", [this] { seen_.getFilterRules(); }},
            {"setNsName", [this] { policy_.setNsName(name_); }},
            {"FilterFinder", [] { const FilterFinder finder(LONG, OTHER); }},
        },
        [this] { return state(); });
    EXPECT_EQ(LONG + " phase 1 phase 2\n" + PrintToString(*held_) + "\n" + PrintToString(*added_), state());
}

TEST_F(PolicyMemory, ThatRunsOutForARefusalAddsNoRule)
{
    const std::string before = state();
    const struct {
        const FilterRulePtr& rule;
        std::string refusal;
    } rows[] = {
        {twin_, "Detect duplicates of key: src addr: " + LONG + " :dst addr: " + OTHER},
        {bypass_, "Filter type is not 'Use'"},
    };
    for (const auto& row : rows) {
        std::string outcome;
        const long failures = failEach(
            heap.failure, [&] { outcome = outcomeOf([&] { policy_.addFilter(row.rule); }); },
            [&](long) {
                EXPECT_EQ("bad_alloc", outcome);
                EXPECT_EQ(before, state());
            });
        EXPECT_LT(0, failures);
        EXPECT_EQ(row.refusal, outcome);
        EXPECT_EQ(before, state());
    }
}

TEST_F(PolicyMemory, IsNotNeededToTakeARuleOutOrToSetAnAssociation)
{
    expectNoAllocation({
        {"IPsecPolicy", [] { const IPsecPolicy policy; }},
        {"getIPsecPolicy", [] { getIPsecPolicy(); }},
        {"deleteFilter", [this] { policy_.deleteFilter(held_); }},
        {"unsetPhase1SA", [this] { policy_.unsetPhase1SA(); }},
        {"setPhase1SA", [this] { policy_.setPhase1SA(association_); }},
        {"getPhase1SA", [this] { seen_.getPhase1SA(); }},
        {"unsetPhase2SA", [this] { policy_.unsetPhase2SA(); }},
        {"setPhase2SA", [this] { policy_.setPhase2SA(association_); }},
        {"getPhase2SA", [this] { seen_.getPhase2SA(); }},
        {"getNsName", [this] { seen_.getNsName(); }},
    });
    EXPECT_EQ("red phase 1 phase 2", state());
}

// Engine settings

class Settings : public SettingManager {
public:
    void getCommand(bool /*variant*/, std::string& /*command*/, std::string& /*option*/) override {}
    void getModuleCommand(bool /*variant*/, std::list<std::string>& /*modules*/,
                          std::list<std::string>& /*options*/) override
    {}
    void getPidFilePath(bool /*variant*/, std::string& /*path*/) override {}
    void writeSettingFile(const IPsecPolicy& /*policy*/, const FilterSet& /*filters*/,
                          const std::list<CertificatePtr>& /*certificates*/) override
    {}
    void getWatchdCommand(std::string& /*command*/, std::string& /*option*/) override {}
    void getWatchdPidFilePath(std::string& /*path*/) override {}
    void getNetConfCommand(std::string& /*command*/, std::string& /*option*/) override {}
};

TEST(SettingMemory, ThatRunsOutLeavesThePathAsItWas)
{
    Settings settings;
    settings.setSettingFilePath("/run/engine.conf");
    expectUnchangedByFailures({{"setSettingFilePath", [&] { settings.setSettingFilePath(LONG); }},
                               {"getSettingFilePath", [&] { settings.getSettingFilePath(); }}},
                              [&] { return settings.getSettingFilePath(); });
    EXPECT_EQ(LONG, settings.getSettingFilePath());
    auto& client = IPsecEngineControlClient::getInstance();
    expectNoAllocation({{"setFipsMode", [&] { client.setFipsMode(true); }}});
    expectUnchangedByFailures({{"setSettingFilePath", [&] { client.setSettingFilePath(LONG); }}},
                              [] { return std::string(); });
}

TEST(SettingMemory, ThatRunsOutLeavesTheFileUntilItIsDeleted)
{
    const std::string path = ::testing::TempDir() + "model-memory-setting-file-" + std::to_string(getpid());
    std::ofstream(path) << "settings";
    Settings settings;
    settings.setSettingFilePath(path);
    EXPECT_LT(0, failEachAllocation([&] { settings.deleteSettingFile(); },
                                    [&] { EXPECT_EQ(0, access(path.c_str(), F_OK)); }));
    EXPECT_NE(0, access(path.c_str(), F_OK));
}

// Utility

TEST(UtilityMemory, ThatRunsOutNeverHidesAPieceOfAText)
{
    const std::string text = LONG + ":" + OTHER + ":b";
    std::vector<std::string> pieces;
    EXPECT_LT(2, failEachAllocation([&] { pieces = split(text, ':'); },
                                    [&] { EXPECT_EQ(std::vector<std::string>(), pieces); }));
    EXPECT_EQ((std::vector<std::string>{LONG, OTHER, "b"}), pieces);
}

TEST(UtilityMemory, ThatRunsOutKeepsThePiecesThatWereThere)
{
    std::vector<std::string> pieces = {"first"};
    const auto check = [&] {
        ASSERT_FALSE(pieces.empty());
        EXPECT_EQ("first", pieces.front());
        EXPECT_GE(3U, pieces.size());
        EXPECT_TRUE(pieces.size() == 1 || pieces[1] == LONG);
        std::vector<std::string>{"first"}.swap(pieces);
    };
    EXPECT_LT(2, failEachAllocation([&] { split(LONG + ":" + OTHER, ':', pieces); }, check));
    EXPECT_EQ((std::vector<std::string>{"first", LONG, OTHER}), pieces);
}

// Another file would be taken in its place.
TEST(UtilityMemory, ThatRunsOutNeverMakesAFileLookLikeNotThere)
{
    const std::string folder = ::testing::TempDir() + "model-memory-a-folder-of-the-path";
    const std::string program = folder + "/program";
    const std::string path = std::getenv("PATH");
    std::system(("mkdir -p " + folder + " && touch " + program + " && chmod +x " + program).c_str());
    setenv("PATH", ("/a/folder/that/is/not/there/at/all:" + folder).c_str(), 1);
    std::string found;
    EXPECT_LT(3, failEachAllocation([&] { found = findExecPath("program"); }, [&] { EXPECT_EQ("", found); }));
    EXPECT_EQ(program, found);
    setenv("PATH", path.c_str(), 1);
    unlink(program.c_str());
    rmdir(folder.c_str());
}

} // namespace
} // namespace tests
