#ifndef IPSECCFG_IPSECENGINECONTROLCLIENT_H
#define IPSECCFG_IPSECENGINECONTROLCLIENT_H

/// @file
/// The client side's holder of the engine settings.

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::common {

/// Holds, for the whole process, the two engine settings that go along with a policy.
///
/// Setters only: the library itself never reads the values back (XmlRpcSendPolicy holds its own), and a
/// program that wants them sent sets them there too. Only the first getInstance is safe from several threads
/// at once; the setters are not synchronised.
class IPsecEngineControlClient {
public:
    /// The only instance: made on the first call and kept until the process exits.
    static IPsecEngineControlClient& getInstance();

    /// Copies the path of the engine's setting file; any text, empty at first.
    void setSettingFilePath(const std::string& path);
    /// Whether the engine is to run in FIPS mode (FIPS 140); off at first.
    void setFipsMode(bool mode);

private:
    IPsecEngineControlClient();
    ~IPsecEngineControlClient();
    IPsecEngineControlClient(const IPsecEngineControlClient&) = delete;
    IPsecEngineControlClient& operator=(const IPsecEngineControlClient&) = delete;

    std::string settingFilePath_;
    bool mode_ = false;
};

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
