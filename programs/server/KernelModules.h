#ifndef IPSECCFG_SERVER_KERNELMODULES_H
#define IPSECCFG_SERVER_KERNELMODULES_H

/// @file
/// Taking back of kernel modules that a failed start has loaded.

#include "Configuration.h"

#include <list>
#include <set>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Remembers which of the configured modules the kernel had when this was made.
class KernelModules {
public:
    /// @param modules in the order of loading
    /// @param listing the kernel's list of its modules: a line each, the name first; a kernel without modules
    ///        has none
    /// @throws std::runtime_error in the system's words if it cannot be read: what was loaded before must not
    ///         be mistaken for added.
    explicit KernelModules(const std::list<Configuration::Module>& modules,
                           const std::string& listing = "/proc/modules");

    /// Removes those that the kernel has now and did not have then, the last one first, as far as possible.
    void removeAdded() const;

private:
    std::set<std::string> loaded_() const;

    std::list<Configuration::Module> modules_;
    std::string listing_;
    std::set<std::string> before_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
