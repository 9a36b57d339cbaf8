#ifndef IPSECCFG_SECURITYASSOCIATION_H
#define IPSECCFG_SECURITYASSOCIATION_H

/// @file
/// The payload tree: one security association of IKE (phase 1) or of IPsec (phase 2) as a policy describes it.
///
/// A SecurityAssociation holds Proposals, a Proposal holds Transforms, a Transform holds attributes; the
/// words are those of ISAKMP (RFC 2408, sections 3.4 to 3.6) and of IKE (RFC 2409, appendix A; RFC 7296,
/// section 3.3 for version 2). That shape is a convention of the builders (PayloadBuilder.h): a composite
/// takes any payload as a child. The numbers of the enumerations are this library's own, not those of IKE.
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
    /// The children of a composite, in the order in which they were added.
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

/// A leaf: one integer value, fixed at construction and never checked (RFC 2408, section 3.3, data
/// attributes).
class Attribute : public Payload {
public:
    /// @param value any number; where the kind has an enumeration `Type`, one of its enumerators
    explicit Attribute(int value);
    ~Attribute() override;

    bool add(const PayloadPtr& child) override;
    bool remove(const PayloadPtr& child) override;
    container_type getChildren() const override;
    PayloadPtr getChild(std::size_t index) const override;
    std::size_t getNumberOfChildren() const override;

    /// The value that it was made with.
    int getValue() const;

private:
    int val_;
};

/// The encryption algorithm.
class EncryptionAlgorithm : public Attribute {
public:
    /// The algorithms.
    enum Type : int {
        AES = 0,    ///< AES-CBC (RFC 3602), key lengths 128, 192, 256
        DES3 = 1,   ///< Triple-DES in CBC mode (RFC 2451); has one key length only
        AES_GCM = 2 ///< AES-GCM in ESP (RFC 4106), the same key lengths; goes with HashAlgorithm::AES_GCM
    };

    /// @param value a Type; any other number is kept
    explicit EncryptionAlgorithm(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "EncryptionAlgorithm: value: " and "AES", "3DES", "AES-GCM" or, for any other value, "Unknown".
    std::string to_string() const override;
};

/// The length of the encryption key in bits (RFC 2409, appendix A, class 14).
class KeyLength : public Attribute {
public:
    /// @param value in bits; not checked
    explicit KeyLength(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "KeyLength: value: " and the value in decimal.
    std::string to_string() const override;
};

/// The hash algorithm: of IKE in phase 1, of the packets' integrity in phase 2.
class HashAlgorithm : public Attribute {
public:
    /// The algorithms.
    enum Type : int {
        SHA1 = 0,   ///< HMAC-SHA-1-96 (RFC 2404)
        SHA256 = 1, ///< HMAC-SHA-256-128 (RFC 4868)
        SHA384 = 2, ///< HMAC-SHA-384-192 (RFC 4868)
        SHA512 = 3, ///< HMAC-SHA-512-256 (RFC 4868)
        AES_GCM = 4 ///< none of its own: EncryptionAlgorithm::AES_GCM protects integrity itself (RFC 4106)
    };

    /// @param value a Type; any other number is kept
    explicit HashAlgorithm(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "HashAlgorithm: value: " and "SHA1", "SHA256", "SHA384", "SHA512", "AES-GCM" or "Unknown".
    std::string to_string() const override;
};

/// How the two ends prove who they are, with the data that goes with the method, for example a pre-shared
/// key.
class AuthenticationMethod : public Attribute {
public:
    /// The methods (RFC 2409, sections 5.1 and 5.4).
    enum Type : int {
        PSK = 0,    ///< a pre-shared key, which is the data
        RSA_SIG = 1 ///< RSA signatures, with the policy's certificates; needs no data
    };

    /// @param value a Type; any other number is kept
    /// @param data any bytes; copied unchanged. Only bytes 0x10 to 0x7F survive the way to a server
    ///        (ParseVisitor).
    AuthenticationMethod(int value, const std::string& data);
    void accept(PayloadVisitor& visitor) override;
    /// "AuthenticationMethod: value: ", then "PSK", "RSA_SIG" or "Unknown", then ": data: " and the data, not
    /// masked.
    std::string to_string() const override;

    /// A copy of the data.
    std::string getData() const;

private:
    std::string data_;
};

/// The Diffie-Hellman group; in phase 2 that of perfect forward secrecy (RFC 2409, section 5.5).
class GroupDescription : public Attribute {
public:
    /// The groups, numbered in this order and not by group.
    enum Type : int {
        G14 = 0, ///< 2048-bit MODP (RFC 3526)
        G24 = 1, ///< 2048-bit MODP with a 256-bit prime order subgroup (RFC 5114)
        G19 = 2, ///< 256-bit random elliptic curve (RFC 5903)
        G20 = 3  ///< 384-bit random elliptic curve (RFC 5903)
    };

    /// @param value a Type; any other number is kept
    explicit GroupDescription(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "GroupDescription: value: " and "Group14", "Group24", "Group19", "Group20" or "Unknown".
    std::string to_string() const override;
};

/// The unit of LifeDuration (RFC 2409, appendix A, class 11).
class LifeType : public Attribute {
public:
    /// The units.
    enum Type : int {
        SECOND = 0 ///< seconds
    };

    /// @param value a Type; any other number is kept
    explicit LifeType(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "LifeType: value: " and "SECOND" or "Unknown".
    std::string to_string() const override;
};

/// The lifetime in the unit that LifeType names (RFC 2409, appendix A, class 12).
class LifeDuration : public Attribute {
public:
    /// @param value in the unit of LifeType; not checked
    explicit LifeDuration(int value);
    void accept(PayloadVisitor& visitor) override;
    /// "LifeDuration: value: " and the value in decimal.
    std::string to_string() const override;
};

/// The root of a tree: its proposals in the order of preference (RFC 2408, section 3.4).
class SecurityAssociation : public Payload {
public:
    /// No children.
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

/// One proposal: a number and its transforms (RFC 2408, section 3.5).
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

    /// Sets the number; any is taken. Transforms of the same proposal number in one phase gather under one
    /// proposal on the way to a server.
    void setId(int id);
    /// The number.
    int getId() const;

private:
    int id_ = 0;
    container_type children_;
};

/// One transform: a number and its attributes (RFC 2408, section 3.6).
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

    /// Sets the number; any is taken.
    void setId(int id);
    /// The number.
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
