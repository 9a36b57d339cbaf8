#ifndef IPSECCFG_SERVER_JSONTEXT_H
#define IPSECCFG_SERVER_JSONTEXT_H

/// @file
/// Writing of JSON text (RFC 8259).

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// A JSON text in the making, indented by two, its members in the order in which they are written.
///
/// Not a tree of the JSON library: such a tree needs memory even to be destroyed, and ends the process if there
/// is none. A scalar of the library does not.
class JsonText {
public:
    /// A structure in which `content` writes the members, or elements.
    /// @{
    template <class Content>
    void object(Content content)
    {
        structure_('{', '}', content);
    }
    template <class Content>
    void array(Content content)
    {
        structure_('[', ']', content);
    }
    /// @}

    /// The name of the member whose value is written next.
    void name(const char* name)
    {
        separate_();
        text_ += nlohmann::json(name).dump() + ": ";
        named_ = true;
    }

    /// A text, a number or a boolean.
    template <class Scalar>
    void value(const Scalar& scalar)
    {
        separate_();
        text_ += nlohmann::json(scalar).dump();
    }

    template <class Scalar>
    void member(const char* name, const Scalar& scalar)
    {
        this->name(name);
        value(scalar);
    }

    const std::string& text() const { return text_; }

private:
    template <class Content>
    void structure_(char begin, char end, Content content)
    {
        separate_();
        text_ += begin;
        ++depth_;
        empty_ = true;
        content();
        --depth_;
        if (!empty_)
            newLine_();
        text_ += end;
        empty_ = false;
    }

    // Puts what stands between two elements of a structure before the next one.
    void separate_()
    {
        if (!named_ && depth_ > 0) {
            text_ += empty_ ? "" : ",";
            newLine_();
        }
        named_ = false;
        empty_ = false;
    }

    void newLine_() { text_ += "\n" + std::string(2 * depth_, ' '); }

    std::string text_;
    std::size_t depth_ = 0;
    bool empty_ = true;
    bool named_ = false;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
