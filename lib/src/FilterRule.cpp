// Traffic filter rules: a plain value that checks its priority only.

#include "FilterRule.h"

#include <ostream>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::common {

namespace {

constexpr int PRIORITY_UNSET = -1;
constexpr int PRIORITY_FIRST = 0;
constexpr int PRIORITY_LAST = 99;

} // namespace

FilterRule::FilterRule()
    : FilterRule(FilterNone, std::string(), std::string())
{}

FilterRule::FilterRule(FilterType type, const std::string& srcIpAddress, const std::string& dstIpAddress)
    : filterType_(type)
    , srcIpAddress_(srcIpAddress)
    , dstIpAddress_(dstIpAddress)
    , identityType_(IdentityNone)
    , priority_(PRIORITY_UNSET)
{}

void FilterRule::setFilterType(FilterType type)
{
    filterType_ = type;
}

void FilterRule::setSrcIpAddress(const std::string& address)
{
    srcIpAddress_ = address;
}

void FilterRule::setDstIpAddress(const std::string& address)
{
    dstIpAddress_ = address;
}

void FilterRule::setIdentityType(IdentityType type)
{
    identityType_ = type;
}

void FilterRule::setSrcIdentity(const std::string& identity)
{
    srcIdentity_ = identity;
}

void FilterRule::setDstIdentity(const std::string& identity)
{
    dstIdentity_ = identity;
}

void FilterRule::setPriority(int priority)
{
    if (priority < PRIORITY_FIRST || priority > PRIORITY_LAST)
        throw std::domain_error("Priority is invalid: value: " + std::to_string(priority));
    priority_ = priority;
}

FilterRule::FilterType FilterRule::getFilterType() const
{
    return filterType_;
}

std::string FilterRule::getSrcIpAddress() const
{
    return srcIpAddress_;
}

std::string FilterRule::getDstIpAddress() const
{
    return dstIpAddress_;
}

FilterRule::IdentityType FilterRule::getIdentityType() const
{
    return identityType_;
}

std::string FilterRule::getSrcIdentity() const
{
    return srcIdentity_;
}

std::string FilterRule::getDstIdentity() const
{
    return dstIdentity_;
}

int FilterRule::getPriority() const
{
    return priority_;
}

FilterRulePtr createFilterRule()
{
    return std::make_shared<FilterRule>();
}

FilterRulePtr createFilterRule(FilterRule::FilterType type, const std::string& srcIpAddress,
                               const std::string& dstIpAddress)
{
    return std::make_shared<FilterRule>(type, srcIpAddress, dstIpAddress);
}

std::ostream& operator<<(std::ostream& os, const FilterRule& rule)
{
    os << "Contents of FilterRule:" << std::endl;
    os << "  Filter Type   : " << static_cast<int>(rule.getFilterType()) << std::endl;
    os << "  Src IP Address: " << rule.getSrcIpAddress() << std::endl;
    os << "  Dst IP Address: " << rule.getDstIpAddress() << std::endl;
    os << "  Identity Type : " << static_cast<int>(rule.getIdentityType()) << std::endl;
    os << "  Src Identity  : " << rule.getSrcIdentity() << std::endl;
    os << "  Dst Identity  : " << rule.getDstIdentity() << std::endl;
    os << "  Priority      : " << rule.getPriority() << std::endl;
    return os;
}

} // namespace norvale::tamber::systemdata::ipseccfg::common
