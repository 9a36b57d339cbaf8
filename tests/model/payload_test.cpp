// The payload tree.

#include "Exceptions.h"
#include "PayloadBuilder.h"
#include "PayloadVisitor.h"
#include "SecurityAssociation.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;

template <class Text>
std::string streamed(const Text& value)
{
    std::ostringstream os;
    os << value;
    return os.str();
}

// One of each composite, empty.
const struct {
    const char* name;
    PayloadPtr (*create)();
} COMPOSITES[] = {{"SecurityAssociation", createSecurityAssociation},
                  {"Proposal", createProposal},
                  {"Transform", createTransform}};

std::vector<PayloadPtr> oneOfEachAttribute()
{
    return {createEncryptionAlgorithm(EncryptionAlgorithm::AES),
            createKeyLength(128),
            createHashAlgorithm(HashAlgorithm::SHA1),
            createAuthenticationMethod(AuthenticationMethod::PSK, "data"),
            createGroupDescription(GroupDescription::G14),
            createLifeType(LifeType::SECOND),
            createLifeDuration(60)};
}

TEST(Attribute, PrintsItsHeadingAndTheNameOfItsValue)
{
    const struct {
        PayloadPtr attribute;
        const char* text;
    } rows[] = {
        {std::make_shared<EncryptionAlgorithm>(0), "EncryptionAlgorithm: value: AES"},
        {std::make_shared<EncryptionAlgorithm>(1), "EncryptionAlgorithm: value: 3DES"},
        {std::make_shared<EncryptionAlgorithm>(2), "EncryptionAlgorithm: value: AES-GCM"},
        {std::make_shared<EncryptionAlgorithm>(3), "EncryptionAlgorithm: value: Unknown"},
        {std::make_shared<EncryptionAlgorithm>(7), "EncryptionAlgorithm: value: Unknown"},
        {std::make_shared<EncryptionAlgorithm>(-1), "EncryptionAlgorithm: value: Unknown"},
        {std::make_shared<KeyLength>(256), "KeyLength: value: 256"},
        {std::make_shared<KeyLength>(0), "KeyLength: value: 0"},
        {std::make_shared<KeyLength>(-1), "KeyLength: value: -1"},
        {std::make_shared<HashAlgorithm>(0), "HashAlgorithm: value: SHA1"},
        {std::make_shared<HashAlgorithm>(1), "HashAlgorithm: value: SHA256"},
        {std::make_shared<HashAlgorithm>(2), "HashAlgorithm: value: SHA384"},
        {std::make_shared<HashAlgorithm>(3), "HashAlgorithm: value: SHA512"},
        {std::make_shared<HashAlgorithm>(4), "HashAlgorithm: value: AES-GCM"},
        {std::make_shared<HashAlgorithm>(5), "HashAlgorithm: value: Unknown"},
        {std::make_shared<HashAlgorithm>(-1), "HashAlgorithm: value: Unknown"},
        {std::make_shared<AuthenticationMethod>(0, "abc"), "AuthenticationMethod: value: PSK: data: abc"},
        {std::make_shared<AuthenticationMethod>(0, ""), "AuthenticationMethod: value: PSK: data: "},
        {std::make_shared<AuthenticationMethod>(1, "x"), "AuthenticationMethod: value: RSA_SIG: data: x"},
        {std::make_shared<AuthenticationMethod>(2, "x"), "AuthenticationMethod: value: Unknown: data: x"},
        {std::make_shared<AuthenticationMethod>(-1, "x"), "AuthenticationMethod: value: Unknown: data: x"},
        {std::make_shared<GroupDescription>(0), "GroupDescription: value: Group14"},
        {std::make_shared<GroupDescription>(1), "GroupDescription: value: Group24"},
        {std::make_shared<GroupDescription>(2), "GroupDescription: value: Group19"},
        {std::make_shared<GroupDescription>(3), "GroupDescription: value: Group20"},
        {std::make_shared<GroupDescription>(4), "GroupDescription: value: Unknown"},
        {std::make_shared<GroupDescription>(-1), "GroupDescription: value: Unknown"},
        {std::make_shared<LifeType>(0), "LifeType: value: SECOND"},
        {std::make_shared<LifeType>(1), "LifeType: value: Unknown"},
        {std::make_shared<LifeType>(-1), "LifeType: value: Unknown"},
        {std::make_shared<LifeDuration>(28800), "LifeDuration: value: 28800"},
        {std::make_shared<LifeDuration>(-2147483647 - 1), "LifeDuration: value: -2147483648"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.text, row.attribute->to_string());
        EXPECT_EQ(row.text, streamed(*row.attribute));
    }
}

