#ifndef SYSTEMDATA_PARSER_COSTREAM_H
#define SYSTEMDATA_PARSER_COSTREAM_H

/// @file
/// The stream that a structured message is written to.

#include <cstddef>
#include <cstring>
#include <memory>
#include <ostream>

namespace norvale::tamber::systemdata::parser {

/// Wraps the output stream that CArrayParser::serialize writes to, and gathers the text into packets of a
/// fixed size so that a message of any length is never held as one text.
///
/// Holds a reference to the stream, which must outlive it. What was not sent by a successful serialize is
/// dropped when the wrapper is destroyed. Not synchronised.
class COStream {
public:
    /// The size of a packet in bytes.
    static constexpr std::size_t PACKET_SIZE = 8192;

    /// @param out the stream; nothing is written yet
    explicit COStream(std::ostream& out);
    COStream(const COStream&) = delete;
    COStream& operator=(const COStream&) = delete;

private:
    friend class XmlRpcWriter;

    /// Appends to the packet, sending each one that is full. False once the stream takes no more.
    bool write_(const char* text, std::size_t size)
    {
        if (size > PACKET_SIZE - used_)
            return writeBeyond_(text, size);
        std::memcpy(packet_.get() + used_, text, size);
        used_ += size;
        return true;
    }
    bool writeBeyond_(const char* text, std::size_t size);
    /// Sends what is left and flushes the stream. False if the stream did not take all of it.
    bool flush_();
    bool send_();
    /// Forgets what was not sent.
    void drop_();

    std::ostream& out_;
    std::unique_ptr<char[]> packet_;
    std::size_t used_ = 0; ///< bytes of the packet
};

} // namespace norvale::tamber::systemdata::parser

#endif
