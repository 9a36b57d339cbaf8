// Builders, their director, and the factories.

#include "Exceptions.h"
#include "PayloadBuilder.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;

const char* const ALL_ATTRIBUTES =
    "EncryptionAlgorithm: value: 3DES\nKeyLength: value: 192\nHashAlgorithm: value: SHA384\n"
    "AuthenticationMethod: value: RSA_SIG: data: key\nGroupDescription: value: Group19\n"
    "LifeType: value: SECOND\nLifeDuration: value: 3600\n";
const char* const WITHOUT_AUTHENTICATION =
    "EncryptionAlgorithm: value: 3DES\nKeyLength: value: 192\nHashAlgorithm: value: SHA384\n"
    "GroupDescription: value: Group19\nLifeType: value: SECOND\nLifeDuration: value: 3600\n";
const char* const WITHOUT_GROUP =
    "EncryptionAlgorithm: value: 3DES\nKeyLength: value: 192\nHashAlgorithm: value: SHA384\n"
    "LifeType: value: SECOND\nLifeDuration: value: 3600\n";

std::string transformOf(const std::string& attributes)
{
    return "transformID: 0\n" + attributes;
}

std::string proposalOf(const std::string& attributes)
{
    return "proposalID: 0\n" + transformOf(attributes) + "\n";
}

std::string associationOf(const std::string& attributes)
{
    return "SecurityAssociation: \n" + proposalOf(attributes) + "\n";
}

// Each builder, and what a tree of these attributes looks like at its root.
struct Builder {
    const char* name;
    PayloadBuilderPtr (*create)();
    std::string (*treeOf)(const std::string& attributes);
};

template <class Kind>
PayloadBuilderPtr make()
{
    return std::make_shared<Kind>();
}

const Builder BUILDERS[] = {
    {"SecurityAssociationBuilder", make<SecurityAssociationBuilder>, associationOf},
    {"ProposalBuilder", make<ProposalBuilder>, proposalOf},
    {"TransformBuilder", make<TransformBuilder>, transformOf},
};

PayloadPtr constructAll(PayloadDirector& director)
{
    return director.construct(EncryptionAlgorithm::DES3, 192, HashAlgorithm::SHA384,
                              AuthenticationMethod::RSA_SIG, "key", GroupDescription::G19, LifeType::SECOND,
                              3600);
}

PayloadPtr constructWithoutAuthentication(PayloadDirector& director)
{
    return director.construct(EncryptionAlgorithm::DES3, 192, HashAlgorithm::SHA384, GroupDescription::G19,
                              LifeType::SECOND, 3600);
}

PayloadPtr constructWithoutGroup(PayloadDirector& director)
{
    return director.construct(EncryptionAlgorithm::DES3, 192, HashAlgorithm::SHA384, LifeType::SECOND, 3600);
}

TEST(PayloadDirector, BuildsTheBareSkeletonWithoutParameters)
{
    for (const Builder& builder : BUILDERS)
        EXPECT_EQ(builder.treeOf(""), PayloadDirector(builder.create()).construct()->to_string())
            << builder.name;
}

TEST(PayloadDirector, BuildsTheAttributesItIsGivenInTheFixedOrder)
{
    for (const Builder& builder : BUILDERS) {
        PayloadDirector all(builder.create());
        PayloadDirector withoutAuthentication(builder.create());
        PayloadDirector withoutGroup(builder.create());
        EXPECT_EQ(builder.treeOf(ALL_ATTRIBUTES), constructAll(all)->to_string()) << builder.name;
        EXPECT_EQ(builder.treeOf(WITHOUT_AUTHENTICATION),
                  constructWithoutAuthentication(withoutAuthentication)->to_string())
            << builder.name;
        EXPECT_EQ(builder.treeOf(WITHOUT_GROUP), constructWithoutGroup(withoutGroup)->to_string())
            << builder.name;
    }
}

TEST(PayloadDirector, AddsWhatABuilderKeptFromAnEarlierRun)
{
    for (const Builder& builder : BUILDERS) {
        PayloadDirector director(builder.create());
        const PayloadPtr first = constructAll(director);
        // The order is the builder's, so the old authentication method and group stand in their places.
        EXPECT_EQ(builder.treeOf(ALL_ATTRIBUTES), constructWithoutGroup(director)->to_string())
            << builder.name;
        EXPECT_EQ(builder.treeOf(ALL_ATTRIBUTES), first->to_string()) << builder.name;
        EXPECT_EQ(builder.treeOf(""), director.construct()->to_string()) << builder.name;
    }
}

TEST(PayloadDirector, SharesTheBuilderWithItsCaller)
{
    const PayloadBuilderPtr builder = std::make_shared<TransformBuilder>();
    {
        PayloadDirector director(builder);
        EXPECT_EQ(2, builder.use_count());
        const PayloadPtr constructed = director.construct();
        EXPECT_EQ(constructed, builder->getResult());
    }
    EXPECT_EQ(1, builder.use_count());
}

