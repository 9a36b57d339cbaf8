// Builders, their director, and the factory functions.

#include "PayloadBuilder.h"

#include <initializer_list>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::common {

namespace {

// The builders cannot share these steps through a base class: the order of their data members is part of the
// binary interface, and the attributes stand last.

void requireBuilt(const PayloadPtr& part, const char* name)
{
    if (!part)
        throw std::logic_error(std::string(name) + " is null");
}

void link(const PayloadPtr& parent, const char* parentName, const PayloadPtr& child, const char* childName)
{
    requireBuilt(parent, parentName);
    requireBuilt(child, childName);
    parent->add(child);
}

void addBuiltAttributes(const PayloadPtr& transform, std::initializer_list<PayloadPtr> attributes)
{
    requireBuilt(transform, "Transform");
    for (const PayloadPtr& attribute : attributes)
        if (attribute)
            transform->add(attribute);
}

template <class Builder, class... Parameters>
PayloadPtr constructWith(const Parameters&... parameters)
{
    return PayloadDirector(std::make_shared<Builder>()).construct(parameters...);
}

} // namespace

PayloadBuilder::~PayloadBuilder() = default;

// SecurityAssociationBuilder

SecurityAssociationBuilder::SecurityAssociationBuilder() = default;
SecurityAssociationBuilder::~SecurityAssociationBuilder() = default;

void SecurityAssociationBuilder::buildSecurityAssociation()
{
    sa_ = createSecurityAssociation();
}

void SecurityAssociationBuilder::buildProposal()
{
    prop_ = createProposal();
}

void SecurityAssociationBuilder::buildTransform()
{
    trans_ = createTransform();
}

void SecurityAssociationBuilder::buildEncryptionAlgorithm(EncryptionAlgorithm::Type val)
{
    ea_ = createEncryptionAlgorithm(val);
}

void SecurityAssociationBuilder::buildKeyLength(int val)
{
    kl_ = createKeyLength(val);
}

void SecurityAssociationBuilder::buildHashAlgorithm(HashAlgorithm::Type val)
{
    ha_ = createHashAlgorithm(val);
}

void SecurityAssociationBuilder::buildAuthenticationMethod(AuthenticationMethod::Type val,
                                                           const std::string& data)
{
    am_ = createAuthenticationMethod(val, data);
}

void SecurityAssociationBuilder::buildGroupDescription(GroupDescription::Type val)
{
    gd_ = createGroupDescription(val);
}

void SecurityAssociationBuilder::buildLifeType(LifeType::Type val)
{
    lt_ = createLifeType(val);
}

void SecurityAssociationBuilder::buildLifeDuration(int val)
{
    ld_ = createLifeDuration(val);
}

void SecurityAssociationBuilder::addProposalToSecurityAsscosiation()
{
    link(sa_, "SecurityAssociation", prop_, "Proposal");
}

void SecurityAssociationBuilder::addTransformToProposal()
{
    link(prop_, "Proposal", trans_, "Transform");
}

void SecurityAssociationBuilder::addAttributesToTransform()
{
    addBuiltAttributes(trans_, {ea_, kl_, ha_, am_, gd_, lt_, ld_});
}

PayloadPtr SecurityAssociationBuilder::getResult()
{
    return sa_;
}

// ProposalBuilder

ProposalBuilder::ProposalBuilder() = default;
ProposalBuilder::~ProposalBuilder() = default;

void ProposalBuilder::buildSecurityAssociation() {}

void ProposalBuilder::buildProposal()
{
    prop_ = createProposal();
}

void ProposalBuilder::buildTransform()
{
    trans_ = createTransform();
}

void ProposalBuilder::buildEncryptionAlgorithm(EncryptionAlgorithm::Type val)
{
    ea_ = createEncryptionAlgorithm(val);
}

void ProposalBuilder::buildKeyLength(int val)
{
    kl_ = createKeyLength(val);
}

void ProposalBuilder::buildHashAlgorithm(HashAlgorithm::Type val)
{
    ha_ = createHashAlgorithm(val);
}

void ProposalBuilder::buildAuthenticationMethod(AuthenticationMethod::Type val, const std::string& data)
{
    am_ = createAuthenticationMethod(val, data);
}

