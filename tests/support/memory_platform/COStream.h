#ifndef MEMORY_PLATFORM_COSTREAM_H
#define MEMORY_PLATFORM_COSTREAM_H

#include <ostream>

namespace norvale::tamber::systemdata::parser {

class COStream {
public:
    explicit COStream(std::ostream& out)
        : out_(out)
    {}

private:
    friend class CArrayParser;

    std::ostream& out_;
};

} // namespace norvale::tamber::systemdata::parser

#endif
