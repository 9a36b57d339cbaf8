// The messages when there is no memory: each command with each of its allocations failing in turn.

#include "FailingHeap.h"
#include "MessageTest.h"
#include "PayloadBuilder.h"

#include <functional>
#include <memory>

namespace tests {
namespace {

// Longer than what a string holds without an allocation.
const std::string LONG = "a text that is too long to be kept without memory";
const std::string OTHER = "another text that is too long to be kept without memory";

// What the serializers that look for it say of a structure that cannot be made.
constexpr const char* NO_STRUCTURE = "Failed to allocate CParser";

PayloadPtr associationOf(const PayloadPtr& transform, int proposalId)
{
    PayloadPtr association = createSecurityAssociation();
    const auto proposal = std::static_pointer_cast<Proposal>(createProposal());
    proposal->setId(proposalId);
    proposal->add(transform);
    const auto second = std::static_pointer_cast<Transform>(createTransform());
    second->setId(2);
    second->add(createKeyLength(128));
    proposal->add(second);
    association->add(proposal);
    return association;
}

PayloadPtr phase1()
{
    return associationOf(createTransform(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                         AuthenticationMethod::PSK, "AB", GroupDescription::G14,
                                         LifeType::SECOND, 28800),
                         1);
}

PayloadPtr phase2()
{
    return associationOf(
        createTransform(EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA1, LifeType::SECOND, 3600), 7);
}

FilterRulePtr ruleOf(FilterRule::FilterType type, const std::string& source)
{
    FilterRulePtr rule = createFilterRule(type, source, OTHER);
    rule->setIdentityType(FilterRule::Email);
    rule->setSrcIdentity(LONG);
    rule->setDstIdentity(OTHER);
    rule->setPriority(7);
    return rule;
}

const FilterSet USED = {ruleOf(FilterRule::Use, LONG), ruleOf(FilterRule::Use, OTHER)};
const FilterSet OTHERS = {ruleOf(FilterRule::Bypass, LONG), ruleOf(FilterRule::Discard, OTHER)};
const std::list<CertificatePtr> CERTIFICATES = {createCertificate(Certificate::EndEntity, LONG, OTHER),
                                                createCertificate(Certificate::RootCA, OTHER, LONG)};

// The messages as text

const std::string SCENARIO = "{\ntable-id 3 0\nscenario 3 3\nsetting-file-path 1 " + LONG +
                             "\nfips-mode 3 1\nns-name 1 " + OTHER + "\n}\n";
const std::string RESULT = "{\ntable-id 3 4\nstatus 3 1\ndetail 1 " + LONG + "\n}\n";
const std::string ASSOCIATIONS =
    "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 0\nenc-algo 3 0\nkey-length 3 256\n"
    "hash-algo 3 1\nauth-method [1] 0|0x4142\ngroup-dsc 3 0\nlife-type 3 0\nlife-duration 3 28800\n}\n"
    "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 1\ntransform-id 3 2\nkey-length 3 128\n}\n"
    "{\ntable-id 3 1\nphase-id 3 2\nproposal-id 3 7\ntransform-id 3 0\nenc-algo 3 0\nkey-length 3 128\n"
    "hash-algo 3 0\nlife-type 3 0\nlife-duration 3 3600\n}\n"
    "{\ntable-id 3 1\nphase-id 3 2\nproposal-id 3 7\ntransform-id 3 2\nkey-length 3 128\n}\n";

std::string ruleText(int id, int type, const std::string& source)
{
    return "{\ntable-id 3 2\nfilter-id 3 " + std::to_string(id) + "\nfilter-type 3 " + std::to_string(type) +
           "\nsrc-addr 1 " + source + "\ndst-addr 1 " + OTHER + "\nidentity-type 3 3\nsrc-identity 1 " +
           LONG + "\ndst-identity 1 " + OTHER + "\npriority 3 7\n}\n";
}

const std::string RULES =
    ruleText(0, 3, LONG) + ruleText(1, 3, OTHER) + ruleText(2, 1, LONG) + ruleText(3, 2, OTHER);
const std::string CERTIFICATE_TEXT =
    "{\ntable-id 3 3\ncert-kind 3 1\ncert-path 1 " + LONG + "\npkey-path 1 " + OTHER +
    "\n}\n{\ntable-id 3 3\ncert-kind 3 3\ncert-path 1 " + OTHER + "\npkey-path 1 " + LONG + "\n}\n";

// Serializers

struct Writing {
    const char* name;
    std::function<void(CArrayParser& array)> write;
    const std::string& text;
    bool whole; ///< no structure is ever there in part
    const char* otherwise = NO_STRUCTURE;
};

template <class Serializer, class... Arguments>
std::function<void(CArrayParser&)> writingWith(const Arguments&... arguments)
{
    return [=](CArrayParser& array) {
        Serializer message(arguments...);
        message.setArrayParser(&array);
        message.execute();
    };
}

const Writing WRITINGS[] = {
    {"scenario", writingWith<ScenarioSerializer>(ScenarioCommand::Restart, LONG, true, OTHER), SCENARIO,
     true},
    {"security association", writingWith<SecurityAssociationSerializer>(phase1(), phase2()), ASSOCIATIONS,
     false, "bad_alloc"},
    {"filter rule", writingWith<FilterRuleSerializer>(USED, OTHERS), RULES, false},
    {"certificate", writingWith<CertificateSerializer>(CERTIFICATES), CERTIFICATE_TEXT, true},
    {"result", writingWith<ResultSerializer>(ResultCommand::Failure, LONG), RESULT, true},
};

class SerializerMemory : public MessageTest {
protected:
    /// A message that already holds a structure.
    void renew()
    {
        array_ = std::make_unique<CArrayParser>();
        memory_platform::addTo(*array_, BEFORE);
    }

