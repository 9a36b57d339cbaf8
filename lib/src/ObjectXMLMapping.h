#ifndef IPSECCFG_OBJECTXMLMAPPING_H
#define IPSECCFG_OBJECTXMLMAPPING_H

/// @file
/// The messages: commands that write the policy model into XML-RPC structures (http://xmlrpc.com)
/// and read it back.
///
/// A message is a sequence of structures in an array. Each structure begins with the member "table-id", which
/// says of which of the five kinds it is; values are text, numbers and booleans in decimal as XML-RPC
/// integers:
///
/// | structure            | "table-id" | its other members, in this order                                     |
/// |----------------------|------------|----------------------------------------------------------------------|
/// | scenario             | 0          | scenario, setting-file-path, fips-mode, ns-name                      |
/// | security association | 1          | phase-id, proposal-id, transform-id, then the transform's attributes |
/// | filter rule          | 2          | filter-id, filter-type, src-addr, dst-addr, identity-type,           |
/// | ^                    | ^          | src-identity, dst-identity, priority                                 |
/// | certificate          | 3          | cert-kind, cert-path, pkey-path                                      |
/// | result               | 4          | status, detail                                                       |
///
/// A transform's attributes are the members enc-algo, key-length, hash-algo, auth-method (an array of two
/// texts: the method's number and its data, see ParseVisitor), group-dsc, life-type, life-duration, those that
/// it has, in its order.
///
/// Use of every command: construct it, setArrayParser, execute, then (a deserializer) its getters.
///
/// Serializers append one structure a record and throw
/// - std::logic_error "ArrayParser is not set" before anything else,
/// - std::runtime_error "Failed to allocate CParser" if a structure cannot be made,
/// - any standard exception of the array unchanged, and std::runtime_error "Serialize error" in place of any
///   other.
///
/// Deserializers look at every structure of the array, leave one of another kind at its "table-id", ignore
/// members that they do not know, and throw
/// - std::logic_error "ArrayParser is not set" before anything else,
/// - std::invalid_argument "stoi" for a number that is none (one too large for int, and any other
///   std::out_of_range, quietly ends the reading of that structure instead),
/// - std::runtime_error "Nothing to add the member to: NAME" if a member arrives before what it belongs to,
/// - any other standard exception unchanged, and std::runtime_error "Deserialize error" in place of any
///   other.
///
/// What was read before a failure stays.
///
/// Commands are short-lived objects of one thread.

#include "Certificate.h"
#include "FilterRule.h"
#include "PayloadVisitor.h"
#include "SecurityAssociation.h"

#include <list>
#include <memory>
#include <string>

namespace norvale::tamber::systemdata::parser {
class CArrayParser;
class CParser;
} // namespace norvale::tamber::systemdata::parser

namespace norvale::tamber::systemdata::ipseccfg::common {

/// Not owned: the array belongs to who made it and must outlive the commands that work on it.
using ArrayParserPtr = parser::CArrayParser*;
/// Not owned: the structure belongs to its array.
using ParserPtr = parser::CParser*;

/// A command on a message array.
class Command {
public:
    /// No array is set.
    Command();
    virtual ~Command();

    /// Writes to, or reads from, the array that was set.
    /// @throws std::logic_error "ArrayParser is not set"; the others stand at the head of this file.
    virtual void execute() = 0;

