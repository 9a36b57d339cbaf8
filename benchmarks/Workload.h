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

/// An association of `proposals` proposals with `transforms` transforms each, every attribute set.
common::PayloadPtr sampleAssociation(int proposals, int transforms);

/// This library: serializer and text, text to rules, a whole request into a policy.
/// @{
std::string encode(const common::FilterSet& rules, bool pretty);
/// The indented text goes nowhere, as if to the request channel, so that what else takes memory shows.
/// @return how many bytes it was.
std::size_t encodeNowhere(const common::FilterSet& rules);
common::FilterSet decode(const std::string& text);
std::string encodeRequest(const common::PayloadPtr& phase1, const common::PayloadPtr& phase2,
                          const common::FilterSet& rules);
/// @return how many rules the policy holds then.
std::size_t receive(const std::string& request);
/// @}

/// The same work through xmlrpc-c: rules to text, of which the size is returned; text to the same rule objects.
/// @{
std::size_t encodeByXmlrpcC(const common::FilterSet& rules);
common::FilterSet decodeByXmlrpcC(const std::string& text);
/// @}

/// The floor of decoding: Expat over the text, with handlers that only count.
/// @return how many events there were.
std::size_t parseByExpat(const std::string& text);

} // namespace norvale::tamber::systemdata::ipseccfg::benchmarks

#endif
