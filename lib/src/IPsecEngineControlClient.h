#ifndef IPSECCFG_IPSECENGINECONTROLCLIENT_H
#define IPSECCFG_IPSECENGINECONTROLCLIENT_H

/// @file
/// The client side's holder of the engine settings.

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::common {

/// Holds, for the whole process, the two engine settings that go along with a policy.
///
/// The library itself never reads them back. Only the first getInstance is safe from several threads at once.
class IPsecEngineControlClient {
public:
    /// The only instance: made on the first call and kept until the process exits.
    static IPsecEngineControlClient& getInstance();

    /// The path of the engine's setting file; any text.
    void setSettingFilePath(const std::string& path);
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