// Writes down which steps it is asked for.
class RecordingBuilder : public PayloadBuilder {
public:
    void buildSecurityAssociation() override { steps += "sa "; }
    void buildProposal() override { steps += "prop "; }
    void buildTransform() override { steps += "trans "; }
    void buildEncryptionAlgorithm(EncryptionAlgorithm::Type val) override
    {
        steps += "ea" + std::to_string(val) + " ";
    }
    void buildKeyLength(int val) override { steps += "kl" + std::to_string(val) + " "; }
    void buildHashAlgorithm(HashAlgorithm::Type val) override { steps += "ha" + std::to_string(val) + " "; }
    void buildAuthenticationMethod(AuthenticationMethod::Type val, const std::string& data) override
    {
        steps += "am" + std::to_string(val) + data + " ";
    }
    void buildGroupDescription(GroupDescription::Type val) override
    {
        steps += "gd" + std::to_string(val) + " ";
    }
    void buildLifeType(LifeType::Type val) override { steps += "lt" + std::to_string(val) + " "; }
    void buildLifeDuration(int val) override { steps += "ld" + std::to_string(val) + " "; }
    void addProposalToSecurityAsscosiation() override { steps += "+prop "; }
    void addTransformToProposal() override { steps += "+trans "; }
    void addAttributesToTransform() override { steps += "+attributes "; }
    PayloadPtr getResult() override
    {
        steps += "result";
        return result;
    }

    std::string steps;
    PayloadPtr result = createKeyLength(1);
};

TEST(PayloadDirector, TakesTheStepsInOrderAndReturnsTheBuildersResult)
{
    const struct {
        std::function<PayloadPtr(PayloadDirector&)> construct;
        const char* steps;
    } rows[] = {
        {[](PayloadDirector& director) { return director.construct(); }, "sa prop trans +prop +trans result"},
        {constructAll, "sa prop trans ea1 kl192 ha2 am1key gd2 lt0 ld3600 +prop +trans +attributes result"},
        {constructWithoutAuthentication,
         "sa prop trans ea1 kl192 ha2 gd2 lt0 ld3600 +prop +trans +attributes result"},
        {constructWithoutGroup, "sa prop trans ea1 kl192 ha2 lt0 ld3600 +prop +trans +attributes result"},
    };
    for (const auto& row : rows) {
        const auto builder = std::make_shared<RecordingBuilder>();
        PayloadDirector director(builder);
        EXPECT_EQ(builder->result, row.construct(director));
        EXPECT_EQ(row.steps, builder->steps);
    }
}

TEST(PayloadBuilder, HasNoResultBeforeItsRootIsBuilt)
{
    for (const Builder& builder : BUILDERS)
        EXPECT_EQ(nullptr, builder.create()->getResult()) << builder.name;
}

TEST(PayloadBuilder, IgnoresPartsThatItDoesNotHave)
{
    ProposalBuilder proposal;
    proposal.buildSecurityAssociation();
    proposal.addProposalToSecurityAsscosiation();
    EXPECT_EQ(nullptr, proposal.getResult());

    TransformBuilder transform;
    transform.buildSecurityAssociation();
    transform.buildProposal();
    transform.addProposalToSecurityAsscosiation();
    transform.addTransformToProposal();
    EXPECT_EQ(nullptr, transform.getResult());
    transform.buildTransform();
    transform.addTransformToProposal();
    EXPECT_EQ("transformID: 0\n", transform.getResult()->to_string());
}

TEST(PayloadBuilder, NamesThePartThatIsMissingInALink)
{
    SecurityAssociationBuilder association;
    EXPECT_EQ("SecurityAssociation is null",
              textThrownBy<std::logic_error>([&] { association.addProposalToSecurityAsscosiation(); }));
    association.buildSecurityAssociation();
    EXPECT_EQ("Proposal is null",
              textThrownBy<std::logic_error>([&] { association.addProposalToSecurityAsscosiation(); }));
    EXPECT_EQ("SecurityAssociation: \n", association.getResult()->to_string());

    SecurityAssociationBuilder fresh;
    fresh.buildProposal();
    EXPECT_EQ("SecurityAssociation is null",
              textThrownBy<std::logic_error>([&] { fresh.addProposalToSecurityAsscosiation(); }));

    for (const PayloadBuilderPtr& builder : {make<SecurityAssociationBuilder>(), make<ProposalBuilder>()}) {
        EXPECT_EQ("Proposal is null",
                  textThrownBy<std::logic_error>([&] { builder->addTransformToProposal(); }));
        builder->buildTransform();
        EXPECT_EQ("Proposal is null",
                  textThrownBy<std::logic_error>([&] { builder->addTransformToProposal(); }));
    }
    for (const PayloadBuilderPtr& builder : {make<SecurityAssociationBuilder>(), make<ProposalBuilder>()}) {
        builder->buildProposal();
        EXPECT_EQ("Transform is null",
                  textThrownBy<std::logic_error>([&] { builder->addTransformToProposal(); }));
    }
}

