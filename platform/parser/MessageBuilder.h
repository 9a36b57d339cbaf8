#ifndef SYSTEMDATA_PARSER_MESSAGEBUILDER_H
#define SYSTEMDATA_PARSER_MESSAGEBUILDER_H

/// @file
/// Builds a structured message from the elements of an XML-RPC text.

#include "CArrayParser.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace norvale::tamber::systemdata::parser {

/// Checks the elements and texts of a document, as an XML parser reports them, against the grammar of a
/// message and fills an array with what they mean. The grammar bounds the depth: no element stands in one of
/// its own kind.
class MessageBuilder {
public:
    /// @param message an empty array, which must outlive the builder.
    explicit MessageBuilder(CArrayParser& message);

    /// The three events of a document. False if no message goes on like this.
    bool beginElement(std::string_view tag);
    bool addText(std::string_view text);
    bool endElement();

    /// Whether the root element has begun.
    bool begun() const;
    /// Whether the root element has ended, and with it the message.
    bool complete() const;

private:
    enum class Node;
    struct Rule;
    struct OpenElement {
        const Rule* rule;
        std::size_t children; ///< those that have ended
    };

    struct Grammar;
    static const Rule* findRule_(const OpenElement& parent, std::string_view tag);

    bool begin_(Node node);
    bool end_(const OpenElement& element);
    bool setCommand_();
    void addValue_(Type type);
    void addMember_();
    void addStructure_();
    void setFault_();

    CArrayParser& message_;
    std::vector<OpenElement> open_;
    std::unique_ptr<CParser> structure_;
    std::size_t expectedMembers_ = 0; ///< as many as the structure before had: most are of one kind
    std::string text_;
    std::string name_;
    std::string value_;               ///< of a scalar member
    std::vector<std::string> values_; ///< of an array member
    Type type_ = Type::none;
    bool array_ = false;
};

} // namespace norvale::tamber::systemdata::parser

#endif
