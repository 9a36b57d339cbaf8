// The payload tree: composites over a list of children, attributes over one integer.

#include "SecurityAssociation.h"
#include "PayloadVisitor.h"

#include <iterator>
#include <ostream>
#include <stdexcept>
#include <typeinfo>

namespace norvale::tamber::systemdata::ipseccfg::common {

namespace {

constexpr const char* const ENCRYPTION_NAMES[] = {"AES", "3DES", "AES-GCM"};
constexpr const char* const HASH_NAMES[] = {"SHA1", "SHA256", "SHA384", "SHA512", "AES-GCM"};
constexpr const char* const AUTHENTICATION_NAMES[] = {"PSK", "RSA_SIG"};
constexpr const char* const GROUP_NAMES[] = {"Group14", "Group24", "Group19", "Group20"};
constexpr const char* const LIFE_TYPE_NAMES[] = {"SECOND"};

template <std::size_t Size>
const char* nameOf(const char* const (&names)[Size], int value)
{
    const bool known = value >= 0 && static_cast<std::size_t>(value) < Size;
    return known ? names[value] : "Unknown";
}

// What the three composites share. They cannot share it through a base class: the order of their data members
// is part of the binary interface, and a proposal's number stands before its children.

// Visits a copy of the list, so that each child is held during its visit and the visitor may change the tree.
template <class Composite>
void visitTree(Composite& composite, const container_type& children, PayloadVisitor& visitor)
{
    visitor.visit(composite);
    const container_type visited = children; // NOLINT(performance-unnecessary-copy-initialization)
    for (const PayloadPtr& child : visited)
        child->accept(visitor);
}

PayloadPtr childAt(const container_type& children, std::size_t index)
{
    if (children.empty())
        throw std::runtime_error("No child");
    if (index > children.size() - 1)
        throw std::out_of_range("Range error");
    return *std::next(children.begin(), static_cast<container_type::difference_type>(index));
}

std::string textOf(const std::string& heading, const container_type& children)
{
    // No stream, which would keep it quiet if memory ran out and give half of the text.
    std::string text = heading + "\n";
    for (const PayloadPtr& child : children)
        text += child->to_string() + "\n";
    return text;
}

[[noreturn]] void refuseChild()
{
    throw std::logic_error("Can't have a child");
}

template <class Kind>
bool insertIfExactly(std::ostream& os, const Payload& payload)
{
    if (typeid(payload) != typeid(Kind))
        return false;
    os << dynamic_cast<const Kind&>(payload);
    return true;
}

template <class... Kinds>
void insertFirstOf(std::ostream& os, const Payload& payload)
{
    (insertIfExactly<Kinds>(os, payload) || ...);
}

} // namespace

Payload::~Payload() = default;

// Attribute

Attribute::Attribute(int value)
    : val_(value)
{}

Attribute::~Attribute() = default;

bool Attribute::add(const PayloadPtr&)
{
    refuseChild();
}

bool Attribute::remove(const PayloadPtr&)
{
    refuseChild();
}

container_type Attribute::getChildren() const
{
    refuseChild();
}

PayloadPtr Attribute::getChild(std::size_t) const
{
    refuseChild();
}

std::size_t Attribute::getNumberOfChildren() const
{
    return 0;
}

int Attribute::getValue() const
{
    return val_;
}

// The attribute kinds

EncryptionAlgorithm::EncryptionAlgorithm(int value)
    : Attribute(value)
{}

void EncryptionAlgorithm::accept(PayloadVisitor& visitor)
{
    visitor.visit(*this);
}

std::string EncryptionAlgorithm::to_string() const
{
    return std::string("EncryptionAlgorithm: value: ") + nameOf(ENCRYPTION_NAMES, getValue());
}

KeyLength::KeyLength(int value)
    : Attribute(value)
{}

void KeyLength::accept(PayloadVisitor& visitor)
{
    visitor.visit(*this);
}

std::string KeyLength::to_string() const
{
    return "KeyLength: value: " + std::to_string(getValue());
}

HashAlgorithm::HashAlgorithm(int value)
    : Attribute(value)
{}

void HashAlgorithm::accept(PayloadVisitor& visitor)
{
    visitor.visit(*this);
}

std::string HashAlgorithm::to_string() const
{
    return std::string("HashAlgorithm: value: ") + nameOf(HASH_NAMES, getValue());
}

AuthenticationMethod::AuthenticationMethod(int value, const std::string& data)
    : Attribute(value)
    , data_(data)
{}

void AuthenticationMethod::accept(PayloadVisitor& visitor)
{
    visitor.visit(*this);
}

std::string AuthenticationMethod::to_string() const
{
    return std::string("AuthenticationMethod: value: ") + nameOf(AUTHENTICATION_NAMES, getValue()) +
           ": data: " + data_;
}

std::string AuthenticationMethod::getData() const
{
    return data_;
}

GroupDescription::GroupDescription(int value)
    : Attribute(value)
{}

void GroupDescription::accept(PayloadVisitor& visitor)
{
    visitor.visit(*this);
}

std::string GroupDescription::to_string() const
{
    return std::string("GroupDescription: value: ") + nameOf(GROUP_NAMES, getValue());
}

LifeType::LifeType(int value)
    : Attribute(value)
{}

void LifeType::accept(PayloadVisitor& visitor)
{
    visitor.visit(*this);
}

std::string LifeType::to_string() const
{
    return std::string("LifeType: value: ") + nameOf(LIFE_TYPE_NAMES, getValue());
}

LifeDuration::LifeDuration(int value)
    : Attribute(value)
{}

void LifeDuration::accept(PayloadVisitor& visitor)
{
    visitor.visit(*this);
}

std::string LifeDuration::to_string() const
{
    return "LifeDuration: value: " + std::to_string(getValue());
}

// SecurityAssociation

SecurityAssociation::SecurityAssociation() = default;
SecurityAssociation::~SecurityAssociation() = default;

void SecurityAssociation::accept(PayloadVisitor& visitor)
{
    visitTree(*this, children_, visitor);
}

bool SecurityAssociation::add(const PayloadPtr& child)
{
    children_.push_back(child);
    return true;
}

bool SecurityAssociation::remove(const PayloadPtr& child)
{
    children_.remove(child);
    return true;
}

container_type SecurityAssociation::getChildren() const
{
    return children_;
}

PayloadPtr SecurityAssociation::getChild(std::size_t index) const
{
    return childAt(children_, index);
}

std::size_t SecurityAssociation::getNumberOfChildren() const
{
    return children_.size();
}

std::string SecurityAssociation::to_string() const
{
    return textOf("SecurityAssociation: ", children_);
}

// Proposal

Proposal::Proposal() = default;
Proposal::~Proposal() = default;

void Proposal::accept(PayloadVisitor& visitor)
{
    visitTree(*this, children_, visitor);
}

bool Proposal::add(const PayloadPtr& child)
{
    children_.push_back(child);
    return true;
}

bool Proposal::remove(const PayloadPtr& child)
{
    children_.remove(child);
    return true;
}

container_type Proposal::getChildren() const
{
    return children_;
}

PayloadPtr Proposal::getChild(std::size_t index) const
{
    return childAt(children_, index);
}

std::size_t Proposal::getNumberOfChildren() const
{
    return children_.size();
}

std::string Proposal::to_string() const
{
    return textOf("proposalID: " + std::to_string(id_), children_);
}

void Proposal::setId(int id)
{
    id_ = id;
}

int Proposal::getId() const
{
    return id_;
}

// Transform

Transform::Transform() = default;
Transform::~Transform() = default;

void Transform::accept(PayloadVisitor& visitor)
{
    visitTree(*this, children_, visitor);
}

bool Transform::add(const PayloadPtr& child)
{
    children_.push_back(child);
    return true;
}

bool Transform::remove(const PayloadPtr& child)
{
    children_.remove(child);
    return true;
}

container_type Transform::getChildren() const
{
    return children_;
}

PayloadPtr Transform::getChild(std::size_t index) const
{
    return childAt(children_, index);
}

std::size_t Transform::getNumberOfChildren() const
{
    return children_.size();
}

std::string Transform::to_string() const
{
    return textOf("transformID: " + std::to_string(id_), children_);
}

void Transform::setId(int id)
{
    id_ = id;
}

int Transform::getId() const
{
    return id_;
}

// Stream insertion

std::ostream& operator<<(std::ostream& os, const SecurityAssociation& payload)
{
    return os << payload.to_string();
}

std::ostream& operator<<(std::ostream& os, const Proposal& payload)
{
    return os << payload.to_string();
}

std::ostream& operator<<(std::ostream& os, const Transform& payload)
{
    return os << payload.to_string();
}

std::ostream& operator<<(std::ostream& os, const EncryptionAlgorithm& payload)
{
    return os << payload.to_string();
}

std::ostream& operator<<(std::ostream& os, const KeyLength& payload)
{
    return os << payload.to_string();
}

std::ostream& operator<<(std::ostream& os, const HashAlgorithm& payload)
{
    return os << payload.to_string();
}

std::ostream& operator<<(std::ostream& os, const AuthenticationMethod& payload)
{
    return os << payload.to_string();
}

std::ostream& operator<<(std::ostream& os, const GroupDescription& payload)
{
    return os << payload.to_string();
}

std::ostream& operator<<(std::ostream& os, const LifeType& payload)
{
    return os << payload.to_string();
}

std::ostream& operator<<(std::ostream& os, const LifeDuration& payload)
{
    return os << payload.to_string();
}

std::ostream& operator<<(std::ostream& os, const Payload& payload)
{
    insertFirstOf<SecurityAssociation, Proposal, Transform, EncryptionAlgorithm, KeyLength, HashAlgorithm,
                  AuthenticationMethod, GroupDescription, LifeType, LifeDuration>(os, payload);
    return os;
}

} // namespace norvale::tamber::systemdata::ipseccfg::common
