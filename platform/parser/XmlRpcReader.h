#ifndef SYSTEMDATA_PARSER_XMLRPCREADER_H
#define SYSTEMDATA_PARSER_XMLRPCREADER_H

/// @file
/// Reads a structured message from a stream of XML-RPC text.

#include "MarkupScanner.h"
#include "MessageBuilder.h"

#include <cstddef>
#include <exception>
#include <istream>
#include <memory>
#include <string>
#include <string_view>

struct XML_ParserStruct;

namespace norvale::tamber::systemdata::parser {

/// Reads one message with Expat. Used once.
///
/// The bytes go from the stream to the end of `unread_`; those that belong to whole tokens go from its
/// beginning to Expat, whose events go to the builder.
class XmlRpcReader {
public:
    /// @param message an empty array, which must outlive the reader; what is in it after a failure is of no
    /// use.
    explicit XmlRpcReader(CArrayParser& message);

    /// Reads up to the end of the root element, and no further.
    /// @return false if there is no message.
    /// @throws std::bad_alloc, and what the stream's buffer throws.
    bool read(std::istream& in);

private:
    struct ParserDeleter {
        void operator()(XML_ParserStruct* parser) const;
    };

    bool append_(std::streambuf& source);
    bool isTimeToFeed_(std::string_view appended) const;
    bool feed_();
    void skipLeadingWhiteSpace_();
    bool giveBack_(std::streambuf& source) const;

    template <class Event>
    void handle_(Event event);
    bool endElement_();

    static void onBegin_(void* self, const char* tag, const char** attributes);
    static void onEnd_(void* self, const char* tag);
    static void onText_(void* self, const char* text, int size);
    static void onDoctype_(void* self, const char* name, const char* system, const char* publicId,
                           int hasSubset);

    std::unique_ptr<XML_ParserStruct, ParserDeleter> parser_;
    MarkupScanner scanner_;
    MessageBuilder builder_;
    std::string unread_;
    std::size_t taken_ = 0;   ///< bytes taken from the stream
    std::size_t skipped_ = 0; ///< bytes before the document
    std::size_t end_ = 0;     ///< bytes of the document
    bool stopped_ = false;
    std::exception_ptr error_;
};

} // namespace norvale::tamber::systemdata::parser

#endif
