#ifndef SYSTEMDATA_PARSER_CARRAYPARSER_H
#define SYSTEMDATA_PARSER_CARRAYPARSER_H

/// @file
/// A structured message: an XML-RPC array of structures as a request, an answer or a fault.

#include "CFault.h"
#include "CIStream.h"
#include "COStream.h"
#include "CParser.h"

#include <string>
#include <vector>

namespace norvale::tamber::systemdata::parser {

/// An array of structures with the request's command name and a fault; writes itself as XML-RPC text
/// (http://xmlrpc.com) and reads itself back.
///
/// Owns the structures added to it. Not synchronised; different objects may be used by different threads.
class CArrayParser {
public:
    /// An empty array: no command, no fault, no indentation.
    CArrayParser();
    /// Frees every structure.
    ~CArrayParser();
    CArrayParser(const CArrayParser&) = delete;
    CArrayParser& operator=(const CArrayParser&) = delete;

    /// The request's command: with one, the message is a `<methodCall>` of that name, without (empty) a
    /// `<methodResponse>`.
    void setCommand(const std::string& name);

    /// Appends a structure and takes ownership of it. If this throws, the caller still owns it.
    /// @throws std::invalid_argument "CArrayParser: no structure" for a null pointer.
    void addElement(CParser* element);

    /// The structures in order. They belong to the array; the reference is valid as long as the array is.
    std::vector<CParser*>& getElements();

    /// Whether the text is broken into indented lines (off at first). The values are the same either way.
    void setPrettyPrint(bool on);

    /// Writes the message as XML-RPC text in UTF-8 and flushes the stream. A fault whose code is not `ok` is
    /// written in place of the array.
    /// @return 0 on success; not 0 if the stream stopped taking data, or if there is something that XML-RPC
    ///         cannot carry, in which case nothing was written: control characters other than tab, line feed
    ///         and carriage return, U+FFFE, U+FFFF, invalid UTF-8, a type that is none of Type.
    /// @throws std::exception what the stream's buffer throws, of whatever type, unchanged.
    int serialize(COStream& out);

    /// Reads one message, a request, an answer or a fault, in place of what this array holds.
    ///
    /// Asks the stream for no byte beyond the end of the message and leaves what follows in it; white space
    /// before the message is skipped. Values of every XML-RPC type are kept as text. A fault that was read
    /// never has the code `ok`.
    /// @return 0 on success; not 0, with the array unchanged, if the text is not well-formed, is no array of
    ///         flat structures, has a document type declaration, is larger or deeper than the limits, or ends
    ///         early (which sets the stream's eofbit).
    /// @throws std::bad_alloc if memory runs out, and what the stream's buffer throws, of whatever type; the
    ///         array is unchanged then too.
    int parse(CIStream& in);

    /// The fault that was read, or that is to be written (assign to it); code `ok` if there is none.
    CFault& getFault();

private:
    std::string command_;
    std::vector<CParser*> elements_;
    CFault fault_;
    bool prettyPrint_ = false;
};

} // namespace norvale::tamber::systemdata::parser

#endif
