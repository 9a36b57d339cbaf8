#ifndef SYSTEMDATA_PARSER_CFAULT_H
#define SYSTEMDATA_PARSER_CFAULT_H

/// @file
/// The fault that an answer may carry instead of a result (XML-RPC `<fault>`).

#include <string>

namespace norvale::tamber::systemdata::parser {

/// An XML-RPC fault's code. A code that is not listed here is kept as its number.
enum FaultCode : int {
    ok = 0,                    ///< no fault; never the code of a fault that was read
    unsupportedOperation = 1,  ///< the peer knows no such operation
    operationNotAvailable = 2, ///< the peer knows it but cannot do it now
    invalidAttribute = 3,      ///< a member that the peer does not know
    invalidAttributeValue = 4, ///< a member's value that the peer does not take
    conflictingAttributes = 5, ///< members that contradict each other
    syntaxError = 6,           ///< the peer cannot read the message
    otherError = 7             ///< anything else; also what a fault of code 0 reads as
};

/// A fault: a code and a text. A plain value, not synchronised.
class CFault {
public:
    /// No fault: code `ok`, empty text.
    CFault();
    /// @param code its code
    /// @param string a text for people
    CFault(FaultCode code, std::string string);

    /// Its code.
    FaultCode getCode() const;
    /// Its text; the reference is valid as long as the fault is unchanged.
    const std::string& getString() const;

private:
    FaultCode code_;
    std::string string_;
};

} // namespace norvale::tamber::systemdata::parser

#endif
