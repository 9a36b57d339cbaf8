#ifndef SYSTEMDATA_PARSER_XMLRPCWRITER_H
#define SYSTEMDATA_PARSER_XMLRPCWRITER_H

/// @file
/// Renders a structured message as XML-RPC text.

#include "CFault.h"
#include "COStream.h"
#include "CParser.h"

#include <string>
#include <string_view>
#include <vector>

namespace norvale::tamber::systemdata::parser {

/// Writes one message to a stream. Holds a reference to the stream; used once.
class XmlRpcWriter {
public:
    /// @param indented whether to break and indent lines.
    XmlRpcWriter(COStream& out, bool indented);

    /// Writes a fault whose code is not `ok`, else a call of the command, else (no command) an answer, and
    /// flushes.
    /// @return false if something cannot be carried, in which case nothing was written, or the stream failed.
    bool write(const std::string& command, const std::vector<CParser*>& elements, const CFault& fault);

private:
    bool canCarry_(const CParser& structure) const;

    void writeFault_(const CFault& fault);
    void writeCall_(const std::string& command, const std::vector<CParser*>& elements);
    void writeAnswer_(const std::vector<CParser*>& elements);
    void writeParams_(const std::vector<CParser*>& elements);
    void writeStructure_(const CParser& structure);
    void writeMember_(const CMember& member);
    void writeValue_(Type type, const std::string& text);

    /// Writes an element, or several that only wrap each other, around what `content` writes.
    template <class Content>
    void block_(std::string_view begin, std::string_view end, Content content);
    /// Writes an element that holds text, on a line of its own.
    void leaf_(std::string_view begin, const std::string& text, std::string_view end);
    void line_();
    void escape_(std::string_view text);
    void put_(std::string_view text);

    COStream& out_;
    bool indented_;
    std::size_t depth_ = 0;
    bool taking_ = true; ///< whether the stream has taken everything so far
};

} // namespace norvale::tamber::systemdata::parser

#endif
