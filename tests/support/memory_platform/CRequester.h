#ifndef MEMORY_PLATFORM_CREQUESTER_H
#define MEMORY_PLATFORM_CREQUESTER_H

#include "CIStream.h"
#include "COStream.h"

#include <sstream>

namespace norvale::tamber::systemdata::requester {

class CRequester {
public:
    explicit CRequester(int seconds);
    ~CRequester();
    CRequester(const CRequester&) = delete;
    CRequester& operator=(const CRequester&) = delete;

    parser::COStream& getOStream() { return out_; }
    parser::CIStream& getIStream() { return in_; }
    int endOfTransmission();

private:
    std::ostringstream request_;
    std::istringstream answer_;
    parser::COStream out_;
    parser::CIStream in_;
};

} // namespace norvale::tamber::systemdata::requester

#endif
