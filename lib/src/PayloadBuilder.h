#ifndef IPSECCFG_PAYLOADBUILDER_H
#define IPSECCFG_PAYLOADBUILDER_H

/// @file
/// Builders, their director, and the factory functions that wrap both into one call.
///
/// Most callers need only the factories at the end: createSecurityAssociation(EncryptionAlgorithm::AES, 256,
/// ...) gives an association with one proposal with one transform with these attributes. No number of a
/// proposal or transform is set (it stays 0), and no value is checked.

#include "SecurityAssociation.h"

#include <memory>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::common {

/// Builds the parts of a tree one by one and links them.
///
/// The parts stay with the builder: each build operation replaces its own part only, so a builder that runs a
/// second time adds the attributes of the first run again unless they were built anew. Operations on parts
/// that a builder does not have do nothing. Not synchronised.
class PayloadBuilder {
public:
    virtual ~PayloadBuilder();

    virtual void buildSecurityAssociation() = 0;
    virtual void buildProposal() = 0;
    virtual void buildTransform() = 0;
    virtual void buildEncryptionAlgorithm(EncryptionAlgorithm::Type val) = 0;
    /// @param val in bits
    virtual void buildKeyLength(int val) = 0;
    virtual void buildHashAlgorithm(HashAlgorithm::Type val) = 0;
    /// @param data the method's data, for example a pre-shared key
    virtual void buildAuthenticationMethod(AuthenticationMethod::Type val, const std::string& data) = 0;
    virtual void buildGroupDescription(GroupDescription::Type val) = 0;
    virtual void buildLifeType(LifeType::Type val) = 0;
    /// @param val in the unit of the life type
    virtual void buildLifeDuration(int val) = 0;

    /// @throws std::logic_error "SecurityAssociation is null" or "Proposal is null" if that part was not
    /// built.
    virtual void addProposalToSecurityAsscosiation() = 0;
    /// @throws std::logic_error "Proposal is null" or "Transform is null" if that part was not built.
    virtual void addTransformToProposal() = 0;
    /// Adds every attribute that was built, in the order of the build operations above. If memory runs out,
    /// those before it stay added.
    /// @throws std::logic_error "Transform is null" if it was not built.
    virtual void addAttributesToTransform() = 0;

    /// The root of what was built; null if it was not.
    virtual PayloadPtr getResult() = 0;
};

using PayloadBuilderPtr = std::shared_ptr<PayloadBuilder>;

/// Builds an association with a proposal with a transform.
class SecurityAssociationBuilder : public PayloadBuilder {
public:
    SecurityAssociationBuilder();
    ~SecurityAssociationBuilder() override;
    SecurityAssociationBuilder(const SecurityAssociationBuilder&) = delete;
    SecurityAssociationBuilder& operator=(const SecurityAssociationBuilder&) = delete;

    void buildSecurityAssociation() override;
    void buildProposal() override;
    void buildTransform() override;
    void buildEncryptionAlgorithm(EncryptionAlgorithm::Type val) override;
    void buildKeyLength(int val) override;
    void buildHashAlgorithm(HashAlgorithm::Type val) override;
    void buildAuthenticationMethod(AuthenticationMethod::Type val, const std::string& data) override;
    void buildGroupDescription(GroupDescription::Type val) override;
    void buildLifeType(LifeType::Type val) override;
    void buildLifeDuration(int val) override;
    void addProposalToSecurityAsscosiation() override;
    void addTransformToProposal() override;
    void addAttributesToTransform() override;
    PayloadPtr getResult() override;

private:
    PayloadPtr sa_;
    PayloadPtr prop_;
    PayloadPtr trans_;
    PayloadPtr ea_;
    PayloadPtr kl_;
    PayloadPtr ha_;
    PayloadPtr am_;
    PayloadPtr gd_;
    PayloadPtr lt_;
    PayloadPtr ld_;
};

/// Builds a proposal with a transform.
class ProposalBuilder : public PayloadBuilder {
public:
    ProposalBuilder();
    ~ProposalBuilder() override;
    ProposalBuilder(const ProposalBuilder&) = delete;
    ProposalBuilder& operator=(const ProposalBuilder&) = delete;

