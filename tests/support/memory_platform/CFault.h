#ifndef MEMORY_PLATFORM_CFAULT_H
#define MEMORY_PLATFORM_CFAULT_H

#include <string>

namespace norvale::tamber::systemdata::parser {

enum class FaultCode : int {
    ok = 0,
    unsupportedOperation = 1,
    operationNotAvailable = 2,
    invalidAttribute = 3,
    invalidAttributeValue = 4,
    conflictingAttributes = 5,
    syntaxError = 6,
    otherError = 7
};

class CFault {
public:
    FaultCode getCode() const { return code; }
    const std::string& getString() const { return string; }

private:
    friend class CArrayParser;

    FaultCode code = FaultCode::ok;
    std::string string;
};

} // namespace norvale::tamber::systemdata::parser

#endif
