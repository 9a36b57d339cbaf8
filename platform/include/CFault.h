#ifndef SYSTEMDATA_PARSER_CFAULT_H
#define SYSTEMDATA_PARSER_CFAULT_H

/// @file
/// The fault that an answer may carry instead of a result (XML-RPC `<fault>`).

#include <string>

namespace norvale::tamber::systemdata::parser {

/// An XML-RPC fault's code. A code that is not listed here is kept as its number.
enum FaultCode : int {
    ok = 0, ///< no fault; never the code of a fault that was read
    unsupportedOperation = 1,
    operationNotAvailable = 2,
    invalidAttribute = 3,
    invalidAttributeValue = 4,
    conflictingAttributes = 5,
    syntaxError = 6,
    otherError = 7
};

/// A fault: a code and a text. A plain value, not synchronised.
class CFault {
public:
    /// No fault: code `ok`, empty text.
    CFault();
    CFault(FaultCode code, std::string string);

    FaultCode getCode() const;
    const std::string& getString() const;

private:
    FaultCode code_;
    std::string string_;
};

} // namespace norvale::tamber::systemdata::parser

#endif
