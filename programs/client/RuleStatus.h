#ifndef IPSECCFG_CLIENT_RULESTATUS_H
#define IPSECCFG_CLIENT_RULESTATUS_H

/// @file
/// What the engine does for one rule.

#include <cstdint>
#include <optional>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// The tunnel (or the pair of associations in transport mode) of a rule that protects.
struct TunnelStatus {
    std::string peer;  ///< its address and, in brackets, its identity
    std::string suite; ///< "AES_CBC-256/HMAC_SHA2_256_128"
    std::uint64_t bytesIn = 0;
    std::uint64_t bytesOut = 0;
    std::uint64_t packetsIn = 0;
    std::uint64_t packetsOut = 0;
    std::uint64_t rekeySeconds = 0; ///< until the keys are renewed
};

struct RuleStatus {
    std::string action; ///< "use", "bypass", "discard"
    std::string source;
    std::string destination;
    int priority = 0;
    /// "up": a tunnel carries the traffic; "trapped": the first packet will make one; "in force": a rule that
    /// does not protect; "down": nothing of these.
    std::string state;
    std::string reason; ///< why it is down
    std::optional<TunnelStatus> tunnel;
};

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