TEST(Attribute, NumbersItsEnumeratorsAsTheWireDoes)
{
    EXPECT_EQ(0, EncryptionAlgorithm::AES);
    EXPECT_EQ(1, EncryptionAlgorithm::DES3);
    EXPECT_EQ(2, EncryptionAlgorithm::AES_GCM);
    EXPECT_EQ(0, HashAlgorithm::SHA1);
    EXPECT_EQ(1, HashAlgorithm::SHA256);
    EXPECT_EQ(2, HashAlgorithm::SHA384);
    EXPECT_EQ(3, HashAlgorithm::SHA512);
    EXPECT_EQ(4, HashAlgorithm::AES_GCM);
    EXPECT_EQ(0, AuthenticationMethod::PSK);
    EXPECT_EQ(1, AuthenticationMethod::RSA_SIG);
    EXPECT_EQ(0, GroupDescription::G14);
    EXPECT_EQ(1, GroupDescription::G24);
    EXPECT_EQ(2, GroupDescription::G19);
    EXPECT_EQ(3, GroupDescription::G20);
    EXPECT_EQ(0, LifeType::SECOND);
}

TEST(Attribute, KeepsItsValueAndDataUnchanged)
{
    EXPECT_EQ(-7, KeyLength(-7).getValue());
    EXPECT_EQ(99, HashAlgorithm(99).getValue());
    const std::string data("a\0b\xff\n", 5);
    EXPECT_EQ(data, AuthenticationMethod(0, data).getData());
}

TEST(Attribute, CannotHaveAChild)
{
    const PayloadPtr child = createKeyLength(1);
    for (const PayloadPtr& attribute : oneOfEachAttribute()) {
        const std::string name = attribute->to_string();
        EXPECT_EQ("Can't have a child", textThrownBy<std::logic_error>([&] { attribute->add(child); }))
            << name;
        EXPECT_EQ("Can't have a child", textThrownBy<std::logic_error>([&] { attribute->remove(child); }))
            << name;
        EXPECT_EQ("Can't have a child", textThrownBy<std::logic_error>([&] { attribute->getChildren(); }))
            << name;
        EXPECT_EQ("Can't have a child", textThrownBy<std::logic_error>([&] { attribute->getChild(0); }))
            << name;
        EXPECT_EQ("Can't have a child", textThrownBy<std::logic_error>([&] { attribute->getChild(7); }))
            << name;
        EXPECT_EQ(0U, attribute->getNumberOfChildren()) << name;
    }
}

TEST(Composite, KeepsChildrenInInsertionOrder)
{
    for (const auto& composite : COMPOSITES) {
        const PayloadPtr parent = composite.create();
        const PayloadPtr first = createKeyLength(1);
        const PayloadPtr second = createTransform();
        EXPECT_TRUE(parent->add(first)) << composite.name;
        EXPECT_TRUE(parent->add(second)) << composite.name;
        EXPECT_EQ(2U, parent->getNumberOfChildren()) << composite.name;
        EXPECT_EQ(first, parent->getChild(0)) << composite.name;
        EXPECT_EQ(second, parent->getChild(1)) << composite.name;
        EXPECT_EQ((Payload::container_type{first, second}), parent->getChildren()) << composite.name;
    }
}

TEST(Composite, TakesAnythingAsAChild)
{
    const PayloadPtr transform = createTransform();
    EXPECT_TRUE(transform->add(createSecurityAssociation()));
    EXPECT_TRUE(transform->add(nullptr));
    EXPECT_EQ(2U, transform->getNumberOfChildren());
    EXPECT_EQ(nullptr, transform->getChild(1));
}

TEST(Composite, RefusesAnIndexWithoutAChild)
{
    for (const auto& composite : COMPOSITES) {
        const PayloadPtr parent = composite.create();
        EXPECT_EQ("No child", textThrownBy<std::runtime_error>([&] { parent->getChild(0); }))
            << composite.name;
        EXPECT_EQ("No child", textThrownBy<std::runtime_error>([&] { parent->getChild(9); }))
            << composite.name;
        const PayloadPtr last = createKeyLength(2);
        parent->add(createKeyLength(1));
        parent->add(last);
        EXPECT_EQ("Range error", textThrownBy<std::out_of_range>([&] { parent->getChild(2); }))
            << composite.name;
        EXPECT_EQ("Range error",
                  textThrownBy<std::out_of_range>([&] { parent->getChild(static_cast<std::size_t>(-1)); }))
            << composite.name;
        EXPECT_EQ(last, parent->getChild(1)) << composite.name;
    }
}

