// Taking over of settings.

#include "StandaloneEngine.h"

namespace norvale::tamber::systemdata::ipseccfg::standalone {

std::string StandaloneEngine::load_()
{
    settings_ = readSettings(files().settings);
    return summaryOf(settings_);
}

} // namespace norvale::tamber::systemdata::ipseccfg::standalone
