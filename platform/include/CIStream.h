#ifndef SYSTEMDATA_PARSER_CISTREAM_H
#define SYSTEMDATA_PARSER_CISTREAM_H

/// @file
/// The stream that a structured message is read from.

#include <istream>

namespace norvale::tamber::systemdata::parser {

/// Wraps the input stream that CArrayParser::parse reads from.
///
/// Holds a reference to the stream, which must outlive it, and nothing else: what one reading leaves in the
/// stream is there for the next. Not synchronised.
class CIStream {
public:
    /// @param in the stream; nothing is read yet. Binary or text makes no difference.
    explicit CIStream(std::istream& in);
    CIStream(const CIStream&) = delete;
    CIStream& operator=(const CIStream&) = delete;

private:
    friend class CArrayParser;

    std::istream& in_;
};

} // namespace norvale::tamber::systemdata::parser

#endif
