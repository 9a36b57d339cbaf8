// The fault that an answer may carry instead of a result.

#include "CFault.h"

#include <utility>

namespace norvale::tamber::systemdata::parser {

CFault::CFault()
    : code_(FaultCode::ok)
{}

CFault::CFault(FaultCode code, std::string string)
    : code_(code)
    , string_(std::move(string))
{}

FaultCode CFault::getCode() const
{
    return code_;
}

const std::string& CFault::getString() const
{
    return string_;
}

} // namespace norvale::tamber::systemdata::parser
