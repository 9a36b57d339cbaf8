// Receiving and checking of a request.

#include "Request.h"

#include "Association.h"
#include "PolicyNames.h"
#include "Text.h"
#include "XmlRpcReceivePolicy.h"

#include <cstddef>
#include <optional>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

using common::FilterRule;

constexpr programs::Enumerator SCENARIOS[] = {{common::ScenarioCommand::Start, "start"},
                                              {common::ScenarioCommand::Shutdown, "shutdown"},
                                              {common::ScenarioCommand::Restart, "restart"}};
constexpr programs::Enumerator DEFAULT_ACTIONS[] = {{FilterRule::Bypass, "bypass"},
                                                    {FilterRule::Discard, "discard"}};

// One record of the request, for checks of its members that name it in their messages.
class Record {
public:
    /// @param name what messages call the record; empty for the request itself
    explicit Record(const std::string& name)
        : prefix_(name.empty() ? "" : name + ": ")
    {}

    [[noreturn]] void refuse(const std::string& member, const std::string& why) const
    {
        throw std::runtime_error(prefix_ + member + ": " + why);
    }

    void checkText(const std::string& member, const std::string& text) const
    {
        const char* const fault = programs::faultOf(text);
        if (fault != nullptr)
            refuse(member, fault);
    }

    template <std::size_t N>
    void checkEnumerator(const std::string& member, int value, const programs::Enumerator (&table)[N]) const
    {
        if (programs::nameOf(table, value) == nullptr)
            refuseNumber(member, value, programs::listOf(table));
    }

    template <std::size_t N>
    void checkEnumerator(const std::string& member, std::optional<int> value,
                         const programs::Enumerator (&table)[N]) const
    {
        if (value)
            checkEnumerator(member, *value, table);
    }

    void checkPresence(const std::string& member, std::optional<int> value) const
    {
        if (!value)
            refuse(member, "is missing");
    }

    [[noreturn]] void refuseNumber(const std::string& member, int value, const std::string& allowed) const
    {
        refuse(member, std::to_string(value) + " is not allowed, only " + allowed);
    }

private:
    std::string prefix_;
};

bool isNamespaceName(const std::string& name)
{
    static const char* const ALLOWED = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-";
    constexpr std::size_t LONGEST = 255;
    return name.size() <= LONGEST && name.find_first_not_of(ALLOWED) == std::string::npos && name != "." &&
           name != "..";
}

void checkScenario(const Request& request)
{
    const Record record("");
    record.checkEnumerator("scenario", request.scenario, SCENARIOS);
    record.checkText("setting-file-path", request.settingFilePath);
    record.checkText("ns-name", request.policy.getNsName());
    if (!isNamespaceName(request.policy.getNsName()))
        record.refuse(
            "ns-name",
            R"(only 1 to 255 letters, digits, '_', '.' and '-' are allowed, and neither "." nor "..")");
    if (request.settingFilePath.empty() && request.scenario != common::ScenarioCommand::Shutdown)
        record.refuse("setting-file-path", "must not be empty");
}

void checkKeyLength(const Record& record, int encryption, std::optional<int> length)
{
    const char* const member = "key-length";
    if (encryption == common::EncryptionAlgorithm::DES3) {
        // Its key has one length, which may be left out, or counted with or without the parity bits.
        if (length && *length != 0 && *length != 168 && *length != 192)
            record.refuseNumber(member, *length, "0, 168 and 192 for 3DES");
        return;
    }
    record.checkPresence(member, length);
    if (*length != 128 && *length != 192 && *length != 256)
        record.refuseNumber(member, *length, "128, 192 and 256");
}

void checkAuthentication(const Record& record, const programs::TransformAttributes& transform)
{
    const char* const member = "auth-method";
    record.checkEnumerator(member, transform.authentication, programs::AUTHENTICATIONS);
    record.checkText(member, transform.authenticationData);
    if (transform.authentication == common::AuthenticationMethod::PSK && transform.authenticationData.empty())
        record.refuse(member, "the pre-shared key is empty");
}