TEST(PayloadBuilder, NeedsATransformForAttributesEvenWithoutAny)
{
    for (const Builder& builder : BUILDERS) {
        const PayloadBuilderPtr fresh = builder.create();
        EXPECT_EQ("Transform is null",
                  textThrownBy<std::logic_error>([&] { fresh->addAttributesToTransform(); }))
            << builder.name;
        fresh->buildKeyLength(1);
        EXPECT_EQ("Transform is null",
                  textThrownBy<std::logic_error>([&] { fresh->addAttributesToTransform(); }))
            << builder.name;
    }
}

TEST(PayloadBuilder, AddsOnlyTheAttributesThatWereBuilt)
{
    for (const Builder& builder : BUILDERS) {
        const PayloadBuilderPtr partial = builder.create();
        partial->buildSecurityAssociation();
        partial->buildProposal();
        partial->buildTransform();
        partial->buildLifeDuration(5);
        partial->buildHashAlgorithm(HashAlgorithm::AES_GCM);
        partial->addProposalToSecurityAsscosiation();
        partial->addTransformToProposal();
        partial->addAttributesToTransform();
        EXPECT_EQ(builder.treeOf("HashAlgorithm: value: AES-GCM\nLifeDuration: value: 5\n"),
                  partial->getResult()->to_string())
            << builder.name;
    }
}

TEST(PayloadBuilder, ReplacesAPartThatIsBuiltAgain)
{
    TransformBuilder builder;
    builder.buildTransform();
    const PayloadPtr first = builder.getResult();
    builder.buildTransform();
    EXPECT_NE(first, builder.getResult());
    builder.buildKeyLength(1);
    builder.buildKeyLength(2);
    builder.addAttributesToTransform();
    EXPECT_EQ("transformID: 0\nKeyLength: value: 2\n", builder.getResult()->to_string());
}

TEST(Factories, CreateEmptyComposites)
{
    EXPECT_EQ("SecurityAssociation: \n", createSecurityAssociation()->to_string());
    EXPECT_EQ("proposalID: 0\n", createProposal()->to_string());
    EXPECT_EQ("transformID: 0\n", createTransform()->to_string());
}

TEST(Factories, CreateTheSameTreesAsTheDirector)
{
    const auto ea = EncryptionAlgorithm::DES3;
    const auto ha = HashAlgorithm::SHA384;
    const auto am = AuthenticationMethod::RSA_SIG;
    const auto gd = GroupDescription::G19;
    const auto lt = LifeType::SECOND;
    EXPECT_EQ(associationOf(ALL_ATTRIBUTES),
              createSecurityAssociation(ea, 192, ha, am, "key", gd, lt, 3600)->to_string());
    EXPECT_EQ(associationOf(WITHOUT_AUTHENTICATION),
              createSecurityAssociation(ea, 192, ha, gd, lt, 3600)->to_string());
    EXPECT_EQ(associationOf(WITHOUT_GROUP), createSecurityAssociation(ea, 192, ha, lt, 3600)->to_string());
    EXPECT_EQ(proposalOf(ALL_ATTRIBUTES), createProposal(ea, 192, ha, am, "key", gd, lt, 3600)->to_string());
    EXPECT_EQ(proposalOf(WITHOUT_AUTHENTICATION), createProposal(ea, 192, ha, gd, lt, 3600)->to_string());
    EXPECT_EQ(proposalOf(WITHOUT_GROUP), createProposal(ea, 192, ha, lt, 3600)->to_string());
    EXPECT_EQ(transformOf(ALL_ATTRIBUTES),
              createTransform(ea, 192, ha, am, "key", gd, lt, 3600)->to_string());
    EXPECT_EQ(transformOf(WITHOUT_AUTHENTICATION), createTransform(ea, 192, ha, gd, lt, 3600)->to_string());
    EXPECT_EQ(transformOf(WITHOUT_GROUP), createTransform(ea, 192, ha, lt, 3600)->to_string());
}

TEST(Factories, StartAfreshWithEveryCall)
{
    const PayloadPtr first =
        createTransform(EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA1, AuthenticationMethod::PSK, "k",
                        GroupDescription::G14, LifeType::SECOND, 1);
    EXPECT_EQ(1, first.use_count());
    EXPECT_EQ(5U, createTransform(EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA1, LifeType::SECOND, 1)
                      ->getNumberOfChildren());
}

TEST(Factories, CreateSingleAttributesWithTheirValues)
{
    EXPECT_EQ("EncryptionAlgorithm: value: AES-GCM",
              createEncryptionAlgorithm(EncryptionAlgorithm::AES_GCM)->to_string());
    EXPECT_EQ("KeyLength: value: -3", createKeyLength(-3)->to_string());
    EXPECT_EQ("HashAlgorithm: value: SHA512", createHashAlgorithm(HashAlgorithm::SHA512)->to_string());
    EXPECT_EQ("AuthenticationMethod: value: PSK: data: d",
              createAuthenticationMethod(AuthenticationMethod::PSK, "d")->to_string());
    EXPECT_EQ("GroupDescription: value: Group20", createGroupDescription(GroupDescription::G20)->to_string());
    EXPECT_EQ("LifeType: value: SECOND", createLifeType(LifeType::SECOND)->to_string());
    EXPECT_EQ("LifeDuration: value: 9", createLifeDuration(9)->to_string());
}

} // namespace
} // namespace tests
