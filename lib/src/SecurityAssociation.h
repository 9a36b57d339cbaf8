#ifndef IPSECCFG_SECURITYASSOCIATION_H
#define IPSECCFG_SECURITYASSOCIATION_H

/// @file
/// The payload tree: one IKE or IPsec security association as a policy describes it.
///
/// A SecurityAssociation holds Proposals, a Proposal holds Transforms, a Transform holds attributes; the
/// words are those of IKE (RFC 2408, RFC 2409; RFC 7296 for version 2). That shape is a convention of the
/// builders (PayloadBuilder.h): a composite takes any payload as a child.
///
/// Nodes are held through PayloadPtr only and shared, never copied, by parents, builders and the policy
/// store. Nothing here is synchronised: a tree is built by one thread and then read.

#include <cstddef>
#include <iosfwd>
#include <list>
#include <memory>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::common {

class Payload;
class PayloadVisitor;

/// Shared ownership of a node.
using PayloadPtr = std::shared_ptr<Payload>;
/// The children of a composite, in the order in which they were added.
using container_type = std::list<PayloadPtr>;

/// A node of the tree.
class Payload {
public:
    using container_type = common::container_type;

    virtual ~Payload();

    /// Calls the visitor's `visit` for this node's kind, then, for a composite, lets each child accept the
    /// visitor in order. Each child is held during its visit, so the visitor may take it out of the tree.
    virtual void accept(PayloadVisitor& visitor) = 0;

    /// Appends a child to a composite; neither null nor duplicates nor the kind are checked.
    /// @return true
    /// @throws std::logic_error "Can't have a child" from an attribute.
    virtual bool add(const PayloadPtr& child) = 0;

    /// Takes every child that is the same node as `child` out of a composite.
    /// @return true, also when there was none
    /// @throws std::logic_error "Can't have a child" from an attribute.
    virtual bool remove(const PayloadPtr& child) = 0;

    /// A copy of the list of children; the nodes themselves are shared.
    /// @throws std::logic_error "Can't have a child" from an attribute.
    virtual container_type getChildren() const = 0;

    /// The child at `index`, 0 for the first one added.
    /// @throws std::runtime_error "No child" from a composite without children, whatever the index.
    /// @throws std::out_of_range "Range error" if `index` is not below the number of children.
    /// @throws std::logic_error "Can't have a child" from an attribute.
    virtual PayloadPtr getChild(std::size_t index) const = 0;

    /// The number of children; 0 for an attribute.
    virtual std::size_t getNumberOfChildren() const = 0;

    /// The node as text. An attribute is one line without a line end; a composite is a heading line and then
    /// each child's text followed by a line end. Authentication data is shown as it is.
    virtual std::string to_string() const = 0;
};

/// A leaf: one integer value, fixed at construction and never checked.
class Attribute : public Payload {
public:
    explicit Attribute(int value);
    ~Attribute() override;

    bool add(const PayloadPtr& child) override;
    bool remove(const PayloadPtr& child) override;
    container_type getChildren() const override;
    PayloadPtr getChild(std::size_t index) const override;
    std::size_t getNumberOfChildren() const override;

    int getValue() const;

private:
    int val_;
};

/// The encryption algorithm (RFC 3602, RFC 2451, RFC 4106).
class EncryptionAlgorithm : public Attribute {
public:
    enum Type : int { AES = 0, DES3 = 1, AES_GCM = 2 };

    explicit EncryptionAlgorithm(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "EncryptionAlgorithm: value: " and "AES", "3DES", "AES-GCM" or, for any other value, "Unknown".
    std::string to_string() const override;
};

/// The length of the encryption key in bits.
class KeyLength : public Attribute {
public:
    explicit KeyLength(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "KeyLength: value: " and the value in decimal.
    std::string to_string() const override;
};

/// The hash algorithm (RFC 2404, RFC 4868); AES_GCM where the encryption algorithm protects integrity itself.
class HashAlgorithm : public Attribute {
public:
    enum Type : int { SHA1 = 0, SHA256 = 1, SHA384 = 2, SHA512 = 3, AES_GCM = 4 };

    explicit HashAlgorithm(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "HashAlgorithm: value: " and "SHA1", "SHA256", "SHA384", "SHA512", "AES-GCM" or "Unknown".
    std::string to_string() const override;
};

/// How the two ends prove who they are, with the data that goes with the method, for example a pre-shared
/// key.
class AuthenticationMethod : public Attribute {
public:
    enum Type : int { PSK = 0, RSA_SIG = 1 };