    /// Sets the array; it is not owned, and must be there when execute is called. Null unsets it.
    void setArrayParser(parser::CArrayParser* const& parser);

protected:
    /// The array to work on, null if none is set; not owned.
    ArrayParserPtr receiver_ = nullptr;
};

/// What the server is to do with the engine, and the engine settings that go with it.
class ScenarioCommand : public Command {
public:
    /// The orders.
    enum Type : int {
        None = 0,     ///< no order; never sent, what a request without a scenario reads as
        Start = 1,    ///< start the engine with this policy
        Shutdown = 2, ///< shut it down
        Restart = 3   ///< have the running engine take over this policy
    };
    /// "0"
    static const char* const TABLE_ID_VALUE;
};

/// Writes one scenario structure, whole or not at all.
class ScenarioSerializer : public ScenarioCommand {
public:
    /// @param type the order
    /// @param settingFilePath the engine's setting file, copied
    /// @param fipsMode whether the engine is to run in FIPS mode (FIPS 140)
    /// @param nsName the engine's network namespace, copied; empty for none
    ScenarioSerializer(ScenarioCommand::Type type, const std::string& settingFilePath, bool fipsMode,
                       const std::string& nsName);
    void execute() override;

private:
    Type type_;
    std::string path_;
    bool mode_;
    std::string nsName_;
};

/// Reads the scenario; of several structures the last one wins, member by member. The type is not checked.
class ScenarioDeserializer : public ScenarioCommand {
public:
    /// `None`, empty texts, FIPS mode off.
    ScenarioDeserializer();
    void execute() override;

    /// The order, as its number came.
    ScenarioCommand::Type getType() const;
    /// A copy of the path of the engine's setting file.
    std::string getSettingFilePath() const;
    /// Whether the engine is to run in FIPS mode: any number but 0.
    bool getFipsMode() const;
    /// A copy of the name of the engine's network namespace.
    std::string getNsName() const;

private:
    Type type_ = None;
    std::string path_;
    bool mode_ = false;
    std::string nsName_;
};

/// The two security associations, one structure a transform.
class SecurityAssociationCommand : public Command {
public:
    /// "1"
    static const char* const TABLE_ID_VALUE;
};

/// Writes one structure for each transform of phase 1, then of phase 2.
/// @throws std::bad_cast (from execute) for a tree of another shape: what stands where proposals and
///         transforms belong is something else. Exceptions pass unchanged, of whatever type; the structures
///         appended so far stay, the last one partly filled.
class SecurityAssociationSerializer : public SecurityAssociationCommand {
public:
    /// Shares both trees.
    /// @pre Neither is null when execute is called.
    SecurityAssociationSerializer(const std::shared_ptr<Payload>& phase1,
                                  const std::shared_ptr<Payload>& phase2);
    void execute() override;

private:
    void serialize_(const Payload& association, const std::string& phase);

    PayloadPtr phase1_;
    PayloadPtr phase2_;
};

/// Rebuilds the two associations. Transforms of the same proposal number in one phase gather under one
/// proposal.
/// @throws std::runtime_error (from execute) "Nothing to add the member to: NAME" for a proposal before any
///         phase, a transform before any proposal or an attribute before any transform, and
///         "Too few values of the member: auth-method" for an authentication method without its data.
class SecurityAssociationDeserializer : public SecurityAssociationCommand {
public:
    /// No associations.
    SecurityAssociationDeserializer();
    void execute() override;

    /// The rebuilt association; null if the array held no structure of that phase.
    /// @{
    PayloadPtr getPhase1SA() const;
    PayloadPtr getPhase2SA() const;
    /// @}

private:
    PayloadPtr phase1_;
    PayloadPtr phase2_;
};

/// The traffic filter rules, one structure a rule.
///
/// The two lists are not marked on the wire: a rule of type `Use` comes back in the used list, every other
/// one in the default list.
class FilterRuleCommand : public Command {
public:
    /// "2"
    static const char* const TABLE_ID_VALUE;
};

/// Writes the used rules, then the default rules, under one running number. A structure is appended before it
/// is filled, so a failure leaves the last one partly filled.
class FilterRuleSerializer : public FilterRuleCommand {
public:
    /// Copies both lists; the rules themselves are shared.
    /// @param use the rules in use
    /// @param bd the default rules (`Bypass`, `Discard`)
    FilterRuleSerializer(const FilterSet& use, const FilterSet& bd);
    void execute() override;

private:
    void addMember_(parser::CParser* parser, const std::shared_ptr<FilterRule>& ptr);

