#ifndef IPSECCFG_SERVER_ANSWER_H
#define IPSECCFG_SERVER_ANSWER_H

/// @file
/// The answer to a request.

#include "ObjectXMLMapping.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Success or failure, and a detail in words.
struct Answer {
    common::ResultCommand::Type status = common::ResultCommand::Failure;
    std::string detail;
};

/// The answer with a detail that every client can be sent: at most 2000 bytes, what XML cannot carry or a
/// terminal would obey replaced.
Answer presentable(const Answer& answer);

/// The answer as the XML-RPC text that goes to the client.
/// @throws std::runtime_error "the answer cannot be written" for a detail that is not presentable
std::string messageOf(const Answer& answer);

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
