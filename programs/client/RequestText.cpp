// The request that a policy becomes.

#include "RequestText.h"

#include "CArrayParser.h"
#include "Masking.h"
#include "ObjectXMLMapping.h"
#include "Utility.h"
#include "XmlRpcSendPolicy.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

// MASK as the wire carries it.
const std::string MASK_ON_THE_WIRE = "0x2a2a2a2a2a2a2a2a";

void write(common::Command&& message, parser::CArrayParser& request)
{
    message.setArrayParser(&request);
    message.execute();
}

} // namespace

std::string serverPath()
{
    const char* const configured = std::getenv("IPSECCFGSERVER");
    if (configured != nullptr)
        return configured;
    const std::string builtIn = common::XmlRpcSendPolicy::RPC_COMMAND;
    const std::string found = common::findExecPath(builtIn.substr(builtIn.rfind('/') + 1));
    return found.empty() ? builtIn : found;
}

std::string requestText(const Policy& policy)
{
    parser::CArrayParser request;
    request.setCommand(serverPath());
    request.setPrettyPrint(true);
    write(common::ScenarioSerializer(common::ScenarioCommand::Start, policy.settingFile, policy.fipsMode,
                                     policy.store.getNsName()),
          request);
    write(common::SecurityAssociationSerializer(policy.store.getPhase1SA(), policy.store.getPhase2SA()),
          request);
    write(common::FilterRuleSerializer(policy.store.getFilterRules(), policy.defaultRules), request);
    write(common::CertificateSerializer(policy.certificates), request);

    std::ostringstream text;
    parser::COStream out(text);
    if (request.serialize(out) != 0)
        throw std::runtime_error("the server's path holds a character that a request cannot carry");
    return text.str();
}

std::string maskedRequestText(const Policy& policy)
{
    // No key is in this text; what is replaced is only the mask, by one that looks like it.
    std::string text = requestText(masked(policy));
    const std::string shown = std::string("0x") + MASK;
    for (std::size_t at = 0; (at = text.find(MASK_ON_THE_WIRE, at)) != std::string::npos; at += shown.size())
        text.replace(at, MASK_ON_THE_WIRE.size(), shown);
    return text;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
