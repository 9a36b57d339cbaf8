#ifndef IPSECCFG_XMLRPCSENDPOLICY_H
#define IPSECCFG_XMLRPCSENDPOLICY_H

/// @file
/// The client's end of the policy transport.

#include "Certificate.h"
#include "FilterRule.h"
#include "IPsecPolicy.h"

#include <list>
#include <string>

namespace norvale::tamber::systemdata::parser {
class CArrayParser;
}

namespace norvale::tamber::systemdata::requester {
class CRequester;
}

namespace norvale::tamber::systemdata::ipseccfg::common {

/// Sends one request (start, restart or shut down the engine) to the server process as an XML-RPC message
/// (http://xmlrpc.com) and returns the status of its answer.
///
/// The server is the program that the environment variable "IPSECCFGSERVER" names, taken as it stands; else
/// systemdataIPsecCfgServer where PATH finds it; else RPC_COMMAND. Every response is printed to standard
/// output before it is judged. A call blocks until the answer is there, 60 seconds at most. One object serves
/// any number of calls; it is not synchronised.
///
/// startProcess, restartProcess and killProcess return the result's status as it stands (ResultCommand::Type:
/// 0 success, 1 failure; an answer without a result reads as 0), not judged here, and throw
/// - std::runtime_error "Error to send." if the request could not be sent,
/// - std::runtime_error "Error to recv." if no well-formed answer came,
/// - std::runtime_error "Error rsp: " and the fault's text if the answer is a fault,
/// - what the message classes (ObjectXMLMapping.h) and the request channel (CRequester.h) throw, unchanged:
///   std::system_error "CRequester: cannot start COMMAND: ..." if there is no such server, for example.
class XmlRpcSendPolicy {
public:
    /// The server's path when neither the environment nor PATH gives one:
    /// "/home/halden/.lattice/tools/bin/systemdataIPsecCfgServer".
    static const char* const RPC_COMMAND;

    /// Empty setting file path, FIPS mode off.
    XmlRpcSendPolicy();
    ~XmlRpcSendPolicy();

    /// The path of the engine's setting file, sent with every request.
    void setSettingFilePath(const std::string& path);
    /// Whether the engine runs in FIPS mode (FIPS 140), sent with every request.
    void setFipsMode(bool mode);

    /// Asks for the engine to be started with a policy. Returns and throws as the class says.
    /// @pre Both associations of the policy are set, and every rule has a priority.
    /// @param policy what the engine is to protect, and how
    /// @param filters the rules beside the policy's own (`Bypass`, `Discard`)
    /// @param certificates where the server finds certificates and keys; the files are not sent
    int startProcess(const IPsecPolicy& policy, const FilterSet& filters,
                     const std::list<CertificatePtr>& certificates);

    /// Asks the running engine to take over a policy; everything as for startProcess.
    int restartProcess(const IPsecPolicy& policy, const FilterSet& filters,
                       const std::list<CertificatePtr>& certificates);

    /// Asks for the engine to be shut down. Returns and throws as the class says.
    int killProcess();

private:
    XmlRpcSendPolicy(const XmlRpcSendPolicy&) = delete;
    XmlRpcSendPolicy& operator=(const XmlRpcSendPolicy&) = delete;

    int sendPolicy_(bool start, const IPsecPolicy& policy, const FilterSet& filters,
                    const std::list<CertificatePtr>& certificates);
    int exchange_(parser::CArrayParser& request);
    void prepare_(parser::CArrayParser& request);
    void buildRequest_(parser::CArrayParser& request, bool start, const IPsecPolicy& policy,
                       const FilterSet& filters, const std::list<CertificatePtr>& certificates);
    void execute_(parser::CArrayParser& request, requester::CRequester& requester);
    int wait_(requester::CRequester& requester);
    int handleResponse_(parser::CArrayParser& response);
    void dumpResponse_(parser::CArrayParser& response);

    std::string path_;
    bool mode_ = false;
};

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
