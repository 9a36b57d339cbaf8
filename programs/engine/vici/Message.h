#ifndef IPSECCFG_VICI_MESSAGE_H
#define IPSECCFG_VICI_MESSAGE_H

/// @file
/// The messages of strongSwan's control interface, VICI.
///
/// A message is a tree, written as a sequence of elements:
///
///     SECTION = 1 NAME ELEMENT... 2
///     VALUE   = 3 NAME BYTES
///     LIST    = 4 NAME (5 BYTES)... 6
///     NAME    = a length byte and as many bytes
///     BYTES   = a length of two bytes, the high one first, and as many bytes

#include <cstdint>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::vici {

/// One element; the message itself is a section without a name. Names may occur more than once.
class Element {
public:
    enum Kind { Section, Value, List };

    Element() = default;
    Element(Kind kind, const std::string& name)
        : kind_(kind)
        , name_(name)
    {}

    Kind kind() const { return kind_; }
    const std::string& name() const { return name_; }

    /// Of a value; empty for the others.
    const std::string& value() const { return value_; }
    /// Of a list; none for the others.
    const std::vector<std::string>& items() const { return items_; }
    /// Of a section; none for the others.
    const std::vector<Element>& elements() const { return elements_; }

    /// What a section holds under a name; an empty text, list or section if there is nothing.
    /// @{
    std::string value(const std::string& name) const;
    std::vector<std::string> items(const std::string& name) const;
    const Element& section(const std::string& name) const;
    /// @}

    /// Appends a value to a section.
    Element& add(const std::string& name, const std::string& value);

    /// The elements of this section as they are sent.
    /// @throws std::length_error if a name or value is too long
    std::string encoded() const;
    /// @throws std::runtime_error "the engine's control interface: a malformed message"
    static Element decode(const std::string& bytes);

private:
    const Element* find_(Kind kind, const std::string& name) const;

    friend class Decoder;

    Kind kind_ = Section;
    std::string name_;
    std::string value_;
    std::vector<std::string> items_;
    std::vector<Element> elements_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::vici

#endif