TEST(Composite, RemovesEveryEntryOfTheSameNodeAndOnlyThose)
{
    for (const auto& composite : COMPOSITES) {
        const PayloadPtr parent = composite.create();
        const PayloadPtr twice = createKeyLength(128);
        const PayloadPtr equal = createKeyLength(128);
        parent->add(twice);
        parent->add(equal);
        parent->add(twice);
        EXPECT_EQ(3U, parent->getNumberOfChildren()) << composite.name;
        EXPECT_TRUE(parent->remove(twice)) << composite.name;
        EXPECT_EQ((Payload::container_type{equal}), parent->getChildren()) << composite.name;
        EXPECT_TRUE(parent->remove(twice)) << composite.name;
        EXPECT_EQ(1U, parent->getNumberOfChildren()) << composite.name;
    }
}

TEST(Composite, HandsOutACopyOfTheListAndSharesTheNodes)
{
    const PayloadPtr parent = createSecurityAssociation();
    const PayloadPtr child = createProposal();
    parent->add(child);
    parent->getChildren().clear();
    EXPECT_EQ(1U, parent->getNumberOfChildren());
    parent->getChildren().front()->add(createTransform());
    EXPECT_EQ(1U, child->getNumberOfChildren());
}

TEST(Composite, LetsGoOfItsChildrenWhenItIsDestroyed)
{
    const PayloadPtr kept = createKeyLength(1);
    std::weak_ptr<Payload> dropped;
    {
        const PayloadPtr parent = createTransform();
        const PayloadPtr child = createKeyLength(2);
        dropped = child;
        parent->add(kept);
        parent->add(child);
        EXPECT_EQ(2, kept.use_count());
    }
    EXPECT_EQ(1, kept.use_count());
    EXPECT_TRUE(dropped.expired());
}

TEST(Composite, CountsProposalsAndTransformsFromAnIdOfZero)
{
    Proposal proposal;
    Transform transform;
    EXPECT_EQ(0, proposal.getId());
    EXPECT_EQ(0, transform.getId());
    proposal.setId(-5);
    transform.setId(2147483647);
    EXPECT_EQ(-5, proposal.getId());
    EXPECT_EQ(2147483647, transform.getId());
}

TEST(Composite, PrintsItsHeadingAndEachChildWithALineEnd)
{
    EXPECT_EQ("SecurityAssociation: \n", SecurityAssociation().to_string());
    EXPECT_EQ("proposalID: 0\n", Proposal().to_string());
    EXPECT_EQ("transformID: 0\n", Transform().to_string());

    SecurityAssociation association;
    const auto proposal = std::make_shared<Proposal>();
    const auto transform = std::make_shared<Transform>();
    proposal->setId(1);
    transform->setId(1);
    transform->add(createEncryptionAlgorithm(EncryptionAlgorithm::AES));
    transform->add(createKeyLength(256));
    proposal->add(transform);
    association.add(proposal);
    const char* const text = "SecurityAssociation: \n"
                             "proposalID: 1\n"
                             "transformID: 1\n"
                             "EncryptionAlgorithm: value: AES\n"
                             "KeyLength: value: 256\n"
                             "\n"
                             "\n";
    EXPECT_EQ(text, association.to_string());
    EXPECT_EQ(text, streamed(association));
}

TEST(PayloadStreaming, GivesTheSameTextThroughABaseReferenceForAllTenKinds)
{
    std::vector<PayloadPtr> payloads = oneOfEachAttribute();
    for (const auto& composite : COMPOSITES)
        payloads.push_back(composite.create());
    ASSERT_EQ(10U, payloads.size());
    for (const PayloadPtr& payload : payloads) {
        EXPECT_FALSE(payload->to_string().empty());
        EXPECT_EQ(payload->to_string(), streamed(*payload));
    }
}

// Kinds outside the ten: one of its own, and one that derives from a known kind.
class OtherKind : public Attribute {
public:
    OtherKind()
        : Attribute(1)
    {}
    void accept(PayloadVisitor&) override {}
    std::string to_string() const override { return "other"; }
};

class DerivedKind : public KeyLength {
public:
    DerivedKind()
        : KeyLength(1)
    {}
    std::string to_string() const override { return "derived"; }
};

TEST(PayloadStreaming, WritesNothingForAKindOutsideTheTen)
{
    const OtherKind other;
    const DerivedKind derived;
    EXPECT_EQ("", streamed(static_cast<const Payload&>(other)));
    EXPECT_EQ("", streamed(static_cast<const Payload&>(derived)));
}