    /// @param data any bytes; stored unchanged.
    AuthenticationMethod(int value, const std::string& data);
    void accept(PayloadVisitor& visitor) override;
    /// "AuthenticationMethod: value: ", then "PSK", "RSA_SIG" or "Unknown", then ": data: " and the data, not
    /// masked.
    std::string to_string() const override;

    std::string getData() const;

private:
    std::string data_;
};

/// The Diffie-Hellman group (RFC 3526, RFC 5114, RFC 5903). The enumerators are numbered in this order, not
/// by group.
class GroupDescription : public Attribute {
public:
    enum Type : int { G14 = 0, G24 = 1, G19 = 2, G20 = 3 };

    explicit GroupDescription(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "GroupDescription: value: " and "Group14", "Group24", "Group19", "Group20" or "Unknown".
    std::string to_string() const override;
};

/// The unit of LifeDuration.
class LifeType : public Attribute {
public:
    enum Type : int { SECOND = 0 };

    explicit LifeType(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "LifeType: value: " and "SECOND" or "Unknown".
    std::string to_string() const override;
};

/// The lifetime in the unit that LifeType names.
class LifeDuration : public Attribute {
public:
    explicit LifeDuration(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "LifeDuration: value: " and the value in decimal.
    std::string to_string() const override;
};

/// The root of a tree.
class SecurityAssociation : public Payload {
public:
    SecurityAssociation();
    ~SecurityAssociation() override;

    void accept(PayloadVisitor& visitor) override;
    bool add(const PayloadPtr& child) override;
    bool remove(const PayloadPtr& child) override;
    container_type getChildren() const override;
    PayloadPtr getChild(std::size_t index) const override;
    std::size_t getNumberOfChildren() const override;
    /// The heading is "SecurityAssociation: ".
    std::string to_string() const override;

private:
    container_type children_;
};

/// One proposal: a number and its transforms.
class Proposal : public Payload {
public:
    /// The number is 0 until setId is called.
    Proposal();
    ~Proposal() override;

    void accept(PayloadVisitor& visitor) override;
    bool add(const PayloadPtr& child) override;
    bool remove(const PayloadPtr& child) override;
    container_type getChildren() const override;
    PayloadPtr getChild(std::size_t index) const override;
    std::size_t getNumberOfChildren() const override;
    /// The heading is "proposalID: " and the number.
    std::string to_string() const override;

    void setId(int id);
    int getId() const;

private:
    int id_ = 0;
    container_type children_;
};

/// One transform: a number and its attributes.
class Transform : public Payload {
public:
    /// The number is 0 until setId is called.
    Transform();
    ~Transform() override;

    void accept(PayloadVisitor& visitor) override;
    bool add(const PayloadPtr& child) override;
    bool remove(const PayloadPtr& child) override;
    container_type getChildren() const override;
    PayloadPtr getChild(std::size_t index) const override;
    std::size_t getNumberOfChildren() const override;
    /// The heading is "transformID: " and the number.
    std::string to_string() const override;

    void setId(int id);
    int getId() const;

private:
    int id_ = 0;
    container_type children_;
};

/// Each writes the node's to_string() and nothing after it.
/// @{
std::ostream& operator<<(std::ostream& os, const SecurityAssociation& payload);
std::ostream& operator<<(std::ostream& os, const Proposal& payload);
std::ostream& operator<<(std::ostream& os, const Transform& payload);
std::ostream& operator<<(std::ostream& os, const EncryptionAlgorithm& payload);
std::ostream& operator<<(std::ostream& os, const KeyLength& payload);
std::ostream& operator<<(std::ostream& os, const HashAlgorithm& payload);
std::ostream& operator<<(std::ostream& os, const AuthenticationMethod& payload);
std::ostream& operator<<(std::ostream& os, const GroupDescription& payload);
std::ostream& operator<<(std::ostream& os, const LifeType& payload);
std::ostream& operator<<(std::ostream& os, const LifeDuration& payload);
/// @}

/// Writes a node of one of the ten kinds above, by its exact dynamic type; a node of any other type writes
/// nothing.
/// @throws std::bad_cast if the node cannot be converted to the type that it claims to be.
std::ostream& operator<<(std::ostream& os, const Payload& payload);

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
