// The server's end of the policy transport.

#include "XmlRpcReceivePolicy.h"

#include "CArrayParser.h"
#include "CIStream.h"
#include "ObjectXMLMapping.h"

#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::common {

namespace {

template <class Deserializer>
Deserializer read(parser::CArrayParser& request)
{
    Deserializer message;
    message.setArrayParser(&request);
    message.execute();
    return message;
}

} // namespace

XmlRpcReceivePolicy::XmlRpcReceivePolicy(std::istream& is)
    : is_(is)
{}

XmlRpcReceivePolicy::~XmlRpcReceivePolicy() = default;

int XmlRpcReceivePolicy::execute(IPsecPolicy& policy, FilterSet& defaultRules,
                                 std::list<CertificatePtr>& certificates, std::string& settingFilePath,
                                 bool& fipsMode)
{
    parser::CIStream in(is_);
    parser::CArrayParser request;
    if (request.parse(in) != 0)
        throw std::runtime_error("CArrayPaser's parse error");

    const auto scenario = read<ScenarioDeserializer>(request);
    settingFilePath = scenario.getSettingFilePath();
    fipsMode = scenario.getFipsMode();
    std::string nsName = scenario.getNsName();
    policy.setNsName(nsName);
    if (scenario.getType() == ScenarioCommand::Shutdown)
        return ScenarioCommand::Shutdown;

    const auto associations = read<SecurityAssociationDeserializer>(request);
    const auto rules = read<FilterRuleDeserializer>(request);
    defaultRules = rules.getDefaultFilterRules();
    policy.setPhase1SA(associations.getPhase1SA());
    policy.setPhase2SA(associations.getPhase2SA());
    for (const FilterRulePtr& rule : rules.getUsedFilterRules())
        policy.addFilter(rule);
    certificates = read<CertificateDeserializer>(request).getCertificates();
    return scenario.getType();
}

} // namespace norvale::tamber::systemdata::ipseccfg::common
