// Builds a structured message from the elements of an XML-RPC text (http://xmlrpc.com).
//
//   document = <methodCall> <methodName> TEXT </methodName> params </methodCall>
//            | <methodResponse> (params | fault) </methodResponse>
//   params   = <params> <param> <value> <array> <data> element* </data> </array> </value> </param> </params>
//   fault    = <fault> element </fault>
//   element  = <value> <struct> member* </struct> </value>
//   member   = <member> <name> TEXT </name> (value | array) </member>
//   array    = <value> <array> <data> value* </data> </array> </value>
//   value    = <value> <TYPE> TEXT </TYPE> </value> | <value> <nil/> </value> | <value> TEXT </value>
//
// White space may stand between any two elements; attributes mean nothing. What XML-RPC allows beyond this
// (several params, an array of other things than structures, a structure or an array inside of another) is no
// message.

#include "MessageBuilder.h"

#include "XmlText.h"

#include <array>
#include <charconv>
#include <iterator>
#include <system_error>
#include <utility>

namespace norvale::tamber::systemdata::parser {

namespace {

enum class Text {
    white,  // none but white space, which means nothing
    kept,   // belongs to the message as it is
    ifAlone // kept, unless an element follows: then it was white space between elements
};

constexpr unsigned ANY_PLACE = static_cast<unsigned>(-1);

// The number of a fault. One without a usable number is some error, but never `ok`: that would make a success
// of it.
FaultCode toFaultCode(std::string_view text)
{
    text = withoutLeadingWhiteSpace(text);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-')
        text.remove_prefix(1);
    int code = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, code);
    const bool isNumber = error == std::errc() && isWhiteSpace({stop, static_cast<std::size_t>(end - stop)});
    return isNumber && code != FaultCode::ok ? static_cast<FaultCode>(code) : FaultCode::otherError;
}

} // namespace

enum class MessageBuilder::Node {
    document,
    methodCall,
    methodName,
    methodResponse,
    params,
    param,
    message, // the message's <value>, <array> and <data>
    messageArray,
    messageData,
    element, // the <value> around a structure
    fault,
    faultElement,
    structure,
    member,
    name,
    value, // the <value> of a member or in its array
    array,
    arrayData,
    scalar,
    count
};

// Which element may stand where.
struct MessageBuilder::Rule {
    Node parent;
    unsigned place; // how many elements of the parent come before it
    std::string_view tag;
    Node node;
    unsigned leastChildren;
    Text text;
    Type type = Type::none;
};

struct MessageBuilder::Grammar {
    static constexpr Rule DOCUMENT = {Node::document, 0, "", Node::document, 1, Text::white};

    // The rules of one parent stand together.
    static constexpr Rule RULES[] = {
        {Node::document, 0, "methodCall", Node::methodCall, 2, Text::white},
        {Node::document, 0, "methodResponse", Node::methodResponse, 1, Text::white},

        {Node::methodCall, 0, "methodName", Node::methodName, 0, Text::kept},
        {Node::methodCall, 1, "params", Node::params, 1, Text::white},

        {Node::methodResponse, 0, "params", Node::params, 1, Text::white},
        {Node::methodResponse, 0, "fault", Node::fault, 1, Text::white},

        {Node::params, 0, "param", Node::param, 1, Text::white},
        {Node::param, 0, "value", Node::message, 1, Text::white},
        {Node::message, 0, "array", Node::messageArray, 1, Text::white},
        {Node::messageArray, 0, "data", Node::messageData, 0, Text::white},
        {Node::messageData, ANY_PLACE, "value", Node::element, 1, Text::white},
        {Node::element, 0, "struct", Node::structure, 0, Text::white},

        {Node::fault, 0, "value", Node::faultElement, 1, Text::white},
        {Node::faultElement, 0, "struct", Node::structure, 0, Text::white},

        {Node::structure, ANY_PLACE, "member", Node::member, 2, Text::white},
        {Node::member, 0, "name", Node::name, 0, Text::kept},
        {Node::member, 1, "value", Node::value, 0, Text::ifAlone},
        {Node::array, 0, "data", Node::arrayData, 0, Text::white},
        {Node::arrayData, ANY_PLACE, "value", Node::value, 0, Text::ifAlone},

        {Node::value, 0, "string", Node::scalar, 0, Text::kept, Type::string},
        {Node::value, 0, "int", Node::scalar, 0, Text::kept, Type::integer},
        {Node::value, 0, "i4", Node::scalar, 0, Text::kept, Type::integer},
        {Node::value, 0, "i8", Node::scalar, 0, Text::kept, Type::integer},
        {Node::value, 0, "boolean", Node::scalar, 0, Text::kept, Type::boolean},
        {Node::value, 0, "double", Node::scalar, 0, Text::kept, Type::flowtingPoint},
        {Node::value, 0, "dateTime.iso8601", Node::scalar, 0, Text::kept, Type::dateTime},
        {Node::value, 0, "base64", Node::scalar, 0, Text::kept, Type::base64},
        {Node::value, 0, "nil", Node::scalar, 0, Text::white, Type::none},
        {Node::value, 0, "array", Node::array, 1, Text::white},
    };

