// Renders a structured message as XML-RPC text.
//
//   message   = declaration (call | answer | fault)
//   call      = <methodCall> <methodName> TEXT </methodName> params </methodCall>
//   answer    = <methodResponse> params </methodResponse>
//   fault     = <methodResponse> <fault> value(structure) </fault> </methodResponse>
//   params    = <params> <param> value(<array> <data> value(structure)* </data> </array>) </param> </params>
//   structure = <struct> member* </struct>
//   member    = <member> <name> TEXT </name> (scalar | value(<array> <data> scalar* </data> </array>))
//   </member> scalar    = value(<TYPE> TEXT </TYPE>) | value(<nil/>) value(x)  = <value> x </value>
//
// Indentation never comes between <value> and what it holds: white space there would be the text of a string
// to some.

#include "XmlRpcWriter.h"

#include "XmlText.h"

#include <algorithm>

namespace norvale::tamber::systemdata::parser {

namespace {

constexpr std::string_view DECLARATION = R"(<?xml version="1.0" encoding="UTF-8"?>)";
constexpr std::size_t INDENTATION = 2;

struct ValueElement {
    std::string_view begin;
    std::string_view end;
};

// By Type. A value without a type is a string to every reader, so that Type::none keeps a text that it should
// not have.
constexpr ValueElement VALUE_ELEMENTS[] = {
    {"<value>", "</value>"},
    {"<value><string>", "</string></value>"},
    {"<value><boolean>", "</boolean></value>"},
    {"<value><int>", "</int></value>"},
    {"<value><double>", "</double></value>"},
    {"<value><dateTime.iso8601>", "</dateTime.iso8601></value>"},
    {"<value><base64>", "</base64></value>"},
};
constexpr std::string_view NIL = "<value><nil/></value>";

bool isType(Type type)
{
    return type >= Type::none && type <= Type::base64;
}

bool isNil(Type type, const std::string& text)
{
    return type == Type::none && text.empty();
}

// What stands for a character in text; empty if it stands for itself. '>' is written as a reference because
// of "]]>", the carriage return because a reader makes a line feed of it.
std::string_view referenceFor(char character)
{
    switch (character) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '\r':
        return "&#13;";
    default:
        return {};
    }
}

} // namespace

XmlRpcWriter::XmlRpcWriter(COStream& out, bool indented)
    : out_(out)
    , indented_(indented)
{}

bool XmlRpcWriter::write(const std::string& command, const std::vector<CParser*>& elements,
                         const CFault& fault)
{
    const auto canCarry = [this](const CParser* structure) { return canCarry_(*structure); };
    const bool isFault = fault.getCode() != FaultCode::ok;
    if (isFault ? !isXmlText(fault.getString())
                : !isXmlText(command) || !std::all_of(elements.begin(), elements.end(), canCarry))
        return false;

    out_.drop_(); // the rest of an earlier message that could not be sent
    put_(DECLARATION);
    if (isFault) {
        writeFault_(fault);
    } else if (!command.empty()) {
        writeCall_(command, elements);
    } else {
        writeAnswer_(elements);
    }
    return taking_ && out_.flush_();
}

bool XmlRpcWriter::canCarry_(const CParser& structure) const
{
    return std::all_of(structure.members_.begin(), structure.members_.end(), [](const CMember& member) {
        return isType(member.type_) &&
               (member.plain_ || (isXmlText(member.name_) && isXmlText(member.value_) &&
                                  std::all_of(member.values_.begin(), member.values_.end(), isXmlText)));
    });
}

void XmlRpcWriter::writeFault_(const CFault& fault)
{
    CParser structure;
    structure.addMember("faultCode", std::to_string(static_cast<int>(fault.getCode())), Type::integer, false);
    structure.addMember("faultString", fault.getString(), Type::string, false);
    block_("<methodResponse>", "</methodResponse>",
           [&] { block_("<fault>", "</fault>", [&] { writeStructure_(structure); }); });
}

