// The client's end of the policy transport: one request out, one answer in.

#include "XmlRpcSendPolicy.h"

#include "CArrayParser.h"
#include "CFault.h"
#include "CIStream.h"
#include "COStream.h"
#include "CRequester.h"
#include "ObjectXMLMapping.h"
#include "Utility.h"

#include <cstdlib>
#include <iostream>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::common {

using parser::CArrayParser;
using parser::CFault;
using parser::COStream;
using requester::CRequester;

namespace {

constexpr int EXCHANGE_SECONDS = 60;

void run(Command&& command, CArrayParser& array)
{
    command.setArrayParser(&array);
    command.execute();
}

std::string serverCommand()
{
    const char* const configured = std::getenv("IPSECCFGSERVER");
    if (configured != nullptr)
        return configured;
    const std::string defaultPath = XmlRpcSendPolicy::RPC_COMMAND;
    const std::string found = findExecPath(defaultPath.substr(defaultPath.rfind('/') + 1));
    return found.empty() ? defaultPath : found;
}

} // namespace

const char* const XmlRpcSendPolicy::RPC_COMMAND = "/home/halden/.lattice/tools/bin/systemdataIPsecCfgServer";

XmlRpcSendPolicy::XmlRpcSendPolicy() = default;
XmlRpcSendPolicy::~XmlRpcSendPolicy() = default;

void XmlRpcSendPolicy::setSettingFilePath(const std::string& path)
{
    path_ = path;
}

void XmlRpcSendPolicy::setFipsMode(bool mode)
{
    mode_ = mode;
}

int XmlRpcSendPolicy::startProcess(const IPsecPolicy& policy, const FilterSet& filters,
                                   const std::list<CertificatePtr>& certificates)
{
    return sendPolicy_(true, policy, filters, certificates);
}

int XmlRpcSendPolicy::restartProcess(const IPsecPolicy& policy, const FilterSet& filters,
                                     const std::list<CertificatePtr>& certificates)
{
    return sendPolicy_(false, policy, filters, certificates);
}

int XmlRpcSendPolicy::killProcess()
{
    CArrayParser request;
    prepare_(request);
    run(ScenarioSerializer(ScenarioCommand::Shutdown, path_, mode_, std::string()), request);
    return exchange_(request);
}

int XmlRpcSendPolicy::sendPolicy_(bool start, const IPsecPolicy& policy, const FilterSet& filters,
                                  const std::list<CertificatePtr>& certificates)
{
    CArrayParser request;
    prepare_(request);
    buildRequest_(request, start, policy, filters, certificates);
    return exchange_(request);
}

int XmlRpcSendPolicy::exchange_(CArrayParser& request)
{
    CRequester requester(EXCHANGE_SECONDS);
    execute_(request, requester);
    return wait_(requester);
}

void XmlRpcSendPolicy::prepare_(CArrayParser& request)
{
    request.setCommand(serverCommand());
    request.setPrettyPrint(true);
}

void XmlRpcSendPolicy::buildRequest_(CArrayParser& request, bool start, const IPsecPolicy& policy,
                                     const FilterSet& filters, const std::list<CertificatePtr>& certificates)
{
    const ScenarioCommand::Type scenario = start ? ScenarioCommand::Start : ScenarioCommand::Restart;
    run(ScenarioSerializer(scenario, path_, mode_, policy.getNsName()), request);
    run(SecurityAssociationSerializer(policy.getPhase1SA(), policy.getPhase2SA()), request);
    run(FilterRuleSerializer(policy.getFilterRules(), filters), request);
    run(CertificateSerializer(certificates), request);
}

void XmlRpcSendPolicy::execute_(CArrayParser& request, CRequester& requester)
{
    if (request.serialize(requester.getOStream()) != 0 || requester.endOfTransmission() != 0)
        throw std::runtime_error("Error to send.");
}

int XmlRpcSendPolicy::wait_(CRequester& requester)
{
    CArrayParser response;
    if (response.parse(requester.getIStream()) != 0)
        throw std::runtime_error("Error to recv.");
    dumpResponse_(response);
    const CFault& fault = response.getFault();
    if (fault.getCode() != parser::FaultCode::ok)
        throw std::runtime_error("Error rsp: " + fault.getString());
    return handleResponse_(response);
}

int XmlRpcSendPolicy::handleResponse_(CArrayParser& response)
{
    ResultDeserializer result;
    result.setArrayParser(&response);
    result.execute();
    return result.getStatus();
}

void XmlRpcSendPolicy::dumpResponse_(CArrayParser& response)
{
    COStream out(std::cout);
    response.serialize(out);
}

} // namespace norvale::tamber::systemdata::ipseccfg::common
