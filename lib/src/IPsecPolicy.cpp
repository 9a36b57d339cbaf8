// The policy store and the search for a rule by its addresses.

#include "IPsecPolicy.h"

#include <algorithm>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::common {

FilterFinder::FilterFinder(const std::string& srcIp, const std::string& dstIp)
    : srcIp_(srcIp)
    , dstIp_(dstIp)
{}

bool FilterFinder::operator()(const FilterRulePtr& rule)
{
    return rule->filterType_ == FilterRule::Use && rule->srcIpAddress_ == srcIp_ &&
           rule->dstIpAddress_ == dstIp_;
}

int IPsecPolicy::POLICY_ID = 0;

IPsecPolicy::IPsecPolicy()
    : policyID_(POLICY_ID++)
{}

IPsecPolicy::~IPsecPolicy() = default;

void IPsecPolicy::setPhase1SA(const PayloadPtr& sa)
{
    phase1_ = sa;
}

void IPsecPolicy::setPhase2SA(const PayloadPtr& sa)
{
    phase2_ = sa;
}

void IPsecPolicy::unsetPhase1SA()
{
    phase1_.reset();
}

void IPsecPolicy::unsetPhase2SA()
{
    phase2_.reset();
}

PayloadPtr IPsecPolicy::getPhase1SA()
{
    return phase1_;
}

PayloadPtr IPsecPolicy::getPhase1SA() const
{
    return phase1_;
}

PayloadPtr IPsecPolicy::getPhase2SA()
{
    return phase2_;
}

PayloadPtr IPsecPolicy::getPhase2SA() const
{
    return phase2_;
}

void IPsecPolicy::addFilter(const FilterRulePtr& rule)
{
    if (rule->getFilterType() != FilterRule::Use)
        throw std::runtime_error("Filter type is not 'Use'");

    const std::string srcIp = rule->getSrcIpAddress();
    const std::string dstIp = rule->getDstIpAddress();
    FilterFinder sameAddresses(srcIp, dstIp);
    // The rules may have been changed through their handles since they were added, so no index is kept of
    // them.
    for (const FilterRulePtr& stored : filters_)
        if (sameAddresses(stored))
            throw std::runtime_error("Detect duplicates of key: src addr: " + srcIp + " :dst addr: " + dstIp);
    filters_.push_back(rule);
}

void IPsecPolicy::deleteFilter(const FilterRulePtr& rule)
{
    const auto found = std::find(filters_.begin(), filters_.end(), rule);
    if (found != filters_.end())
        filters_.erase(found);
}

FilterSet IPsecPolicy::getFilterRules()
{
    return filters_;
}

FilterSet IPsecPolicy::getFilterRules() const
{
    return filters_;
}

void IPsecPolicy::setNsName(std::string& name)
{
    nsName_ = name;
}

std::string& IPsecPolicy::getNsName()
{
    return nsName_;
}

const std::string& IPsecPolicy::getNsName() const
{
    return nsName_;
}

IPsecPolicy& getIPsecPolicy()
{
    static IPsecPolicy policy;
    return policy;
}

} // namespace norvale::tamber::systemdata::ipseccfg::common
