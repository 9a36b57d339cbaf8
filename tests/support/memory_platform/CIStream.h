#ifndef MEMORY_PLATFORM_CISTREAM_H
#define MEMORY_PLATFORM_CISTREAM_H

#include <istream>

namespace norvale::tamber::systemdata::parser {

class CIStream {
public:
    explicit CIStream(std::istream& in)
        : in_(in)
    {}

private:
    friend class CArrayParser;

    std::istream& in_;
};

} // namespace norvale::tamber::systemdata::parser

#endif
