// Reads a structured message from a stream of XML-RPC text.

#include "XmlRpcReader.h"

#include "XmlText.h"

#include <expat.h>

#include <algorithm>
#include <new>
#include <streambuf>

namespace norvale::tamber::systemdata::parser {

namespace {

constexpr std::size_t MAX_DOCUMENT_BYTES = IPSECCFG_MAX_DOCUMENT_BYTES;

// The most that is taken from the stream at once, and that is gathered of what trickles in.
constexpr std::size_t PIECE_SIZE = 16384;

bool isEnd(std::streambuf::int_type byte)
{
    return std::streambuf::traits_type::eq_int_type(byte, std::streambuf::traits_type::eof());
}

// How many bytes can be taken without waiting for more than the first of them; 0 at the end of the stream.
std::size_t available(std::streambuf& source)
{
    if (isEnd(source.sgetc()))
        return 0;
    // A stream without a buffer has shown its next byte and knows of no other.
    return static_cast<std::size_t>(std::max<std::streamsize>(source.in_avail(), 1));
}

} // namespace

void XmlRpcReader::ParserDeleter::operator()(XML_ParserStruct* parser) const
{
    XML_ParserFree(parser);
}

XmlRpcReader::XmlRpcReader(CArrayParser& message)
    : parser_(XML_ParserCreate(nullptr))
    , builder_(message)
{
    if (!parser_)
        throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(parser_.get(), onBegin_, onEnd_);
    XML_SetCharacterDataHandler(parser_.get(), onText_);
    XML_SetStartDoctypeDeclHandler(parser_.get(), onDoctype_);
#ifdef IPSECCFG_EXPAT_HAS_REPARSE_DEFERRAL
    XML_SetReparseDeferralEnabled(parser_.get(), XML_FALSE);
#endif
}

bool XmlRpcReader::read(std::istream& in)
{
    if (!std::istream::sentry(in, true))
        return false;
    std::streambuf& source = *in.rdbuf();
    while (!builder_.complete()) {
        if (taken_ == MAX_DOCUMENT_BYTES)
            return false;
        const std::size_t known = unread_.size();
        if (!append_(source)) {
            in.setstate(std::ios_base::eofbit);
            return false;
        }
        const std::string_view appended = std::string_view(unread_).substr(known);
        scanner_.scan(appended.data(), appended.size());
        if (isTimeToFeed_(appended) && !feed_())
            return false;
        if (scanner_.refused() && !builder_.complete()) // what follows the message may be anything
            return false;
    }
    if (giveBack_(source))
        return true;
    in.setstate(std::ios_base::badbit);
    return false;
}

bool XmlRpcReader::append_(std::streambuf& source)
{
    const std::size_t size = std::min({available(source), PIECE_SIZE, MAX_DOCUMENT_BYTES - taken_});
    const std::size_t known = unread_.size();
    unread_.resize(known + size);
    const std::streamsize got = source.sgetn(unread_.data() + known, static_cast<std::streamsize>(size));
    unread_.resize(known + static_cast<std::size_t>(got));
    taken_ += static_cast<std::size_t>(got);
    return got > 0;
}

// A stream that hands out single bytes would cost a call of Expat each, so they are gathered. Not for long:
// the root can only end at a ">", and what does not begin like a document is refused at once.
bool XmlRpcReader::isTimeToFeed_(std::string_view appended) const
{
    return !builder_.begun() || unread_.size() - scanner_.held() >= PIECE_SIZE ||
           appended.find('>') != std::string_view::npos;
}

bool XmlRpcReader::feed_()
{
    skipLeadingWhiteSpace_();
    const std::size_t size = unread_.size() - scanner_.held();
    const XML_Status status = XML_Parse(parser_.get(), unread_.data(), static_cast<int>(size), XML_FALSE);
    if (error_)
        std::rethrow_exception(error_);
    if (status == XML_STATUS_ERROR && XML_GetErrorCode(parser_.get()) == XML_ERROR_NO_MEMORY)
        throw std::bad_alloc();
    unread_.erase(0, size);
    return status != XML_STATUS_ERROR || builder_.complete();
}

// So that messages may follow each other on lines of their own: an XML declaration must stand at the very
// beginning.
void XmlRpcReader::skipLeadingWhiteSpace_()
{
    const bool fed = skipped_ + unread_.size() < taken_;
    if (fed)
        return;
    const std::size_t size = unread_.size() - withoutLeadingWhiteSpace(unread_).size();
    unread_.erase(0, size);
    skipped_ += size;
}

// What was taken beyond the end came out of the stream's buffer just now, so the buffer can take it back;
// unless it has none and yet promised more than one byte.
bool XmlRpcReader::giveBack_(std::streambuf& source) const
{
    for (std::size_t surplus = taken_ - skipped_ - end_; surplus > 0; --surplus) {
        if (isEnd(source.sungetc()))
            return false;
    }
    return true;
}

// Runs what an event of Expat asks for, which stops the parser if it returns false. Exceptions must not pass
// through Expat; and Expat may have events left after it was stopped.
template <class Event>
void XmlRpcReader::handle_(Event event)
{
    if (stopped_)
        return;
    try {
        stopped_ = !event();
    } catch (...) {
        error_ = std::current_exception();
        stopped_ = true;
    }
    if (stopped_)
        XML_StopParser(parser_.get(), XML_FALSE);
}

bool XmlRpcReader::endElement_()
{
    if (!builder_.endElement())
        return false;
    if (!builder_.complete())
        return true;
    end_ = static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get()) +
                                    XML_GetCurrentByteCount(parser_.get()));
    return false;
}

void XmlRpcReader::onBegin_(void* self, const char* tag, const char** /*attributes*/)
{
    auto& reader = *static_cast<XmlRpcReader*>(self);
    reader.handle_([&] { return reader.builder_.beginElement(tag); });
}

void XmlRpcReader::onEnd_(void* self, const char* /*tag*/)
{
    auto& reader = *static_cast<XmlRpcReader*>(self);
    reader.handle_([&] { return reader.endElement_(); });
}

void XmlRpcReader::onText_(void* self, const char* text, int size)
{
    auto& reader = *static_cast<XmlRpcReader*>(self);
    reader.handle_([&] { return reader.builder_.addText({text, static_cast<std::size_t>(size)}); });
}

// The scanner lets no document type through. Should it ever miss one, entities still are not declared.
void XmlRpcReader::onDoctype_(void* self, const char* /*name*/, const char* /*system*/,
                              const char* /*publicId*/, int /*hasSubset*/)
{
    static_cast<XmlRpcReader*>(self)->handle_([] { return false; });
}

} // namespace norvale::tamber::systemdata::parser
