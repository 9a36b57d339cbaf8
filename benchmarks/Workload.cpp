// The policies that are measured, and what this library does with them.

#include "Workload.h"

#include "ObjectXMLMapping.h"
#include "PayloadBuilder.h"
#include "XmlRpcReceivePolicy.h"

#include <list>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <utility>

namespace norvale::tamber::systemdata::ipseccfg::benchmarks {

using namespace common;

namespace {

// Two hexadecimal numbers that tell the rules apart.
std::string digits(std::size_t number, char separator)
{
    std::ostringstream text;
    text << std::hex << number / 0x10000 << separator << number % 0x10000;
    return text.str();
}

constexpr const char* SERVER = "/usr/sbin/systemdataIPsecCfgServer";

template <class Message>
void run(Message&& message, parser::CArrayParser& array)
{
    message.setArrayParser(&array);
    message.execute();
}

void write(parser::CArrayParser& array, std::ostream& stream)
{
    parser::COStream out(stream);
    if (array.serialize(out) != 0)
        throw std::runtime_error("the message cannot be written");
}

// Gathers what is written in one text, without a copy of it in the end.
class Text : public std::streambuf {
public:
    std::string take() { return std::move(text_); }

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize size) override
    {
        text_.append(bytes, static_cast<std::size_t>(size));
        return size;
    }

private:
    std::string text_;
};

std::string toText(parser::CArrayParser& array)
{
    Text text;
    std::ostream stream(&text);
    write(array, stream);
    return text.take();
}

void read(parser::CArrayParser& request, const std::string& text)
{
    std::istringstream stream(text);
    parser::CIStream in(stream);
    if (request.parse(in) != 0)
        throw std::runtime_error("the message cannot be read");
}

void fill(parser::CArrayParser& request, const FilterSet& rules, bool pretty)
{
    request.setCommand(SERVER);
    request.setPrettyPrint(pretty);
    run(FilterRuleSerializer(rules, {}), request);
}

class Nowhere : public std::streambuf {
public:
    std::size_t taken() const { return taken_; }

protected:
    std::streamsize xsputn(const char*, std::streamsize size) override
    {
        taken_ += static_cast<std::size_t>(size);
        return size;
    }

private:
    std::size_t taken_ = 0;
};

PayloadPtr sampleAssociation(int proposals, int transforms)
{
    PayloadPtr association = createSecurityAssociation();
    for (int proposalId = 1; proposalId <= proposals; ++proposalId) {
        const auto proposal = std::make_shared<Proposal>();
        proposal->setId(proposalId);
        for (int transformId = 1; transformId <= transforms; ++transformId) {
            const auto transform = std::make_shared<Transform>();
            transform->setId(transformId);
            transform->add(createEncryptionAlgorithm(EncryptionAlgorithm::AES));
            transform->add(createKeyLength(256));
            transform->add(createHashAlgorithm(HashAlgorithm::SHA256));
            transform->add(createAuthenticationMethod(AuthenticationMethod::PSK, "a shared secret"));
            transform->add(createGroupDescription(GroupDescription::G14));
            transform->add(createLifeType(LifeType::SECOND));
            transform->add(createLifeDuration(28800));
            proposal->add(transform);
        }
        association->add(proposal);
    }
    return association;
}

} // namespace

FilterSet sampleRules(std::size_t count)
{
    FilterSet rules;
    for (std::size_t number = 0; number < count; ++number) {
        const FilterRulePtr rule =
            createFilterRule(FilterRule::Use, "2001:db8:100:1:0:aaaa:" + digits(number, ':'),
                             "2001:db8:200:2:0:bbbb:" + digits(number, ':'));
        rule->setIdentityType(FilterRule::DN);
        rule->setSrcIdentity("C=DE, O=Example, OU=Gateways, CN=device-" + digits(number, '-') +
                             ".example.org");
        rule->setDstIdentity("C=DE, O=Example, OU=Gateways, CN=centre-" + digits(number, '-') +
                             ".example.org");
        rule->setPriority(static_cast<int>(number % 100));
        rules.push_back(rule);
    }
    return rules;
}

Associations smallAssociations()
{
    return {sampleAssociation(1, 1), sampleAssociation(1, 1)};
}

Associations deepAssociations()
{
    return {sampleAssociation(100, 10), sampleAssociation(100, 10)};
}

std::string encode(const FilterSet& rules, bool pretty)
{
    parser::CArrayParser request;
    fill(request, rules, pretty);
    return toText(request);
}

std::size_t encodeNowhere(const FilterSet& rules)
{
    parser::CArrayParser request;
    fill(request, rules, true);
    Nowhere nowhere;
    std::ostream stream(&nowhere);
    write(request, stream);
    return nowhere.taken();
}

FilterSet decode(const std::string& text)
{
    parser::CArrayParser request;
    read(request, text);
    FilterRuleDeserializer rules;
    run(rules, request);
    return rules.getUsedFilterRules();
}

std::string encode(const Associations& associations)
{
    parser::CArrayParser request;
    request.setCommand(SERVER);
    run(SecurityAssociationSerializer(associations.phase1, associations.phase2), request);
    return toText(request);
}

Associations decodeAssociations(const std::string& text)
{
    parser::CArrayParser request;
    read(request, text);
    SecurityAssociationDeserializer associations;
    run(associations, request);
    return {associations.getPhase1SA(), associations.getPhase2SA()};
}

std::string encodeRequest(const Associations& associations, const FilterSet& rules)
{
    parser::CArrayParser request;
    request.setCommand(SERVER);
    request.setPrettyPrint(true);
    run(ScenarioSerializer(ScenarioCommand::Start, "/run/ipseccfg/engine.conf", false, ""), request);
    run(SecurityAssociationSerializer(associations.phase1, associations.phase2), request);
    run(FilterRuleSerializer(rules, {}), request);
    return toText(request);
}

std::size_t receive(const std::string& request)
{
    std::istringstream stream(request);
    IPsecPolicy policy;
    FilterSet others;
    std::list<CertificatePtr> certificates;
    std::string settingFile;
    bool fipsMode = false;
    XmlRpcReceivePolicy(stream).execute(policy, others, certificates, settingFile, fipsMode);
    return policy.getFilterRules().size();
}

} // namespace norvale::tamber::systemdata::ipseccfg::benchmarks