    FilterSet use_;
    FilterSet bd_;
};

/// Reads the rules. Each "filter-type" begins a new one; a structure without it goes on with the rule before.
/// @throws std::domain_error "Priority is invalid: value: N" (from execute) for a priority outside 0 to 99,
///         also the -1 of a rule whose priority was never set.
/// @throws std::runtime_error "Nothing to add the member to: NAME" (from execute) for a member before any
///         "filter-type".
class FilterRuleDeserializer : public FilterRuleCommand {
public:
    /// Empty lists.
    FilterRuleDeserializer();
    void execute() override;

    /// A copy of the list of the rules of type `Use`, in order of arrival; the rules are shared.
    FilterSet getUsedFilterRules() const;
    /// A copy of the list of all other rules, in order of arrival; the rules are shared.
    FilterSet getDefaultFilterRules() const;

private:
    FilterSet use_;
    FilterSet bd_;
};

/// The certificate references, one structure a certificate.
class CertificateCommand : public Command {
public:
    /// "3"
    static const char* const TABLE_ID_VALUE;
};

/// Writes the certificates in order, each structure whole or not at all.
class CertificateSerializer : public CertificateCommand {
public:
    /// Copies the list; the certificates themselves are shared.
    explicit CertificateSerializer(const std::list<std::shared_ptr<Certificate>>& certs);
    void execute() override;

private:
    std::list<CertificatePtr> certs_;
};

/// Reads the certificates. Each "cert-kind" begins a new one; a structure without it goes on with the
/// certificate before. A member "cert-id" is ignored.
/// @throws std::runtime_error "Nothing to add the member to: NAME" (from execute) for a path before any
///         "cert-kind".
class CertificateDeserializer : public CertificateCommand {
public:
    /// An empty list.
    CertificateDeserializer();
    void execute() override;

    /// A copy of the list, in order of arrival; the certificates are shared.
    std::list<CertificatePtr> getCertificates() const;

private:
    std::list<CertificatePtr> certs_;
};

/// The server's answer.
class ResultCommand : public Command {
public:
    /// How it went.
    enum Type : int {
        Success = 0, ///< the request was carried out
        Failure = 1  ///< it was not; the detail says why
    };
    /// "4"
    static const char* const TABLE_ID_VALUE;
};

/// Writes one result structure, whole or not at all.
class ResultSerializer : public ResultCommand {
public:
    /// @param status how it went
    /// @param detail a text for people, copied; may be empty
    ResultSerializer(ResultCommand::Type status, const std::string& detail);
    void execute() override;

private:
    Type status_;
    std::string detail_;
};

/// Reads the result; of several structures the last one wins, member by member. The status is not checked.
class ResultDeserializer : public ResultCommand {
public:
    /// `Success` with an empty detail, which is also what an array without a result leaves.
    ResultDeserializer();
    void execute() override;

    /// How it went, as its number came.
    ResultCommand::Type getStatus() const;
    /// A copy of the text for people.
    std::string getDetail() const;

private:
    Type status_ = Success;
    std::string detail_;
};

/// Writes each attribute that it visits as a member of a structure; the composites write nothing.
///
/// The data of an authentication method is written as "0x" and, for each byte, the hexadecimal text of the
/// signed byte widened to int, without padding: 0x41 gives "41", 0x05 gives "5", 0xE9 gives "ffffffe9". Only
/// bytes 0x10 to 0x7F are read back as they were.
class ParseVisitor : public PayloadVisitor {
public:
    /// @param parser the structure to write to, not owned.
    explicit ParseVisitor(parser::CParser* parser);
    ~ParseVisitor() override;

    /// Writes nothing.
    /// @{
    void visit(SecurityAssociation& payload) override;
    void visit(Proposal& payload) override;
    void visit(Transform& payload) override;
    /// @}

    /// Writes the attribute as one member.
    /// @{
    void visit(EncryptionAlgorithm& payload) override;
    void visit(KeyLength& payload) override;
    void visit(HashAlgorithm& payload) override;
    void visit(AuthenticationMethod& payload) override;
    void visit(GroupDescription& payload) override;
    void visit(LifeType& payload) override;
    void visit(LifeDuration& payload) override;
    /// @}

private:
    ParserPtr parser_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
