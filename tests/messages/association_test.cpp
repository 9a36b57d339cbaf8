// The security association message and the visitor that writes attributes.

#include "Growth.h"
#include "MessageTest.h"

#include "CParser.h"
#include "PayloadBuilder.h"

#include <iomanip>
#include <sstream>

namespace tests {
namespace {

class AssociationMessage : public MessageTest {
protected:
    /// An association with one proposal (number 1) whose transforms carry one key length each, numbered
    /// from 1.
    static PayloadPtr associationWith(const std::vector<int>& keyLengths)
    {
        PayloadPtr association = createSecurityAssociation();
        const auto proposal = std::static_pointer_cast<Proposal>(createProposal());
        proposal->setId(1);
        association->add(proposal);
        int id = 0;
        for (const int keyLength : keyLengths) {
            const auto transform = std::static_pointer_cast<Transform>(createTransform());
            transform->setId(++id);
            transform->add(createKeyLength(keyLength));
            proposal->add(transform);
        }
        return association;
    }

    static PayloadPtr authenticatedBy(const std::string& data)
    {
        return createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                         AuthenticationMethod::PSK, data, GroupDescription::G14,
                                         LifeType::SECOND, 60);
    }
};

TEST_F(AssociationMessage, IsOneStructureATransformPhase1First)
{
    run(SecurityAssociationSerializer(associationWith({128, 256}), associationWith({192})));
    EXPECT_EQ("{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\nkey-length 3 128\n}\n"
              "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 2\nkey-length 3 256\n}\n"
              "{\ntable-id 3 1\nphase-id 3 2\nproposal-id 3 1\ntransform-id 3 1\nkey-length 3 192\n}\n",
              written());
}

TEST_F(AssociationMessage, CarriesEveryAttributeInTheTransformsOrder)
{
    const PayloadPtr phase1 = createSecurityAssociation(EncryptionAlgorithm::AES_GCM, 192,
                                                        HashAlgorithm::SHA512, AuthenticationMethod::RSA_SIG,
                                                        "AB", GroupDescription::G20, LifeType::SECOND, 28800);
    const PayloadPtr phase2 = createSecurityAssociation();
    const PayloadPtr proposal = createProposal();
    const PayloadPtr transform = createTransform();
    transform->add(createLifeDuration(-5));
    transform->add(createEncryptionAlgorithm(EncryptionAlgorithm::DES3));
    proposal->add(transform);
    phase2->add(proposal);

    run(SecurityAssociationSerializer(phase1, phase2));
    EXPECT_EQ("{\n"
              "table-id 3 1\n"
              "phase-id 3 1\n"
              "proposal-id 3 0\n"
              "transform-id 3 0\n"
              "enc-algo 3 2\n"
              "key-length 3 192\n"
              "hash-algo 3 3\n"
              "auth-method [1] 1|0x4142\n"
              "group-dsc 3 3\n"
              "life-type 3 0\n"
              "life-duration 3 28800\n"
              "}\n"
              "{\ntable-id 3 1\nphase-id 3 2\nproposal-id 3 0\ntransform-id 3 0\nlife-duration 3 "
              "-5\nenc-algo 3 1\n}\n",
              written());
}

TEST_F(AssociationMessage, WritesNothingForEmptyAssociationsAndProposals)
{
    const PayloadPtr withEmptyProposal = createSecurityAssociation();
    withEmptyProposal->add(createProposal());
    run(SecurityAssociationSerializer(createSecurityAssociation(), withEmptyProposal));
    EXPECT_EQ("", written());
}

TEST_F(AssociationMessage, WritesAuthenticationDataAsHexOfTheSignedByteWithoutPadding)
{
    const struct {
        std::string data;
        const char* text;
    } rows[] = {{"", "0x"},
                {"AB", "0x4142"},
                {std::string("\x05", 1), "0x5"},
                {std::string("\xE9", 1), "0xffffffe9"},
                {std::string("\x80\xFF", 2), "0xffffff80ffffffff"},
                {std::string("\0", 1), "0x0"},
                {std::string("\x0F\x10\x7F", 3), "0xf107f"},
                {"secret key", "0x736563726574206b6579"}};
    for (const auto& row : rows) {
        array_ = std::make_unique<CArrayParser>();
        run(SecurityAssociationSerializer(authenticatedBy(row.data), createSecurityAssociation()));
        EXPECT_NE(std::string::npos, written().find(std::string("auth-method [1] 0|") + row.text + "\n"))
            << row.text << '\n'
            << written();
    }
}

TEST_F(AssociationMessage, PassesEveryExceptionUnchangedAndKeepsWhatItAppended)
{
    using memory_platform::state;
    const SecurityAssociationSerializer serializer(associationWith({128}), associationWith({256}));

    state().hooks.createParser = throwingAt(2, std::bad_alloc());
    EXPECT_THROW(run(SecurityAssociationSerializer(serializer)), std::bad_alloc);
    EXPECT_EQ("{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\nkey-length 3 128\n}\n",
              written());

    array_ = std::make_unique<CArrayParser>();
    state().hooks = memory_platform::Hooks();
    state().hooks.addMember = throwingAt(4, 5);
    EXPECT_THROW(run(SecurityAssociationSerializer(serializer)), int);
    EXPECT_EQ("{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\n}\n", written());
}

TEST_F(AssociationMessage, IsReadBackAsItWas)
{
    run(SecurityAssociationSerializer(associationWith({128, 256}), authenticatedBy("AB")));
    SecurityAssociationDeserializer associations;
    run(associations);

    std::ostringstream phase1;
    phase1 << *associations.getPhase1SA();
    EXPECT_EQ(
        "SecurityAssociation: \nproposalID: 1\ntransformID: 1\nKeyLength: value: 128\n\ntransformID: 2\n"
        "KeyLength: value: 256\n\n\n",
        phase1.str());
    EXPECT_EQ("SecurityAssociation: \nproposalID: 0\ntransformID: 0\nEncryptionAlgorithm: value: AES\n"
              "KeyLength: value: 256\nHashAlgorithm: value: SHA256\n"
              "AuthenticationMethod: value: PSK: data: AB\nGroupDescription: value: Group14\nLifeType: "
              "value: SECOND\n"
              "LifeDuration: value: 60\n\n\n",
              associations.getPhase2SA()->to_string());
}

TEST_F(AssociationMessage, GathersTransformsUnderProposalsOfTheSameNumber)
{
    const auto associations = read<SecurityAssociationDeserializer>(
        "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\n}\n"
        "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 2\ntransform-id 3 1\n}\n"
        "{\ntable-id 3 1\nphase-id 3 2\nproposal-id 3 1\ntransform-id 3 9\n}\n"
        "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\n}\n");
    EXPECT_EQ("SecurityAssociation: \nproposalID: 1\ntransformID: 1\n\ntransformID: 1\n\n\nproposalID: 2\n"
              "transformID: 1\n\n\n",
              associations.getPhase1SA()->to_string());
    EXPECT_EQ("SecurityAssociation: \nproposalID: 1\ntransformID: 9\n\n\n",
              associations.getPhase2SA()->to_string());
}

TEST_F(AssociationMessage, LeavesAPhaseNullThatTheArrayDoesNotHold)
{
    const auto none = read<SecurityAssociationDeserializer>("{\ntable-id 3 2\nphase-id 3 1\n}\n");
    EXPECT_EQ(nullptr, none.getPhase1SA());
    EXPECT_EQ(nullptr, none.getPhase2SA());

    array_ = std::make_unique<CArrayParser>();
    const auto second = read<SecurityAssociationDeserializer>("{\ntable-id 3 1\nphase-id 3 2\n}\n");
    EXPECT_EQ(nullptr, second.getPhase1SA());
    EXPECT_EQ(0U, second.getPhase2SA()->getNumberOfChildren());
}

TEST_F(AssociationMessage, GoesOnWithTheCurrentAssociationAtAnotherPhaseNumber)
{
    const auto associations = read<SecurityAssociationDeserializer>(
        "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\n}\n"
        "{\ntable-id 3 1\nphase-id 3 3\nproposal-id 3 2\ntransform-id 3 5\n}\n");
    EXPECT_EQ("SecurityAssociation: \nproposalID: 1\ntransformID: 1\n\n\nproposalID: 2\ntransformID: 5\n\n\n",
              associations.getPhase1SA()->to_string());
    EXPECT_EQ(nullptr, associations.getPhase2SA());
}

TEST_F(AssociationMessage, CarriesTheCurrentNodesOverFromStructureToStructure)
{
    const auto associations = read<SecurityAssociationDeserializer>(
        "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\n}\n"
        "{\ntable-id 3 1\nkey-length 3 128\n}\n"
        "{\ntable-id 3 1\ntransform-id 3 2\n}\n");
    EXPECT_EQ(
        "SecurityAssociation: \nproposalID: 1\ntransformID: 1\nKeyLength: value: 128\n\ntransformID: 2\n\n\n",
        associations.getPhase1SA()->to_string());
}

TEST_F(AssociationMessage, PassesOnEnumeratedValuesAsRead)
{
    const auto associations = read<SecurityAssociationDeserializer>(
        "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\nenc-algo 3 77\nhash-algo 3 -1\n"
        "auth-method [1] 9|0x41\ngroup-dsc 3 4\nlife-type 3 1\nlife-duration 3 -7\n}\n");
    const PayloadPtr transform = associations.getPhase1SA()->getChild(0)->getChild(0);
    std::vector<int> values;
    for (const PayloadPtr& attribute : transform->getChildren())
        values.push_back(dynamic_cast<const Attribute&>(*attribute).getValue());
    EXPECT_EQ((std::vector<int>{77, -1, 9, 4, 1, -7}), values);
}

TEST_F(AssociationMessage, ReadsAuthenticationDataTwoDigitsAtATime)
{
    const struct {
        const char* text;
        std::string data;
    } rows[] = {{"0x4142", "AB"},
                {"0x", ""},
                {"0x5", std::string("\x05", 1)},
                {"0x415", std::string("A\x05", 2)},
                {"0xffffffe9", std::string("\xff\xff\xff\xe9", 4)},
                {"0xE9e9", std::string("\xE9\xE9", 2)},
                {"..4142", "AB"},
                {"", ""},
                {"4", ""}};
    for (const auto& row : rows) {
        array_ = std::make_unique<CArrayParser>();
        const auto associations = read<SecurityAssociationDeserializer>(
            std::string(
                "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\nauth-method [1] 0|") +
            row.text + "\n}\n");
        const PayloadPtr method = associations.getPhase1SA()->getChild(0)->getChild(0)->getChild(0);
        EXPECT_EQ(row.data, dynamic_cast<const AuthenticationMethod&>(*method).getData()) << row.text;
    }
}

TEST_F(AssociationMessage, RefusesNumbersThatAreNone)
{
    const char* const members[] = {
        "phase-id 3 x",
        "phase-id 3 1\nproposal-id 3 x",
        "phase-id 3 1\nproposal-id 3 1\ntransform-id 3 x",
        "phase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\nenc-algo 3 ",
        "phase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\nauth-method [1] x|0x41",
        "phase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\nauth-method [1] 0|0x41zz"};
    for (const char* const text : members) {
        array_ = std::make_unique<CArrayParser>();
        EXPECT_EQ("stoi", textThrownBy<std::invalid_argument>([&] {
                      read<SecurityAssociationDeserializer>(std::string("{\ntable-id 3 1\n") + text +
                                                            "\n}\n");
                  }))
            << text;
    }
}

TEST_F(AssociationMessage, EndsTheStructureQuietlyAtANumberThatDoesNotFitAnInt)
{
    const auto associations =
        read<SecurityAssociationDeserializer>("{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id "
                                              "3 1\nkey-length 3 99999999999\nenc-algo 3 1\n}\n");
    EXPECT_EQ("SecurityAssociation: \nproposalID: 1\ntransformID: 1\n\n\n",
              associations.getPhase1SA()->to_string());
}

TEST_F(AssociationMessage, HasNoTransformWhoseNumberDoesNotFitAnInt)
{
    const auto associations = read<SecurityAssociationDeserializer>(
        "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 99999999999\n}\n");
    EXPECT_EQ("SecurityAssociation: \nproposalID: 1\n\n", associations.getPhase1SA()->to_string());
}

// A request may hold as many proposals as it has room for.
TEST_F(AssociationMessage, ReadsItsProposalsInLinearTime)
{
    const auto secondsToRead = [this](std::size_t proposals) {
        std::string text = "{\ntable-id 3 1\nphase-id 3 1\n";
        for (std::size_t id = 0; id < proposals; ++id)
            text += "proposal-id 3 " + std::to_string(id) + "\n";
        array_ = std::make_unique<CArrayParser>();
        memory_platform::addTo(*array_, text + "}\n");
        return secondsFor([this, proposals] {
            SecurityAssociationDeserializer message;
            run(message);
            EXPECT_EQ(proposals, message.getPhase1SA()->getNumberOfChildren());
        });
    };
    EXPECT_GT(8, growthOf(secondsToRead, 1000));
}

TEST_F(AssociationMessage, GoesOnWithTheProposalsThatItHasReadBefore)
{
    const std::string structure = "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 7\ntransform-id 3 1\n}\n";
    memory_platform::addTo(*array_, structure);
    SecurityAssociationDeserializer message;
    run(message);
    run(message);
    EXPECT_EQ("SecurityAssociation: \nproposalID: 7\ntransformID: 1\n\ntransformID: 1\n\n\n",
              message.getPhase1SA()->to_string());
}

TEST_F(AssociationMessage, NamesAMemberThatComesBeforeWhatItBelongsTo)
{
    const struct {
        const char* members;
        const char* text;
    } rows[] = {
        {"proposal-id 3 1", "Nothing to add the member to: proposal-id"},
        {"phase-id 3 5\nproposal-id 3 1", "Nothing to add the member to: proposal-id"},
        {"phase-id 3 1\ntransform-id 3 1", "Nothing to add the member to: transform-id"},
        {"phase-id 3 1\nproposal-id 3 1\nenc-algo 3 1", "Nothing to add the member to: enc-algo"},
        {"key-length 3 1", "Nothing to add the member to: key-length"},
        {"hash-algo 3 1", "Nothing to add the member to: hash-algo"},
        {"auth-method [1] 0|0x41", "Nothing to add the member to: auth-method"},
        {"group-dsc 3 1", "Nothing to add the member to: group-dsc"},
        {"life-type 3 0", "Nothing to add the member to: life-type"},
        {"life-duration 3 1", "Nothing to add the member to: life-duration"},
    };
    for (const auto& row : rows) {
        array_ = std::make_unique<CArrayParser>();
        EXPECT_EQ(row.text, textThrownBy<std::runtime_error>([&] {
                      read<SecurityAssociationDeserializer>(std::string("{\ntable-id 3 1\n") + row.members +
                                                            "\n}\n");
                  }))
            << row.members;
    }
}

TEST_F(AssociationMessage, RefusesAnAuthenticationMethodWithFewerThanTwoValues)
{
    for (const char* const values : {"[1]", "[1] 0"}) {
        array_ = std::make_unique<CArrayParser>();
        EXPECT_EQ(
            "Too few values of the member: auth-method", textThrownBy<std::runtime_error>([&] {
                read<SecurityAssociationDeserializer>(
                    std::string(
                        "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\nauth-method ") +
                    values + "\n}\n");
            }))
            << values;
    }
}

TEST_F(AssociationMessage, ForgetsTheCurrentProposalWhenTheNextNumberCannotBeRead)
{
    memory_platform::addTo(*array_, "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 1\n}\n"
                                    "{\ntable-id 3 1\nproposal-id 3 99999999999\n}\n"
                                    "{\ntable-id 3 1\ntransform-id 3 2\n}\n");
    SecurityAssociationDeserializer associations;
    EXPECT_EQ("Nothing to add the member to: transform-id",
              textThrownBy<std::runtime_error>([&] { run(associations); }));
    EXPECT_EQ("SecurityAssociation: \nproposalID: 1\ntransformID: 1\n\n\n",
              associations.getPhase1SA()->to_string());
}

TEST_F(AssociationMessage, VisitorWritesNothingForComposites)
{
    norvale::tamber::systemdata::parser::CParser structure;
    ParseVisitor visitor(&structure);
    SecurityAssociation association;
    Proposal proposal;
    Transform transform;
    visitor.visit(association);
    visitor.visit(proposal);
    visitor.visit(transform);
    structure.positionToFirstMember();
    EXPECT_THROW(structure.getNextMember(), std::out_of_range);
}

} // namespace
} // namespace tests