    const std::string BEFORE = "{\nbefore 1 " + LONG + "\n}\n";
};

// Whether the text is the beginning of the message, cut between two structures.
bool isCutBetweenStructures(const std::string& text, const std::string& message)
{
    return message.compare(0, text.size(), text) == 0 && text.compare(text.size() - 2, 2, "}\n") == 0;
}

// Whether the text is the beginning of the message, cut between two members or structures.
bool isCutBetweenMembers(const std::string& text, const std::string& message)
{
    const std::string unfinished = text.substr(0, text.size() - 2);
    return message.compare(0, unfinished.size(), unfinished) == 0;
}

TEST_F(SerializerMemory, ThatRunsOutIsReportedAndLeavesABeginningOfTheMessage)
{
    for (const Writing& row : WRITINGS) {
        SCOPED_TRACE(row.name);
        const std::string message = BEFORE + row.text;
        renew();
        const auto check = [&] {
            const std::string text = written();
            EXPECT_TRUE(row.whole ? isCutBetweenStructures(text, message)
                                  : isCutBetweenMembers(text, message))
                << text;
            renew();
        };
        EXPECT_LT(3, failEachAllocation([&] { row.write(*array_); }, check, row.otherwise));
        EXPECT_EQ(message, written());
    }
}

// Deserializers

// A tree as its lines, with "|" after each.
std::string linesOf(const PayloadPtr& tree)
{
    std::string lines;
    for (const char character : tree ? tree->to_string() : "") {
        if (character != '\n')
            lines += character;
        else if (lines.back() != '|') // the line ends after composites
            lines += '|';
    }
    return lines;
}

std::string joined(const std::vector<std::string>& fields)
{
    std::string text;
    for (const std::string& field : fields)
        text += field + "|";
    return text;
}

std::string unless(int unset, int value)
{
    return value == unset ? std::string() : std::to_string(value);
}

// What was read, in the order in which it is read, and nothing where nothing was.

std::string contentOf(const ScenarioDeserializer& message)
{
    return joined({unless(0, message.getType()), message.getSettingFilePath(),
                   unless(0, message.getFipsMode()), message.getNsName()});
}

std::string contentOf(const SecurityAssociationDeserializer& message)
{
    return linesOf(message.getPhase1SA()) + linesOf(message.getPhase2SA());
}

std::string contentOf(const FilterRuleDeserializer& message)
{
    FilterSet rules = message.getUsedFilterRules();
    rules.splice(rules.end(), message.getDefaultFilterRules());
    std::string text;
    for (const FilterRulePtr& rule : rules)
        text += joined({std::to_string(rule->getFilterType()), rule->getSrcIpAddress(),
                        rule->getDstIpAddress(), unless(0, rule->getIdentityType()), rule->getSrcIdentity(),
                        rule->getDstIdentity(), unless(-1, rule->getPriority())});
    return text;
}

std::string contentOf(const CertificateDeserializer& message)
{
    std::string text;
    for (const CertificatePtr& certificate : message.getCertificates())
        text += joined({std::to_string(certificate->getKind()), certificate->getCertFilePath(),
                        certificate->getPkeyFilePath()});
    return text;
}

std::string contentOf(const ResultDeserializer& message)
{
    return joined({unless(0, message.getStatus()), message.getDetail()});
}

// Whether it is a beginning of what is to be read, cut between two members.
bool isBeginning(std::string content, const std::string& whole)
{
    content.erase(content.find_last_not_of('|') + 1);
    return whole.compare(0, content.size(), content) == 0 &&
           (content.empty() || whole[content.size()] == '|');
}

class DeserializerMemory : public MessageTest {
protected:
    template <class Deserializer>
    void expectABeginning(const std::string& text, const std::string& whole)
    {
        memory_platform::addTo(*array_, text);
        auto message = std::make_unique<Deserializer>();
        message->setArrayParser(array_.get());
        const long failures = failEachAllocation([&] { message->execute(); },
                                                 [&] {
                                                     EXPECT_TRUE(isBeginning(contentOf(*message), whole))
                                                         << contentOf(*message);
                                                     EXPECT_EQ(text, written());
                                                     message = std::make_unique<Deserializer>();
                                                     message->setArrayParser(array_.get());
                                                 });
        EXPECT_LT(2, failures);
        EXPECT_EQ(whole, contentOf(*message));
    }
};

TEST_F(DeserializerMemory, ThatRunsOutKeepsWhatWasReadOfAScenario)
{
    expectABeginning<ScenarioDeserializer>(SCENARIO, "3|" + LONG + "|1|" + OTHER + "|");
}

TEST_F(DeserializerMemory, ThatRunsOutKeepsWhatWasReadOfTheAssociations)
{
    expectABeginning<SecurityAssociationDeserializer>(ASSOCIATIONS, linesOf(phase1()) + linesOf(phase2()));
}

TEST_F(DeserializerMemory, ThatRunsOutKeepsTheRulesThatWereRead)
{
    const std::string rest = "|" + OTHER + "|3|" + LONG + "|" + OTHER + "|7|";
    expectABeginning<FilterRuleDeserializer>(RULES, "3|" + LONG + rest + "3|" + OTHER + rest + "1|" + LONG +
                                                        rest + "2|" + OTHER + rest);
}

TEST_F(DeserializerMemory, ThatRunsOutKeepsTheCertificatesThatWereRead)
{
    expectABeginning<CertificateDeserializer>(CERTIFICATE_TEXT,
                                              "1|" + LONG + "|" + OTHER + "|3|" + OTHER + "|" + LONG + "|");
}

TEST_F(DeserializerMemory, ThatRunsOutKeepsWhatWasReadOfAResult)
{
    expectABeginning<ResultDeserializer>(RESULT, "1|" + LONG + "|");
}

TEST_F(DeserializerMemory, ThatRunsOutWhileTheContentIsAskedForChangesNothing)
{
    const auto scenario = read<ScenarioDeserializer>(SCENARIO);
    const auto rules = read<FilterRuleDeserializer>(RULES);
    const auto certificates = read<CertificateDeserializer>(CERTIFICATE_TEXT);
    const auto result = read<ResultDeserializer>(RESULT);
    const std::function<void()> questions[] = {
        [&] { scenario.getSettingFilePath(); },  [&] { scenario.getNsName(); },
        [&] { rules.getUsedFilterRules(); },     [&] { rules.getDefaultFilterRules(); },
        [&] { certificates.getCertificates(); }, [&] { result.getDetail(); },
    };
    const auto content = [&] {
        return contentOf(scenario) + contentOf(rules) + contentOf(certificates) + contentOf(result);
    };
    const std::string before = content();
    for (const auto& ask : questions)
        EXPECT_LT(0, failEachAllocation(ask, [&] { EXPECT_EQ(before, content()); }));
}

// ParseVisitor

TEST_F(SerializerMemory, ThatRunsOutLeavesAStructureWithoutTheAttributeThatWasVisited)
{
    memory_platform::addTo(*array_, BEFORE);
    ParseVisitor visitor(array_->getElements().front());
    std::string text = BEFORE;
    for (const PayloadPtr& attribute : phase1()->getChild(0)->getChild(0)->getChildren()) {
        SCOPED_TRACE(attribute->to_string());
        EXPECT_LT(
            0, failEachAllocation([&] { attribute->accept(visitor); }, [&] { EXPECT_EQ(text, written()); }));
        EXPECT_NE(text, written());
        text = written();
    }
    EXPECT_EQ("{\nbefore 1 " + LONG +
                  "\nenc-algo 3 0\nkey-length 3 256\nhash-algo 3 1\nauth-method [1] 0|0x4142\ngroup-dsc 3 0\n"
                  "life-type 3 0\nlife-duration 3 28800\n}\n",
              text);
}

} // namespace
} // namespace tests
