// The client side's holder of the engine settings.

#include "IPsecEngineControlClient.h"

namespace norvale::tamber::systemdata::ipseccfg::common {

IPsecEngineControlClient::IPsecEngineControlClient() = default;
IPsecEngineControlClient::~IPsecEngineControlClient() = default;

IPsecEngineControlClient& IPsecEngineControlClient::getInstance()
{
    static IPsecEngineControlClient instance;
    return instance;
}

void IPsecEngineControlClient::setSettingFilePath(const std::string& path)
{
    settingFilePath_ = path;
}

void IPsecEngineControlClient::setFipsMode(bool mode)
{
    mode_ = mode;
}

} // namespace norvale::tamber::systemdata::ipseccfg::common
