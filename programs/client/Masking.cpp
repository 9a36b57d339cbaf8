// Policies without their secrets.

#include "Masking.h"

#include "PayloadBuilder.h"

#include <memory>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

using common::AuthenticationMethod;
using common::PayloadPtr;

PayloadPtr maskedAttribute(const PayloadPtr& attribute)
{
    const auto method = std::dynamic_pointer_cast<AuthenticationMethod>(attribute);
    if (!method || method->getData().empty())
        return attribute;
    return common::createAuthenticationMethod(static_cast<AuthenticationMethod::Type>(method->getValue()),
                                              MASK);
}

PayloadPtr maskedTransform(const PayloadPtr& original)
{
    auto copy = std::make_shared<common::Transform>();
    copy->setId(std::dynamic_pointer_cast<common::Transform>(original)->getId());
    for (const PayloadPtr& attribute : original->getChildren())
        copy->add(maskedAttribute(attribute));
    return copy;
}

PayloadPtr maskedProposal(const PayloadPtr& original)
{
    auto copy = std::make_shared<common::Proposal>();
    copy->setId(std::dynamic_pointer_cast<common::Proposal>(original)->getId());
    for (const PayloadPtr& transform : original->getChildren())
        copy->add(maskedTransform(transform));
    return copy;
}

PayloadPtr maskedAssociation(const PayloadPtr& original)
{
    PayloadPtr copy = common::createSecurityAssociation();
    for (const PayloadPtr& proposal : original->getChildren())
        copy->add(maskedProposal(proposal));
    return copy;
}

} // namespace

Policy masked(const Policy& policy)
{
    Policy copy = policy;
    copy.store.setPhase1SA(maskedAssociation(policy.store.getPhase1SA()));
    copy.store.setPhase2SA(maskedAssociation(policy.store.getPhase2SA()));
    return copy;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