    void buildSecurityAssociation() override;
    void buildProposal() override;
    void buildTransform() override;
    void buildEncryptionAlgorithm(EncryptionAlgorithm::Type val) override;
    void buildKeyLength(int val) override;
    void buildHashAlgorithm(HashAlgorithm::Type val) override;
    void buildAuthenticationMethod(AuthenticationMethod::Type val, const std::string& data) override;
    void buildGroupDescription(GroupDescription::Type val) override;
    void buildLifeType(LifeType::Type val) override;
    void buildLifeDuration(int val) override;
    void addProposalToSecurityAsscosiation() override;
    void addTransformToProposal() override;
    void addAttributesToTransform() override;
    PayloadPtr getResult() override;

private:
    PayloadPtr prop_;
    PayloadPtr trans_;
    PayloadPtr ea_;
    PayloadPtr kl_;
    PayloadPtr ha_;
    PayloadPtr am_;
    PayloadPtr gd_;
    PayloadPtr lt_;
    PayloadPtr ld_;
};

/// Builds a transform.
class TransformBuilder : public PayloadBuilder {
public:
    TransformBuilder();
    ~TransformBuilder() override;
    TransformBuilder(const TransformBuilder&) = delete;
    TransformBuilder& operator=(const TransformBuilder&) = delete;

    void buildSecurityAssociation() override;
    void buildProposal() override;
    void buildTransform() override;
    void buildEncryptionAlgorithm(EncryptionAlgorithm::Type val) override;
    void buildKeyLength(int val) override;
    void buildHashAlgorithm(HashAlgorithm::Type val) override;
    void buildAuthenticationMethod(AuthenticationMethod::Type val, const std::string& data) override;
    void buildGroupDescription(GroupDescription::Type val) override;
    void buildLifeType(LifeType::Type val) override;
    void buildLifeDuration(int val) override;
    void addProposalToSecurityAsscosiation() override;
    void addTransformToProposal() override;
    void addAttributesToTransform() override;
    PayloadPtr getResult() override;

private:
    PayloadPtr trans_;
    PayloadPtr ea_;
    PayloadPtr kl_;
    PayloadPtr ha_;
    PayloadPtr am_;
    PayloadPtr gd_;
    PayloadPtr lt_;
    PayloadPtr ld_;
};

/// Drives a builder, which it shares with the caller, through a fixed sequence of steps.
class PayloadDirector {
public:
    explicit PayloadDirector(const PayloadBuilderPtr& builder);

    /// The bare skeleton (association, proposal, transform): no attribute is added.
    PayloadPtr construct();
    /// All seven attributes.
    /// @param kl key length in bits
    /// @param psk the authentication method's data
    /// @param ld lifetime in the unit of `lt`
    PayloadPtr construct(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                         AuthenticationMethod::Type am, const std::string& psk, GroupDescription::Type gd,
                         LifeType::Type lt, int ld);
    /// Without an authentication method.
    PayloadPtr construct(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                         GroupDescription::Type gd, LifeType::Type lt, int ld);
    /// Without an authentication method and a group.
    PayloadPtr construct(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha, LifeType::Type lt,
                         int ld);

private:
    PayloadBuilderPtr builder_;
};

/// A new, empty node.
/// @{
PayloadPtr createSecurityAssociation();
PayloadPtr createProposal();
PayloadPtr createTransform();
/// @}

/// A new node with everything below it, as PayloadDirector::construct with the same parameters builds it.
/// @{
PayloadPtr createSecurityAssociation(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                                     AuthenticationMethod::Type am, const std::string& psk,
                                     GroupDescription::Type gd, LifeType::Type lt, int ld);
PayloadPtr createSecurityAssociation(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                                     GroupDescription::Type gd, LifeType::Type lt, int ld);
PayloadPtr createSecurityAssociation(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                                     LifeType::Type lt, int ld);
PayloadPtr createProposal(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                          AuthenticationMethod::Type am, const std::string& psk, GroupDescription::Type gd,
                          LifeType::Type lt, int ld);
PayloadPtr createProposal(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                          GroupDescription::Type gd, LifeType::Type lt, int ld);
PayloadPtr createProposal(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha, LifeType::Type lt,
                          int ld);
PayloadPtr createTransform(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                           AuthenticationMethod::Type am, const std::string& psk, GroupDescription::Type gd,
                           LifeType::Type lt, int ld);
PayloadPtr createTransform(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                           GroupDescription::Type gd, LifeType::Type lt, int ld);
PayloadPtr createTransform(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha, LifeType::Type lt,
                           int ld);
/// @}

/// A new attribute.
/// @{
PayloadPtr createEncryptionAlgorithm(EncryptionAlgorithm::Type val);
PayloadPtr createKeyLength(int val);
PayloadPtr createHashAlgorithm(HashAlgorithm::Type val);
PayloadPtr createAuthenticationMethod(AuthenticationMethod::Type val, const std::string& data);
PayloadPtr createGroupDescription(GroupDescription::Type val);
PayloadPtr createLifeType(LifeType::Type val);
PayloadPtr createLifeDuration(int val);
/// @}

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