void checkTransform(const Record& record, const programs::TransformAttributes& transform)
{
    record.checkPresence("enc-algo", transform.encryption);
    record.checkEnumerator("enc-algo", transform.encryption, programs::ENCRYPTIONS);
    checkKeyLength(record, *transform.encryption, transform.keyLength);
    record.checkPresence("hash-algo", transform.hash);
    record.checkEnumerator("hash-algo", transform.hash, programs::HASHES);
    checkAuthentication(record, transform);
    record.checkEnumerator("group-dsc", transform.group, programs::GROUPS);
    record.checkPresence("life-type", transform.lifeType);
    record.checkEnumerator("life-type", transform.lifeType, programs::LIFE_TYPES);
    record.checkPresence("life-duration", transform.lifeDuration);
    if (*transform.lifeDuration < 1)
        record.refuseNumber("life-duration", *transform.lifeDuration, "1 and more");
}

void checkAssociation(const common::PayloadPtr& association, const std::string& name, bool needed)
{
    const auto proposals = programs::proposalsOf(association, name);
    if (needed && proposals.empty())
        throw std::runtime_error(name + ": is missing, but there are rules that protect traffic");
    for (const programs::ProposalTransforms& proposal : proposals)
        for (const programs::TransformAttributes& transform : proposal.transforms)
            checkTransform(Record(name + ", proposal " + std::to_string(proposal.id) + ", transform " +
                                  std::to_string(transform.id)),
                           transform);
}

template <std::size_t N>
void checkRules(const common::FilterSet& rules, const std::string& name,
                const programs::Enumerator (&actions)[N])
{
    std::size_t number = 0;
    for (const common::FilterRulePtr& rule : rules) {
        const Record record(name + " " + std::to_string(++number));
        record.checkEnumerator("filter-type", rule->getFilterType(), actions);
        record.checkText("src-addr", rule->getSrcIpAddress());
        record.checkText("dst-addr", rule->getDstIpAddress());
        record.checkEnumerator("identity-type", rule->getIdentityType(), programs::IDENTITY_TYPES);
        record.checkText("src-identity", rule->getSrcIdentity());
        record.checkText("dst-identity", rule->getDstIdentity());
        // One out of range was refused when it was read; one that was never set is not.
        if (rule->getPriority() < 0)
            record.refuse("priority", "is missing");
    }
}

void checkCertificates(const std::list<common::CertificatePtr>& certificates)
{
    std::size_t number = 0;
    for (const common::CertificatePtr& certificate : certificates) {
        const Record record("certificate " + std::to_string(++number));
        record.checkEnumerator("cert-kind", certificate->getKind(), programs::CERTIFICATE_KINDS);
        record.checkText("cert-path", certificate->getCertFilePath());
        record.checkText("pkey-path", certificate->getPkeyFilePath());
    }
}

} // namespace

Request receiveRequest(std::istream& stream)
{
    Request request;
    common::XmlRpcReceivePolicy receiver(stream);
    request.scenario = receiver.execute(request.policy, request.defaultRules, request.certificates,
                                        request.settingFilePath, request.fipsMode);
    return request;
}

std::string scenarioName(int scenario)
{
    const char* const name = programs::nameOf(SCENARIOS, scenario);
    return name == nullptr ? "request" : name;
}

void checkRequest(const Request& request)
{
    checkScenario(request);
    const common::FilterSet used = request.policy.getFilterRules();
    checkAssociation(request.policy.getPhase1SA(), "phase 1", !used.empty());
    checkAssociation(request.policy.getPhase2SA(), "phase 2", !used.empty());
    checkRules(used, "used rule", programs::ACTIONS);
    checkRules(request.defaultRules, "default rule", DEFAULT_ACTIONS);
    checkCertificates(request.certificates);
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