TEST(PayloadStreaming, CallsToStringVirtuallyThroughAConcreteReference)
{
    const DerivedKind derived;
    EXPECT_EQ("derived", streamed(static_cast<const KeyLength&>(derived)));
}

// Records the kinds it visits and calls back for each.
class Recorder : public PayloadVisitor {
public:
    void visit(SecurityAssociation& payload) override { record("sa", payload); }
    void visit(Proposal& payload) override { record("proposal", payload); }
    void visit(Transform& payload) override { record("transform", payload); }
    void visit(EncryptionAlgorithm& payload) override { record("ea", payload); }
    void visit(KeyLength& payload) override { record("kl", payload); }
    void visit(HashAlgorithm& payload) override { record("ha", payload); }
    void visit(AuthenticationMethod& payload) override { record("am", payload); }
    void visit(GroupDescription& payload) override { record("gd", payload); }
    void visit(LifeType& payload) override { record("lt", payload); }
    void visit(LifeDuration& payload) override { record("ld", payload); }

    std::string visited;
    std::function<void(Payload&)> onVisit;

private:
    void record(const char* kind, Payload& payload)
    {
        visited += std::string(kind) + " ";
        if (onVisit)
            onVisit(payload);
    }
};

TEST(PayloadVisiting, IsPreOrderDepthFirstAndOneCallANode)
{
    const PayloadPtr association =
        createSecurityAssociation(EncryptionAlgorithm::AES, 1, HashAlgorithm::SHA1, AuthenticationMethod::PSK,
                                  "", GroupDescription::G14, LifeType::SECOND, 1);
    association->add(createProposal(EncryptionAlgorithm::AES, 1, HashAlgorithm::SHA1, LifeType::SECOND, 1));
    association->getChild(0)->add(createTransform());
    Recorder recorder;
    association->accept(recorder);
    EXPECT_EQ("sa proposal transform ea kl ha am gd lt ld transform proposal transform ea kl ha lt ld ",
              recorder.visited);
}

TEST(PayloadVisiting, GivesEachAttributeItsOwnOverload)
{
    const char* const kinds[] = {"ea ", "kl ", "ha ", "am ", "gd ", "lt ", "ld "};
    const char* const* kind = kinds;
    for (const PayloadPtr& attribute : oneOfEachAttribute()) {
        Recorder recorder;
        Payload* seen = nullptr;
        recorder.onVisit = [&seen](Payload& payload) { seen = &payload; };
        attribute->accept(recorder);
        EXPECT_EQ(*kind++, recorder.visited);
        EXPECT_EQ(attribute.get(), seen);
    }
}

TEST(PayloadVisiting, VisitsAChildAddedTwiceTwice)
{
    const PayloadPtr transform = createTransform();
    const PayloadPtr attribute = createKeyLength(1);
    transform->add(attribute);
    transform->add(attribute);
    Recorder recorder;
    transform->accept(recorder);
    EXPECT_EQ("transform kl kl ", recorder.visited);
}

TEST(PayloadVisiting, HoldsAChildThatTheVisitorTakesOutOfTheTree)
{
    for (const auto& composite : COMPOSITES) {
        const PayloadPtr parent = composite.create();
        for (int value = 0; value < 3; ++value)
            parent->add(createKeyLength(value));
        Recorder recorder;
        std::string values;
        recorder.onVisit = [&](Payload& payload) {
            const auto* const attribute = dynamic_cast<const KeyLength*>(&payload);
            if (attribute == nullptr)
                return;
            parent->remove(parent->getChild(0));
            values += std::to_string(attribute->getValue());
        };
        parent->accept(recorder);
        EXPECT_EQ("012", values) << composite.name;
        EXPECT_EQ(0U, parent->getNumberOfChildren()) << composite.name;
    }
}

TEST(PayloadVisiting, ReachesChildrenThatTheVisitOfTheirParentAdded)
{
    const PayloadPtr association = createSecurityAssociation();
    Recorder recorder;
    recorder.onVisit = [&association](Payload& payload) {
        if (&payload == association.get())
            payload.add(createProposal());
    };
    association->accept(recorder);
    EXPECT_EQ("sa proposal ", recorder.visited);
}

TEST(PayloadVisiting, LetsAnExceptionOfTheVisitorPass)
{
    const PayloadPtr association = createSecurityAssociation();
    association->add(createProposal());
    Recorder recorder;
    recorder.onVisit = [](Payload& payload) {
        if (dynamic_cast<Proposal*>(&payload) != nullptr)
            throw std::domain_error("enough");
    };
    EXPECT_EQ("enough", textThrownBy<std::domain_error>([&] { association->accept(recorder); }));
}

} // namespace
} // namespace tests
