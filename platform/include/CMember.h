#ifndef SYSTEMDATA_PARSER_CMEMBER_H
#define SYSTEMDATA_PARSER_CMEMBER_H

/// @file
/// One named member of a structured message (XML-RPC, http://xmlrpc.com: a `<member>` of a
/// `<struct>`).

#include <string>
#include <vector>

namespace norvale::tamber::systemdata::parser {

/// The XML-RPC value type of a member.
///
/// Every value travels through this library as text; the type says only under which element it stands on the
/// wire.
enum Type : int {
    none = 0,          ///< no value: `<nil/>`
    string = 1,        ///< `<string>`, or a `<value>` without a type
    boolean = 2,       ///< `<boolean>`, "0" or "1"
    integer = 3,       ///< `<int>` or `<i4>`, decimal
    flowtingPoint = 4, ///< `<double>`
    dateTime = 5,      ///< `<dateTime.iso8601>`
    base64 = 6         ///< `<base64>`, kept in its encoded form
};

/// One named member of a structure: a scalar, or an array of scalars of one type.
///
/// A plain value; it belongs to the CParser that holds it. Not synchronised.
class CMember {
public:
    /// @param name its name
    /// @param type of its value, or of each of its values
    /// @param values one value for a scalar, any number for an array member
    /// @param option whether the member is optional, which does not show on the wire
    /// @param array whether it is an array member
    CMember(std::string name, Type type, std::vector<std::string> values, bool option, bool array);
    /// A scalar.
    CMember(std::string name, Type type, std::string value, bool option);

    /// The member's name. The reference is valid as long as the structure that holds the member is unchanged.
    const std::string& getName() const;

    /// The member's value as text, the first one of an array member; empty for an array member without
    /// values.
    const std::string& getValue() const;

    /// All values of an array member in their order; the one value of a scalar.
    const std::vector<std::string>& getValues() const;

private:
    friend class CParser;
    friend class XmlRpcWriter;

    std::string name_;
    std::string value_; ///< of a scalar
    /// Of an array. A scalar's, of which there are very many, is filled when somebody asks for it.
    mutable std::vector<std::string> values_;
    Type type_;
    bool option_;
    bool array_;
    bool plain_ = false; ///< known to hold nothing that has to be checked or escaped when it is written
};

} // namespace norvale::tamber::systemdata::parser

#endif
