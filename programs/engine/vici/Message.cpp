// Writing and reading of messages.

#include "Message.h"

#include <cstddef>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::vici {

namespace {

enum Mark : std::uint8_t { SectionStart = 1, SectionEnd, KeyValue, ListStart, ListItem, ListEnd };

constexpr unsigned BITS = 8;
constexpr std::size_t DEEPEST = 32;

std::string withLength(const std::string& bytes, unsigned lengthBytes)
{
    if (bytes.size() >> lengthBytes * BITS != 0)
        throw std::length_error("the engine's control interface: a text is too long");
    std::string text;
    for (unsigned i = lengthBytes; i-- > 0;)
        text += static_cast<char>(bytes.size() >> i * BITS & 0xFFU);
    return text + bytes;
}

std::string begin(Mark mark, const std::string& name)
{
    return static_cast<char>(mark) + withLength(name, 1);
}

} // namespace

class Decoder {
public:
    explicit Decoder(const std::string& bytes)
        : bytes_(bytes)
    {}

    Element message()
    {
        Element root;
        while (at_ < bytes_.size())
            root.elements_.push_back(element_(static_cast<Mark>(byte_()), 0));
        return root;
    }

private:
    Element element_(Mark mark, std::size_t depth)
    {
        if (depth > DEEPEST)
            fail_();
        if (mark == KeyValue) {
            Element element(Element::Value, text_(1));
            element.value_ = text_(2);
            return element;
        }
        if (mark == ListStart) {
            Element element(Element::List, text_(1));
            for (mark = next_(); mark == ListItem; mark = next_())
                element.items_.push_back(text_(2));
            if (mark != ListEnd)
                fail_();
            return element;
        }
        if (mark != SectionStart)
            fail_();
        Element element(Element::Section, text_(1));
        for (mark = next_(); mark != SectionEnd; mark = next_())
            element.elements_.push_back(element_(mark, depth + 1));
        return element;
    }

    Mark next_() { return static_cast<Mark>(byte_()); }

    std::uint8_t byte_()
    {
        if (at_ >= bytes_.size())
            fail_();
        return static_cast<std::uint8_t>(bytes_[at_++]);
    }

    std::string text_(unsigned lengthBytes)
    {
        std::size_t length = 0;
        for (unsigned i = 0; i < lengthBytes; ++i)
            length = length << BITS | byte_();
        if (length > bytes_.size() - at_)
            fail_();
        at_ += length;
        return bytes_.substr(at_ - length, length);
    }

    [[noreturn]] static void fail_()
    {
        throw std::runtime_error("the engine's control interface: a malformed message");
    }

    const std::string& bytes_;
    std::size_t at_ = 0;
};

std::string Element::value(const std::string& name) const
{
    const Element* const element = find_(Value, name);
    return element == nullptr ? std::string() : element->value_;
}

std::vector<std::string> Element::items(const std::string& name) const
{
    const Element* const element = find_(List, name);
    return element == nullptr ? std::vector<std::string>() : element->items_;
}

const Element& Element::section(const std::string& name) const
{
    static const Element nothing;
    const Element* const element = find_(Section, name);
    return element == nullptr ? nothing : *element;
}

Element& Element::add(const std::string& name, const std::string& value)
{
    elements_.emplace_back(Value, name);
    elements_.back().value_ = value;
    return *this;
}

std::string Element::encoded() const
{
    std::string bytes;
    for (const Element& element : elements_) {
        if (element.kind_ == Value) {
            bytes += begin(KeyValue, element.name_) + withLength(element.value_, 2);
        } else if (element.kind_ == List) {
            bytes += begin(ListStart, element.name_);
            for (const std::string& item : element.items_)
                bytes += static_cast<char>(ListItem) + withLength(item, 2);
            bytes += static_cast<char>(ListEnd);
        } else {
            bytes += begin(SectionStart, element.name_) + element.encoded();
            bytes += static_cast<char>(SectionEnd);
        }
    }
    return bytes;
}

Element Element::decode(const std::string& bytes)
{
    return Decoder(bytes).message();
}

const Element* Element::find_(Kind kind, const std::string& name) const
{
    for (const Element& element : elements_)
        if (element.kind_ == kind && element.name_ == name)
            return &element;
    return nullptr;
}

} // namespace norvale::tamber::systemdata::ipseccfg::vici
