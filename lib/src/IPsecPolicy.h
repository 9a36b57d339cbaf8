#ifndef IPSECCFG_IPSECPOLICY_H
#define IPSECCFG_IPSECPOLICY_H

/// @file
/// The policy store.

#include "FilterRule.h"
#include "SecurityAssociation.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::common {

/// Finds a stored rule by its pair of addresses.
///
/// True for a rule of type `Use` whose two addresses are exactly these texts; no address is parsed.
class FilterFinder {
public:
    /// Copies the two addresses to look for.
    FilterFinder(const std::string& srcIp, const std::string& dstIp);
    /// Whether this is a rule of that kind.
    /// @pre `rule` is not null.
    bool operator()(const FilterRulePtr& rule);

private:
    std::string srcIp_;
    std::string dstIp_;
};

/// The policy that a process is about to send or has received: the IKE association (phase 1), the IPsec
/// association (phase 2), the rules of type `Use` and the name of the engine's network namespace.
///
/// Trees and rules are shared with the caller, never copied. Rules of other types are carried beside the
/// policy. Not synchronised: filled and read by one thread at a time.
class IPsecPolicy {
public:
    /// An empty policy. Programs mostly use the one of getIPsecPolicy; sender and receiver take any.
    IPsecPolicy();
    ~IPsecPolicy();

    /// Stores the association in place of an earlier one; neither null nor the node's kind is checked.
    /// @{
    void setPhase1SA(const PayloadPtr& sa);
    void setPhase2SA(const PayloadPtr& sa);
    /// @}
    /// Forgets the association; the tree lives on while somebody else holds it.
    /// @{
    void unsetPhase1SA();
    void unsetPhase2SA();
    /// @}

    /// The association, null if there is none.
    /// @{
    PayloadPtr getPhase1SA();
    PayloadPtr getPhase1SA() const;
    PayloadPtr getPhase2SA();
    PayloadPtr getPhase2SA() const;
    /// @}

    /// Appends a rule of type `Use`.
    /// @pre `rule` is not null.
    /// @throws std::runtime_error "Filter type is not 'Use'" for a rule of another type.
    /// @throws std::runtime_error "Detect duplicates of key: src addr: SRC :dst addr: DST" if a stored rule
    ///         has, as it is now, the same two address texts (no address is parsed: 10.0.0.1 and 010.0.0.1
    ///         are two). The policy is unchanged in both cases.
    void addFilter(const FilterRulePtr& rule);

    /// Takes out this very rule; does nothing if it is not stored.
    void deleteFilter(const FilterRulePtr& rule);

    /// A copy of the list of rules; the rules themselves are shared.
    /// @{
    FilterSet getFilterRules();
    FilterSet getFilterRules() const;
    /// @}

    /// Copies the name of the engine's network namespace (network_namespaces(7)); empty for none. The
    /// argument is not changed.
    void setNsName(std::string& name);
    /// The stored name itself, valid as long as the policy is: a change through the reference changes the
    /// policy.
    std::string& getNsName();
    /// The stored name, valid as long as the policy is.
    const std::string& getNsName() const;

private:
    static int POLICY_ID;

    int policyID_;
    PayloadPtr phase1_;
    PayloadPtr phase2_;
    FilterSet filters_;
    std::string nsName_;
};

/// The policy of this process: made on the first call, which is safe from several threads at once, and kept
/// until the process exits.
IPsecPolicy& getIPsecPolicy();

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
