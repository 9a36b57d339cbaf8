#ifndef SYSTEMDATA_PARSER_XMLRPCWRITER_H
#define SYSTEMDATA_PARSER_XMLRPCWRITER_H

/// @file
/// Renders a structured message as XML-RPC text.

#include "CFault.h"
#include "COStream.h"
#include "CParser.h"

#include <array>
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
    /// What stands before, between and behind the name and the value of a scalar member of one type.
    struct ScalarFrame {
        std::string begin;
        std::string middle;
        std::string end;
    };

    bool canCarry_(const CParser& structure) const;

    void writeFault_(const CFault& fault);
    void writeCall_(const std::string& command, const std::vector<CParser*>& elements);
    void writeAnswer_(const std::vector<CParser*>& elements);
    void writeParams_(const std::vector<CParser*>& elements);
    void writeStructure_(const CParser& structure);
    void writeMember_(const CMember& member);
    void writeScalar_(const CMember& member);
    void writeValue_(Type type, const std::string& text);

    /// Writes an element, or several that only wrap each other, around what `content` writes.
    template <class Content>
    void block_(std::string_view begin, std::string_view end, Content content);
    /// Writes an element that holds text, on a line of its own.
    void leaf_(std::string_view begin, const std::string& text, std::string_view end);
    void line_();
    /// What begins a line at a depth: nothing if lines are not broken.
    std::string_view lineAt_(std::size_t depth) const;
    void escape_(std::string_view text);
    void put_(std::string_view text);

    COStream& out_;
    bool indented_;
    std::size_t depth_ = 0; ///< structures of one message all stand at the same
    std::array<ScalarFrame, Type::base64 + 1> scalarFrames_;
    bool taking_ = true; ///< whether the stream has taken everything so far
};

} // namespace norvale::tamber::systemdata::parser

#endif
