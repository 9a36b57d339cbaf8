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

    /// Makes the association, in place of an earlier one.
    virtual void buildSecurityAssociation() = 0;
    /// Makes the proposal, in place of an earlier one.
    virtual void buildProposal() = 0;
    /// Makes the transform, in place of an earlier one.
    virtual void buildTransform() = 0;
    /// Makes the encryption algorithm, in place of an earlier one.
    virtual void buildEncryptionAlgorithm(EncryptionAlgorithm::Type val) = 0;
    /// Makes the key length, in place of an earlier one.
    /// @param val in bits
    virtual void buildKeyLength(int val) = 0;
    /// Makes the hash algorithm, in place of an earlier one.
    virtual void buildHashAlgorithm(HashAlgorithm::Type val) = 0;
    /// Makes the authentication method, in place of an earlier one.
    /// @param val the method
    /// @param data the method's data, for example a pre-shared key
    virtual void buildAuthenticationMethod(AuthenticationMethod::Type val, const std::string& data) = 0;
    /// Makes the Diffie-Hellman group, in place of an earlier one.
    virtual void buildGroupDescription(GroupDescription::Type val) = 0;
    /// Makes the unit of the lifetime, in place of an earlier one.
    virtual void buildLifeType(LifeType::Type val) = 0;
    /// Makes the lifetime, in place of an earlier one.
    /// @param val in the unit of the life type
    virtual void buildLifeDuration(int val) = 0;

    /// Adds the proposal to the association. (The name is spelled so.)
    /// @throws std::logic_error "SecurityAssociation is null" or "Proposal is null" if that part was not
    ///         built.
    virtual void addProposalToSecurityAsscosiation() = 0;
    /// Adds the transform to the proposal.
    /// @throws std::logic_error "Proposal is null" or "Transform is null" if that part was not built.
    virtual void addTransformToProposal() = 0;
    /// Adds every attribute that was built, in the order of the build operations above. If memory runs out,
    /// those before it stay added.
    /// @throws std::logic_error "Transform is null" if it was not built.
    virtual void addAttributesToTransform() = 0;

    /// The root of what was built, shared with the builder; null if it was not built.
    virtual PayloadPtr getResult() = 0;
};

/// Shared ownership of a builder.
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
///
/// Used more than once on one builder, it adds what the earlier run built as well (PayloadBuilder). Not
/// synchronised.
class PayloadDirector {
public:
    /// @param builder whom to drive; not null
    explicit PayloadDirector(const PayloadBuilderPtr& builder);

    /// The bare skeleton (association, proposal, transform): no attribute is added.
    PayloadPtr construct();
    /// All seven attributes.
    /// @param ea the encryption algorithm
    /// @param kl the key length in bits
    /// @param ha the hash algorithm
    /// @param am the authentication method
    /// @param psk the authentication method's data, for example a pre-shared key
    /// @param gd the Diffie-Hellman group
    /// @param lt the unit of `ld`
    /// @param ld the lifetime in the unit of `lt`
    /// @return the builder's result
    PayloadPtr construct(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                         AuthenticationMethod::Type am, const std::string& psk, GroupDescription::Type gd,
                         LifeType::Type lt, int ld);
    /// As above, without an authentication method.
    PayloadPtr construct(EncryptionAlgorithm::Type ea, int kl, HashAlgorithm::Type ha,
                         GroupDescription::Type gd, LifeType::Type lt, int ld);
    /// As above, without an authentication method and a group.
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

/// A new node with everything below it, as PayloadDirector::construct with the same parameters builds it:
/// one proposal, one transform, and the transform's attributes in the order of the parameters. Those without
/// `am` have no authentication method, those without `gd` no group.
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

/// A new attribute of this value, which is not checked.
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
