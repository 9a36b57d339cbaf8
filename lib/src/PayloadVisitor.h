#ifndef IPSECCFG_PAYLOADVISITOR_H
#define IPSECCFG_PAYLOADVISITOR_H

/// @file
/// The visitor of the payload tree.

namespace norvale::tamber::systemdata::ipseccfg::common {

class SecurityAssociation;
class Proposal;
class Transform;
class EncryptionAlgorithm;
class KeyLength;
class HashAlgorithm;
class AuthenticationMethod;
class GroupDescription;
class LifeType;
class LifeDuration;

/// Receives the nodes of a payload tree, one call a node, parents before their children.
///
/// Payload::accept makes the calls. A visitor learns where the children of one composite end only by the
/// visit of the next composite. It may change the tree while it visits it; each composite visits the children
/// it had right after its own visit. The nodes belong to the tree. Not synchronised; what a visit throws
/// passes through accept unchanged.
class PayloadVisitor {
public:
    virtual ~PayloadVisitor();

    /// Receives one node of this kind; its children follow in calls of their own.
    /// @{
    virtual void visit(SecurityAssociation& payload) = 0;
    virtual void visit(Proposal& payload) = 0;
    virtual void visit(Transform& payload) = 0;
    virtual void visit(EncryptionAlgorithm& payload) = 0;
    virtual void visit(KeyLength& payload) = 0;
    virtual void visit(HashAlgorithm& payload) = 0;
    virtual void visit(AuthenticationMethod& payload) = 0;
    virtual void visit(GroupDescription& payload) = 0;
    virtual void visit(LifeType& payload) = 0;
    virtual void visit(LifeDuration& payload) = 0;
    /// @}
};

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
