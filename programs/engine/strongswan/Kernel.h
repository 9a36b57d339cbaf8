#ifndef IPSECCFG_STRONGSWAN_KERNEL_H
#define IPSECCFG_STRONGSWAN_KERNEL_H

/// @file
/// What an engine that was killed has left in the kernel.

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

/// Removes all IPsec policies and states of this process's network namespace. Without the rights for it
/// nothing happens: then there is nothing either that an engine could have left.
void flushKernel();

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan

#endif
