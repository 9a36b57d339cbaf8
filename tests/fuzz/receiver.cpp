// Any bytes as a request: the receiver hands out what the request holds or throws what it says, and what it hands
// out does not depend on the pieces in which the request comes.

#include "Fuzzing.h"

#include "ObjectXMLMapping.h"
#include "XmlRpcReceivePolicy.h"
#include "parser_support.h"

#include <optional>

namespace {

using namespace tests;
using namespace norvale::tamber::systemdata::ipseccfg::common;

// The receiver's end: what it had, and was handed.
struct Receiver {
    Receiver()
    {
        policy.setPhase1SA(held);
        policy.setPhase2SA(held);
        policy.getNsName() = "before";
    }

    std::string receive(std::streambuf& source)
    {
        std::istream stream(&source);
        try {
            return std::to_string(
                XmlRpcReceivePolicy(stream).execute(policy, rules, certificates, path, fips));
        } catch (const std::invalid_argument& error) {
            return error.what();
        } catch (const std::domain_error& error) {
            return error.what();
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    std::string content() const
    {
        std::ostringstream text;
        text << path << '|' << fips << '|' << policy.getNsName() << '|';
        for (const PayloadPtr& association : {policy.getPhase1SA(), policy.getPhase2SA()})
            text << (association == held ? "before" : association ? association->to_string() : "none");
        for (const FilterRulePtr& rule : policy.getFilterRules())
            text << *rule;
        for (const FilterRulePtr& rule : rules)
            text << *rule;
        for (const CertificatePtr& certificate : certificates)
            text << *certificate;
        return text.str();
    }

    const PayloadPtr held = std::make_shared<SecurityAssociation>();
    IPsecPolicy policy;
    FilterSet rules = {createFilterRule(FilterRule::Bypass, "before", "before")};
    std::list<CertificatePtr> certificates = {createCertificate(Certificate::RootCA, "before", "before")};
    std::string path = "before";
    bool fips = false;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = textOf(data, size);
    const Receiver untouched;
    Receiver receiver;
    std::stringbuf whole(text);
    const std::string outcome = receiver.receive(whole);
    if (outcome == "CArrayPaser's parse error")
        require(receiver.content() == untouched.content(), "nothing is handed out of what is no request");
    if (outcome == std::to_string(ScenarioCommand::Shutdown)) {
        require(receiver.policy.getPhase1SA() == receiver.held &&
                    receiver.policy.getPhase2SA() == receiver.held,
                "a shutdown leaves the associations");
        require(receiver.rules.size() == 1 && receiver.policy.getFilterRules().empty(),
                "a shutdown leaves the rules");
        require(receiver.certificates.front()->getCertFilePath() == "before",
                "a shutdown leaves the certificates");
    }
    for (const FilterRulePtr& rule : receiver.policy.getFilterRules())
        require(rule->getFilterType() == FilterRule::Use, "the policy holds rules that protect only");
    for (const FilterSet& rules : {receiver.policy.getFilterRules(), receiver.rules})
        for (const FilterRulePtr& rule : rules)
            require(rule->getPriority() <= 99, "a priority is one that there is");

    Receiver other;
    PiecewiseSource pieces(text, 1 + size % 7);
    require(other.receive(pieces) == outcome && other.content() == receiver.content(),
            "pieces make no difference");
    return 0;
}
