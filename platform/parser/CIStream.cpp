// The stream that a structured message is read from.

#include "CIStream.h"

namespace norvale::tamber::systemdata::parser {

CIStream::CIStream(std::istream& in)
    : in_(in)
{}

} // namespace norvale::tamber::systemdata::parser
