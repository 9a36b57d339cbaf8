#ifndef IPSECCFG_CLIENT_POLICYFILE_H
#define IPSECCFG_CLIENT_POLICYFILE_H

/// @file
/// The policy file: a policy as people write it (TOML, https://toml.io/en/v1.0.0).

#include "Certificate.h"
#include "FilterRule.h"
#include "IPsecPolicy.h"
#include "Problem.h"

#include <list>
#include <optional>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// A policy as it goes to the sender.
struct Policy {
    std::string settingFile;
    bool fipsMode = false;
    common::IPsecPolicy store; ///< both associations (without proposals if the file has none), the rules with
                               ///< action `use`, the namespace
    common::FilterSet defaultRules; ///< the other rules
    std::list<common::CertificatePtr> certificates;
};

/// What became of a policy file: a policy, or everything that is wrong with it.
struct PolicyReading {
    std::optional<Policy> policy; ///< there exactly if there is no problem
    Problems problems;            ///< by line and column
};

/// Reads a policy from its text. Files that it names are looked at: key files are read, certificates and
/// private keys must be there, as far as the caller may see.
PolicyReading readPolicyText(const std::string& text);

/// Reads a policy file, of 16 MiB at most.
/// @throws std::runtime_error "cannot read FILE: REASON" if it cannot be read.
PolicyReading readPolicyFile(const std::string& path);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