void XmlRpcWriter::writeCall_(const std::string& command, const std::vector<CParser*>& elements)
{
    block_("<methodCall>", "</methodCall>", [&] {
        leaf_("<methodName>", command, "</methodName>");
        writeParams_(elements);
    });
}

void XmlRpcWriter::writeAnswer_(const std::vector<CParser*>& elements)
{
    block_("<methodResponse>", "</methodResponse>", [&] { writeParams_(elements); });
}

void XmlRpcWriter::writeParams_(const std::vector<CParser*>& elements)
{
    block_("<params>", "</params>", [&] {
        block_("<param>", "</param>", [&] {
            block_("<value><array><data>", "</data></array></value>", [&] {
                for (const CParser* structure : elements)
                    writeStructure_(*structure);
            });
        });
    });
}

void XmlRpcWriter::writeStructure_(const CParser& structure)
{
    block_("<value><struct>", "</struct></value>", [&] {
        for (const CMember& member : structure.members_)
            writeMember_(member);
    });
}

void XmlRpcWriter::writeMember_(const CMember& member)
{
    if (!member.array_ && !isNil(member.type_, member.value_)) {
        writeScalar_(member);
        return;
    }
    block_("<member>", "</member>", [&] {
        leaf_("<name>", member.name_, "</name>");
        if (!member.array_) {
            writeValue_(member.type_, member.value_);
            return;
        }
        block_("<value><array><data>", "</data></array></value>", [&] {
            for (const std::string& value : member.values_)
                writeValue_(member.type_, value);
        });
    });
}

// Nearly all of a message are scalar members. What stands around their names and values is put together once.
void XmlRpcWriter::writeScalar_(const CMember& member)
{
    ScalarFrame& frame = scalarFrames_[static_cast<std::size_t>(member.type_)];
    if (frame.begin.empty()) {
        const ValueElement& element = VALUE_ELEMENTS[member.type_];
        const std::string outer(lineAt_(depth_));
        const std::string inner(lineAt_(depth_ + 1));
        frame.begin = outer + "<member>" + inner + "<name>";
        frame.middle = "</name>" + inner + std::string(element.begin);
        frame.end = std::string(element.end) + outer + "</member>";
    }
    const auto putText = [&](const std::string& text) { member.plain_ ? put_(text) : escape_(text); };
    put_(frame.begin);
    putText(member.name_);
    put_(frame.middle);
    putText(member.value_);
    put_(frame.end);
}

void XmlRpcWriter::writeValue_(Type type, const std::string& text)
{
    if (isNil(type, text)) {
        line_();
        put_(NIL);
        return;
    }
    const ValueElement& element = VALUE_ELEMENTS[type];
    leaf_(element.begin, text, element.end);
}

template <class Content>
void XmlRpcWriter::block_(std::string_view begin, std::string_view end, Content content)
{
    line_();
    put_(begin);
    ++depth_;
    content();
    --depth_;
    line_();
    put_(end);
}

void XmlRpcWriter::leaf_(std::string_view begin, const std::string& text, std::string_view end)
{
    line_();
    put_(begin);
    escape_(text);
    put_(end);
}

void XmlRpcWriter::line_()
{
    put_(lineAt_(depth_));
}

std::string_view XmlRpcWriter::lineAt_(std::size_t depth) const
{
    static constexpr std::string_view SPACES = "\n                                ";
    return SPACES.substr(0, indented_ ? 1 + depth * INDENTATION : 0);
}

void XmlRpcWriter::escape_(std::string_view text)
{
    std::size_t written = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::string_view reference = referenceFor(text[at]);
        if (reference.empty())
            continue;
        put_(text.substr(written, at - written));
        put_(reference);
        written = at + 1;
    }
    put_(text.substr(written));
}

void XmlRpcWriter::put_(std::string_view text)
{
    if (taking_)
        taking_ = out_.write_(text.data(), text.size());
}

} // namespace norvale::tamber::systemdata::parser
