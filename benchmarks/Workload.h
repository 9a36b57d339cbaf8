#ifndef IPSECCFG_BENCHMARKS_WORKLOAD_H
#define IPSECCFG_BENCHMARKS_WORKLOAD_H

/// @file
/// The policies that are measured, and the work that is done on them: by this library, by its peers and by
/// what nobody can undercut.

#include "CArrayParser.h"
#include "FilterRule.h"
#include "IPsecPolicy.h"
#include "SecurityAssociation.h"

#include <cstddef>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::benchmarks {

/// `count` different rules to protect, with IPv6 addresses and distinguished names as identities.
common::FilterSet sampleRules(std::size_t count);

/// The associations of both phases: of one proposal with one transform, and of 100 proposals with 10 transforms each. Every attribute
/// is set.
/// @{
struct Associations {
    common::PayloadPtr phase1;
    common::PayloadPtr phase2;
};
Associations smallAssociations();
Associations deepAssociations();
constexpr int DEEP_TRANSFORMS = 2000; ///< of both phases
/// @}

/// This library: serializer and text, text to rules or associations, a whole request into a policy.
/// @{
std::string encode(const common::FilterSet& rules, bool pretty);
/// The indented text goes nowhere, as if to the request channel, so that what else takes memory shows.
/// @return how many bytes it was.
std::size_t encodeNowhere(const common::FilterSet& rules);
common::FilterSet decode(const std::string& text);
std::string encode(const Associations& associations);
Associations decodeAssociations(const std::string& text);
std::string encodeRequest(const Associations& associations, const common::FilterSet& rules);
/// @return how many rules the policy holds then.
std::size_t receive(const std::string& request);
/// @}

/// The same work through xmlrpc-c: objects to text, of which the size is returned; text to the same objects.
/// @{
std::size_t encodeByXmlrpcC(const common::FilterSet& rules);
common::FilterSet decodeByXmlrpcC(const std::string& text);
std::size_t encodeByXmlrpcC(const Associations& associations);
Associations decodeAssociationsByXmlrpcC(const std::string& text);
/// @}

/// The floor of decoding: Expat over the text, with handlers that only count.
/// @return how many events there were.
std::size_t parseByExpat(const std::string& text);

} // namespace norvale::tamber::systemdata::ipseccfg::benchmarks

#endif
