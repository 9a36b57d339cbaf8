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
    /// Any other number, as it may arrive in a message, is kept as it is.
    enum FilterType : int {
        FilterNone = 0, ///< not said
        Bypass = 1,     ///< let it pass in the clear
        Discard = 2,    ///< drop it
        Use = 3         ///< protect it with IPsec (ESP, RFC 4303)
    };

    /// How the two ends identify themselves in IKE (RFC 7296, section 3.5; RFC 2407, section 4.6.2.1 for
    /// version 1). Any other number is kept as it is.
    enum IdentityType : int {
        IdentityNone = 0, ///< not said: left to the engine
        IPAddress = 1,    ///< ID_IPV4_ADDR or ID_IPV6_ADDR
        DN = 2,           ///< ID_DER_ASN1_DN, a distinguished name (RFC 4514 as text)
        Email = 3         ///< ID_RFC822_ADDR (ID_USER_FQDN in version 1)
    };

    /// Type `FilterNone`, no addresses, no identities, a priority that was never set (-1).
    FilterRule();

    /// As the default, with a type and two addresses.
    /// @param type what happens to the traffic; not checked
    /// @param srcIpAddress the local end's address as text, copied
    /// @param dstIpAddress the remote end's address as text, copied
    FilterRule(FilterType type, const std::string& srcIpAddress, const std::string& dstIpAddress);

    /// Sets what happens to the traffic; any number is taken. A rule that a policy already holds must stay
    /// `Use`: the policy does not look again.
    void setFilterType(FilterType type);
    /// Sets the local end's address; any text is taken.
    void setSrcIpAddress(const std::string& address);
    /// Sets the remote end's address; any text is taken.
    void setDstIpAddress(const std::string& address);
    /// Sets of what type both identities are; any number is taken.
    void setIdentityType(IdentityType type);
    /// Sets the local end's identity; any text is taken.
    void setSrcIdentity(const std::string& identity);
    /// Sets the remote end's identity; any text is taken.
    void setDstIdentity(const std::string& identity);

    /// Sets the rule's priority, 0 (first) to 99.
    /// @throws std::domain_error "Priority is invalid: value: N" outside that range, also for the -1 that
    ///         getPriority returns before; the stored priority stays.
    void setPriority(int priority);

    /// What happens to the traffic.
    FilterType getFilterType() const;
    /// A copy of the local end's address.
    std::string getSrcIpAddress() const;
    /// A copy of the remote end's address.
    std::string getDstIpAddress() const;
    /// Of what type both identities are.
    IdentityType getIdentityType() const;
    /// A copy of the local end's identity.
    std::string getSrcIdentity() const;
    /// A copy of the remote end's identity.
    std::string getDstIdentity() const;

    /// The priority; -1 if it was never set.
    int getPriority() const;

private:
    // Look at thousands of rules, and so at their texts in place.
    friend class FilterFinder;
    friend class FilterRuleSerializer;

    FilterType filterType_;
    std::string srcIpAddress_;
    std::string dstIpAddress_;
    IdentityType identityType_;
    std::string srcIdentity_;
    std::string dstIdentity_;
    int priority_;
};

/// Shared ownership of a rule; policies, lists and messages share it and never copy it.
using FilterRulePtr = std::shared_ptr<FilterRule>;

/// Rules in insertion order; the rules themselves are shared.
using FilterSet = std::list<FilterRulePtr>;

/// A rule with the default values.
FilterRulePtr createFilterRule();

/// A rule with a type and two addresses; parameters as of FilterRule's constructor.
FilterRulePtr createFilterRule(FilterRule::FilterType type, const std::string& srcIpAddress,
                               const std::string& dstIpAddress);

/// Writes a heading and one line a field, each ended by a line end with flush; both types as numbers:
///
///     Contents of FilterRule:
///       Filter Type   : 3
///       Src IP Address: 192.0.2.1
///       Dst IP Address: 192.0.2.2
///       Identity Type : 1
///       Src Identity  : 192.0.2.1
///       Dst Identity  : 192.0.2.2
///       Priority      : 10
std::ostream& operator<<(std::ostream& os, const FilterRule& rule);

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