    // By parent, where its rules begin; anywhere else for a node in which no element may stand.
    static constexpr auto FIRST = [] {
        std::array<unsigned char, static_cast<std::size_t>(Node::count)> first = {};
        for (std::size_t rule = std::size(RULES); rule-- > 0;)
            first[static_cast<std::size_t>(RULES[rule].parent)] = static_cast<unsigned char>(rule);
        return first;
    }();
};

MessageBuilder::MessageBuilder(CArrayParser& message)
    : message_(message)
    , open_{{&Grammar::DOCUMENT, 0}}
{}

bool MessageBuilder::begun() const
{
    return open_.size() > 1 || complete();
}

bool MessageBuilder::complete() const
{
    return open_.front().children == Grammar::DOCUMENT.leastChildren;
}

const MessageBuilder::Rule* MessageBuilder::findRule_(const OpenElement& parent, std::string_view tag)
{
    const Node node = parent.rule->node;
    for (const Rule* rule = Grammar::RULES + Grammar::FIRST[static_cast<std::size_t>(node)];
         rule != std::end(Grammar::RULES) && rule->parent == node; ++rule)
        if (rule->tag == tag && (rule->place == parent.children || rule->place == ANY_PLACE))
            return rule;
    return nullptr;
}

bool MessageBuilder::beginElement(std::string_view tag)
{
    const Rule* const rule = findRule_(open_.back(), tag);
    if (rule == nullptr || !(text_.empty() || isWhiteSpace(text_)) || !begin_(rule->node))
        return false;
    text_.clear();
    open_.push_back({rule, 0});
    return true;
}

bool MessageBuilder::addText(std::string_view text)
{
    const OpenElement& element = open_.back();
    const Text kind = element.rule->text;
    if (kind == Text::white || (kind == Text::ifAlone && element.children > 0))
        return isWhiteSpace(text);
    text_.append(text);
    return true;
}

bool MessageBuilder::endElement()
{
    const OpenElement element = open_.back();
    if (element.children < element.rule->leastChildren || !end_(element))
        return false;
    open_.pop_back();
    ++open_.back().children;
    return true;
}

bool MessageBuilder::begin_(Node node)
{
    switch (node) {
    case Node::structure:
        structure_ = std::make_unique<CParser>();
        structure_->members_.reserve(expectedMembers_);
        return true;
    case Node::array:
        return !std::exchange(array_, true);
    default:
        return true;
    }
}

bool MessageBuilder::end_(const OpenElement& element)
{
    switch (element.rule->node) {
    case Node::methodName:
        return setCommand_();
    case Node::name:
        name_.swap(text_);
        text_.clear();
        return true;
    case Node::scalar:
        addValue_(element.rule->type);
        return true;
    case Node::value:
        if (element.children == 0)
            addValue_(Type::string);
        return true;
    case Node::member:
        addMember_();
        return true;
    case Node::element:
        addStructure_();
        return true;
    case Node::fault:
        setFault_();
        return true;
    default:
        return true;
    }
}

// A call of nothing would look like an answer.
bool MessageBuilder::setCommand_()
{
    message_.setCommand(text_);
    return !std::exchange(text_, std::string()).empty();
}

// The values of an array have one type, the first one's.
void MessageBuilder::addValue_(Type type)
{
    if (values_.empty())
        type_ = type;
    if (array_)
        values_.push_back(std::exchange(text_, std::string()));
    else
        value_ = std::exchange(text_, std::string());
}

void MessageBuilder::addMember_()
{
    std::string name = std::exchange(name_, std::string());
    const Type type = std::exchange(type_, Type::none);
    if (std::exchange(array_, false))
        structure_->members_.emplace_back(std::move(name), type, std::exchange(values_, {}), false, true);
    else
        structure_->members_.emplace_back(std::move(name), type, std::exchange(value_, {}), false);
}

void MessageBuilder::addStructure_()
{
    expectedMembers_ = structure_->members_.size();
    message_.addElement(structure_.get());
    structure_.release(); // NOLINT(bugprone-unused-return-value): the array owns it now
}

void MessageBuilder::setFault_()
{
    FaultCode code = FaultCode::otherError;
    std::string text;
    for (const CMember& member : structure_->members_) {
        if (member.getName() == "faultCode")
            code = toFaultCode(member.getValue());
        if (member.getName() == "faultString")
            text = member.getValue();
    }
    message_.getFault() = CFault(code, text);
}

} // namespace norvale::tamber::systemdata::parser
