#ifndef SYSTEMDATA_PARSER_CPARSER_H
#define SYSTEMDATA_PARSER_CPARSER_H

/// @file
/// One structure of a structured message (XML-RPC `<struct>`).

#include "CMember.h"

#include <cstddef>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::parser {

/// One structure: its members in the order in which they were added, and a read cursor.
///
/// Created with `new` and handed to CArrayParser::addElement, which then owns it. Not synchronised.
class CParser {
public:
    /// An empty structure; the cursor stands before the first member to be added.
    CParser();

    /// Appends a scalar member.
    /// @param name its name, copied; several members of one name are kept
    /// @param value its value as text, copied; whether it fits the type is not checked
    /// @param type the value's type
    /// @param option whether the member is optional, which does not show on the wire
    void addMember(const std::string& name, const std::string& value, Type type, bool option);

    /// Appends a member that is an array of values; parameters as of addMember.
    void addArrayMember(const std::string& name, const std::vector<std::string>& values, Type type,
                        bool option);

    /// Sets the read cursor before the first member.
    void positionToFirstMember();

    /// Whether a member is left at the cursor.
    bool hasNextMember() const;

    /// The member at the cursor, which moves on.
    /// @return a reference that is valid until a member is added or the structure is freed.
    /// @throws std::out_of_range "No more member" when no member is left.
    CMember& getNextMember();

private:
    friend class MessageBuilder;
    friend class XmlRpcWriter;

    std::vector<CMember> members_;
    std::size_t cursor_ = 0;
};

} // namespace norvale::tamber::systemdata::parser

#endif