void ProposalBuilder::buildGroupDescription(GroupDescription::Type val)
{
    gd_ = createGroupDescription(val);
}

void ProposalBuilder::buildLifeType(LifeType::Type val)
{
    lt_ = createLifeType(val);
}

void ProposalBuilder::buildLifeDuration(int val)
{
    ld_ = createLifeDuration(val);
}

void ProposalBuilder::addProposalToSecurityAsscosiation() {}

void ProposalBuilder::addTransformToProposal()
{
    link(prop_, "Proposal", trans_, "Transform");
}

void ProposalBuilder::addAttributesToTransform()
{
    addBuiltAttributes(trans_, {ea_, kl_, ha_, am_, gd_, lt_, ld_});
}

PayloadPtr ProposalBuilder::getResult()
{
    return prop_;
}

// TransformBuilder

TransformBuilder::TransformBuilder() = default;
TransformBuilder::~TransformBuilder() = default;

void TransformBuilder::buildSecurityAssociation() {}

void TransformBuilder::buildProposal() {}

void TransformBuilder::buildTransform()
{
    trans_ = createTransform();
}

void TransformBuilder::buildEncryptionAlgorithm(EncryptionAlgorithm::Type val)
{
    ea_ = createEncryptionAlgorithm(val);
}

void TransformBuilder::buildKeyLength(int val)
{
    kl_ = createKeyLength(val);
}

void TransformBuilder::buildHashAlgorithm(HashAlgorithm::Type val)
{
    ha_ = createHashAlgorithm(val);
}

void TransformBuilder::buildAuthenticationMethod(AuthenticationMethod::Type val, const std::string& data)
{
    am_ = createAuthenticationMethod(val, data);
}

void TransformBuilder::buildGroupDescription(GroupDescription::Type val)
{
    gd_ = createGroupDescription(val);
}

void TransformBuilder::buildLifeType(LifeType::Type val)
{
    lt_ = createLifeType(val);
}

void TransformBuilder::buildLifeDuration(int val)
{
    ld_ = createLifeDuration(val);
}

void TransformBuilder::addProposalToSecurityAsscosiation() {}

void TransformBuilder::addTransformToProposal() {}

void TransformBuilder::addAttributesToTransform()
{
    addBuiltAttributes(trans_, {ea_, kl_, ha_, am_, gd_, lt_, ld_});
}

PayloadPtr TransformBuilder::getResult()
{
    return trans_;
}

// PayloadDirector

PayloadDirector::PayloadDirector(const PayloadBuilderPtr& builder)
    : builder_(builder)
{}

PayloadPtr PayloadDirector::construct()
{
    builder_->buildSecurityAssociation();
    builder_->buildProposal();
    builder_->buildTransform();
    builder_->addProposalToSecurityAsscosiation();
    builder_->addTransformToProposal();
    return builder_->getResult();
}

PayloadPtr PayloadDirector::construct(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                                      AuthenticationMethod::Type am, const std::string& psk,
                                      GroupDescription::Type gd, LifeType::Type lt, int ld)
{
    builder_->buildSecurityAssociation();
    builder_->buildProposal();
    builder_->buildTransform();
    builder_->buildEncryptionAlgorithm(ea);
    builder_->buildKeyLength(kl);
    builder_->buildHashAlgorithm(ha);
    builder_->buildAuthenticationMethod(am, psk);
    builder_->buildGroupDescription(gd);
    builder_->buildLifeType(lt);
    builder_->buildLifeDuration(ld);
    builder_->addProposalToSecurityAsscosiation();
    builder_->addTransformToProposal();
    builder_->addAttributesToTransform();
    return builder_->getResult();
}

PayloadPtr PayloadDirector::construct(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                                      GroupDescription::Type gd, LifeType::Type lt, int ld)
{
    builder_->buildSecurityAssociation();
    builder_->buildProposal();
    builder_->buildTransform();
    builder_->buildEncryptionAlgorithm(ea);
    builder_->buildKeyLength(kl);
    builder_->buildHashAlgorithm(ha);
    builder_->buildGroupDescription(gd);
    builder_->buildLifeType(lt);
    builder_->buildLifeDuration(ld);
    builder_->addProposalToSecurityAsscosiation();
    builder_->addTransformToProposal();
    builder_->addAttributesToTransform();
    return builder_->getResult();
}

