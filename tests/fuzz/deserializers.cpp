// Any message through each of the five deserializers: they throw what they say and nothing else, leave the message
// as it is, and what they read is written and read back as the same.

#include "Fuzzing.h"

#include "ObjectXMLMapping.h"
#include "parser_support.h"

#include <cctype>
#include <typeinfo>

namespace {

using namespace tests;
using namespace norvale::tamber::systemdata::ipseccfg::common;

// What a deserializer holds, as text.

std::string contentOf(const ScenarioDeserializer& message)
{
    std::ostringstream text;
    text << message.getType() << '|' << message.getSettingFilePath() << '|' << message.getFipsMode() << '|'
         << message.getNsName();
    return text.str();
}

std::string contentOf(const SecurityAssociationDeserializer& message)
{
    std::ostringstream text;
    for (const PayloadPtr& association : {message.getPhase1SA(), message.getPhase2SA()})
        if (association)
            text << *association;
    return text.str();
}

std::string contentOf(const FilterRuleDeserializer& message)
{
    std::ostringstream text;
    for (const FilterSet& rules : {message.getUsedFilterRules(), message.getDefaultFilterRules()})
        for (const FilterRulePtr& rule : rules)
            text << *rule;
    return text.str();
}

std::string contentOf(const CertificateDeserializer& message)
{
    std::ostringstream text;
    for (const CertificatePtr& certificate : message.getCertificates())
        text << *certificate << static_cast<int>(certificate->getKind());
    return text.str();
}

std::string contentOf(const ResultDeserializer& message)
{
    return std::to_string(message.getStatus()) + "|" + message.getDetail();
}

// What a deserializer may throw: the conversions' complaint, the priority's, and those of a message that holds
// something in the wrong place.
template <class Deserializer>
bool reads(Deserializer& message, CArrayParser& array)
{
    message.setArrayParser(&array);
    try {
        message.execute();
        return true;
    } catch (const std::invalid_argument& error) {
        require(std::string(error.what()) == "stoi", "it is a number that is none");
    } catch (const std::domain_error& error) {
        require(std::string(error.what()).find("Priority is invalid: value: ") == 0, "it is a priority");
    } catch (const std::runtime_error& error) {
        const std::string text = error.what();
        require(text.find("Nothing to add the member to: ") == 0 ||
                    text.find("Too few values of the member: ") == 0,
                "it is a member that cannot be taken");
    }
    return false;
}

// Whether what was read can be read again from what is written of it.

bool isWritable(const ScenarioDeserializer&)
{
    return true;
}

// An association without proposals and a proposal without transforms are not written, and a key's bytes below 0x10 are one
// digit each.
bool isWritable(const SecurityAssociationDeserializer& message)
{
    for (const PayloadPtr& association : {message.getPhase1SA(), message.getPhase2SA()}) {
        if (!association || association->getNumberOfChildren() == 0)
            return false;
        for (const PayloadPtr& proposal : association->getChildren()) {
            if (proposal->getNumberOfChildren() == 0)
                return false;
            for (const PayloadPtr& transform : proposal->getChildren())
                for (const PayloadPtr& attribute : transform->getChildren())
                    if (const auto method = std::dynamic_pointer_cast<AuthenticationMethod>(attribute))
                        for (const char byte : method->getData())
                            if (byte < 0x10)
                                return false;
        }
    }
    return true;
}

// A priority that was never set is not read back.
bool isWritable(const FilterRuleDeserializer& message)
{
    for (const FilterSet& rules : {message.getUsedFilterRules(), message.getDefaultFilterRules()})
        for (const FilterRulePtr& rule : rules)
            if (rule->getPriority() < 0)
                return false;
    return true;
}

bool isWritable(const CertificateDeserializer&)
{
    return true;
}

bool isWritable(const ResultDeserializer&)
{
    return true;
}

// The serializer of what was read.

ScenarioSerializer writerOf(const ScenarioDeserializer& message)
{
    return {message.getType(), message.getSettingFilePath(), message.getFipsMode(), message.getNsName()};
}

SecurityAssociationSerializer writerOf(const SecurityAssociationDeserializer& message)
{
    return {message.getPhase1SA(), message.getPhase2SA()};
}

FilterRuleSerializer writerOf(const FilterRuleDeserializer& message)
{
    return {message.getUsedFilterRules(), message.getDefaultFilterRules()};
}

CertificateSerializer writerOf(const CertificateDeserializer& message)
{
    return CertificateSerializer(message.getCertificates());
}

ResultSerializer writerOf(const ResultDeserializer& message)
{
    return {message.getStatus(), message.getDetail()};
}

template <class Deserializer>
void check(CArrayParser& array)
{
    const std::string before = textOf(array);
    Deserializer message;
    const bool read = reads(message, array);
    require(textOf(array) == before, "the message stays as it is");
    Deserializer again;
    require(reads(again, array) == read && contentOf(again) == contentOf(message),
            "it is read the same again");
    if (!read || !isWritable(message))
        return;

    CArrayParser written;
    auto writer = writerOf(message);
    writer.setArrayParser(&written);
    writer.execute();
    Deserializer back;
    require(reads(back, written), "what was written is read");
    require(contentOf(back) == contentOf(message), "what was written is read back as the same");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CArrayParser array;
    if (parseText(array, textOf(data, size)) != 0)
        return 0;
    check<ScenarioDeserializer>(array);
    check<SecurityAssociationDeserializer>(array);
    check<FilterRuleDeserializer>(array);
    check<CertificateDeserializer>(array);
    check<ResultDeserializer>(array);
    return 0;
}
