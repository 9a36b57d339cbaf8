#ifndef IPSECCFG_FILTERRULE_H
#define IPSECCFG_FILTERRULE_H

/// @file
/// Traffic filter rules.

#include <iosfwd>
#include <list>
#include <memory>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::common {

/// One traffic selector of the policy: what to do with traffic between two addresses (RFC 4301,
/// section 4.4.1).
///
/// A plain value; shared through FilterRulePtr, not synchronised. Addresses and identities are kept as given
/// and never parsed.
class FilterRule {
public:
    /// What happens to matching traffic. `Use` means: protect it with IPsec.
    enum FilterType : int { FilterNone = 0, Bypass = 1, Discard = 2, Use = 3 };

    /// How the two ends identify themselves in IKE (RFC 7296, section 3.5).
    enum IdentityType : int { IdentityNone = 0, IPAddress = 1, DN = 2, Email = 3 };

    /// Type `FilterNone`, no addresses, no identities, a priority that was never set (-1).
    FilterRule();

    /// As the default, with a type and two addresses.
    FilterRule(FilterType type, const std::string& srcIpAddress, const std::string& dstIpAddress);

    void setFilterType(FilterType type);
    void setSrcIpAddress(const std::string& address);
    void setDstIpAddress(const std::string& address);
    void setIdentityType(IdentityType type);
    /// The local end's identity.
    void setSrcIdentity(const std::string& identity);
    /// The remote end's identity.
    void setDstIdentity(const std::string& identity);

    /// Sets the rule's priority, 0 (first) to 99.
    /// @throws std::domain_error "Priority is invalid: value: N" outside that range; the stored priority
    /// stays.
    void setPriority(int priority);

    FilterType getFilterType() const;
    std::string getSrcIpAddress() const;
    std::string getDstIpAddress() const;
    IdentityType getIdentityType() const;
    std::string getSrcIdentity() const;
    std::string getDstIdentity() const;

    /// The priority; -1 if it was never set.
    int getPriority() const;

private:
    // Looks at thousands of rules for each one added, and so at their texts in place.
    friend class FilterFinder;

    FilterType filterType_;
    std::string srcIpAddress_;
    std::string dstIpAddress_;
    IdentityType identityType_;
    std::string srcIdentity_;
    std::string dstIdentity_;
    int priority_;
};

using FilterRulePtr = std::shared_ptr<FilterRule>;

/// Rules in insertion order; the rules themselves are shared.
using FilterSet = std::list<FilterRulePtr>;

/// A rule with the default values.
FilterRulePtr createFilterRule();

/// A rule with a type and two addresses.
FilterRulePtr createFilterRule(FilterRule::FilterType type, const std::string& srcIpAddress,
                               const std::string& dstIpAddress);

/// Writes a heading and one line a field, each ended by a line end with flush; both types as numbers.
std::ostream& operator<<(std::ostream& os, const FilterRule& rule);

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