PayloadPtr PayloadDirector::construct(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                                      LifeType::Type lt, int ld)
{
    builder_->buildSecurityAssociation();
    builder_->buildProposal();
    builder_->buildTransform();
    builder_->buildEncryptionAlgorithm(ea);
    builder_->buildKeyLength(kl);
    builder_->buildHashAlgorithm(ha);
    builder_->buildLifeType(lt);
    builder_->buildLifeDuration(ld);
    builder_->addProposalToSecurityAsscosiation();
    builder_->addTransformToProposal();
    builder_->addAttributesToTransform();
    return builder_->getResult();
}

// Factories

PayloadPtr createSecurityAssociation()
{
    return std::make_shared<SecurityAssociation>();
}

PayloadPtr createProposal()
{
    return std::make_shared<Proposal>();
}

PayloadPtr createTransform()
{
    return std::make_shared<Transform>();
}

PayloadPtr createSecurityAssociation(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                                     AuthenticationMethod::Type am, const std::string& psk,
                                     GroupDescription::Type gd, LifeType::Type lt, int ld)
{
    return constructWith<SecurityAssociationBuilder>(ea, kl, ha, am, psk, gd, lt, ld);
}

PayloadPtr createSecurityAssociation(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                                     GroupDescription::Type gd, LifeType::Type lt, int ld)
{
    return constructWith<SecurityAssociationBuilder>(ea, kl, ha, gd, lt, ld);
}

PayloadPtr createSecurityAssociation(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                                     LifeType::Type lt, int ld)
{
    return constructWith<SecurityAssociationBuilder>(ea, kl, ha, lt, ld);
}

PayloadPtr createProposal(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                          AuthenticationMethod::Type am, const std::string& psk, GroupDescription::Type gd,
                          LifeType::Type lt, int ld)
{
    return constructWith<ProposalBuilder>(ea, kl, ha, am, psk, gd, lt, ld);
}

PayloadPtr createProposal(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                          GroupDescription::Type gd, LifeType::Type lt, int ld)
{
    return constructWith<ProposalBuilder>(ea, kl, ha, gd, lt, ld);
}

PayloadPtr createProposal(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha, LifeType::Type lt,
                          int ld)
{
    return constructWith<ProposalBuilder>(ea, kl, ha, lt, ld);
}

PayloadPtr createTransform(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                           AuthenticationMethod::Type am, const std::string& psk, GroupDescription::Type gd,
                           LifeType::Type lt, int ld)
{
    return constructWith<TransformBuilder>(ea, kl, ha, am, psk, gd, lt, ld);
}

PayloadPtr createTransform(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                           GroupDescription::Type gd, LifeType::Type lt, int ld)
{
    return constructWith<TransformBuilder>(ea, kl, ha, gd, lt, ld);
}

PayloadPtr createTransform(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha, LifeType::Type lt,
                           int ld)
{
    return constructWith<TransformBuilder>(ea, kl, ha, lt, ld);
}

PayloadPtr createEncryptionAlgorithm(EncryptionAlgorithm::Type val)
{
    return std::make_shared<EncryptionAlgorithm>(val);
}

PayloadPtr createKeyLength(int val)
{
    return std::make_shared<KeyLength>(val);
}

PayloadPtr createHashAlgorithm(HashAlgorithm::Type val)
{
    return std::make_shared<HashAlgorithm>(val);
}

PayloadPtr createAuthenticationMethod(AuthenticationMethod::Type val, const std::string& data)
{
    return std::make_shared<AuthenticationMethod>(val, data);
}

PayloadPtr createGroupDescription(GroupDescription::Type val)
{
    return std::make_shared<GroupDescription>(val);
}

PayloadPtr createLifeType(LifeType::Type val)
{
    return std::make_shared<LifeType>(val);
}

PayloadPtr createLifeDuration(int val)
{
    return std::make_shared<LifeDuration>(val);
}

} // namespace norvale::tamber::systemdata::ipseccfg::common
