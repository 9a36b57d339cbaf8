#ifndef TESTS_PLATFORM_PARSER_SUPPORT_H
#define TESTS_PLATFORM_PARSER_SUPPORT_H

// What the tests of structured messages share: messages as values that can be compared, and streams of every
// kind.

#include "CArrayParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <istream>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

namespace tests {

using norvale::tamber::systemdata::parser::CArrayParser;
using norvale::tamber::systemdata::parser::CFault;
using norvale::tamber::systemdata::parser::CIStream;
using norvale::tamber::systemdata::parser::CMember;
using norvale::tamber::systemdata::parser::COStream;
using norvale::tamber::systemdata::parser::CParser;
using norvale::tamber::systemdata::parser::FaultCode;
using norvale::tamber::systemdata::parser::Type;

using Values = std::vector<std::string>;
using Member = std::pair<std::string, Values>;
using Structure = std::vector<Member>;
using Structures = std::vector<Structure>;

// What every message that is written begins with.
inline const std::string DECLARATION = R"(<?xml version="1.0" encoding="UTF-8"?>)";

inline Structure membersOf(CParser& parser)
{
    Structure members;
    parser.positionToFirstMember();
    try {
        for (;;) {
            const CMember& member = parser.getNextMember();
            members.emplace_back(member.getName(), member.getValues());
        }
    } catch (const std::out_of_range&) {
        return members;
    }
}

inline Structures structuresOf(CArrayParser& message)
{
    Structures structures;
    for (CParser* parser : message.getElements())
        structures.push_back(membersOf(*parser));
    return structures;
}

inline int parseText(CArrayParser& message, const std::string& text)
{
    std::istringstream stream(text);
    CIStream in(stream);
    return message.parse(in);
}

/// The message as text; "<refused>" and what was written nevertheless if it cannot be serialized.
inline std::string textOf(CArrayParser& message)
{
    std::ostringstream stream;
    COStream out(stream);
    return message.serialize(out) == 0 ? stream.str() : "<refused>" + stream.str();
}

/// Adds a structure of one scalar to the message.
inline void addScalar(CArrayParser& message, const std::string& name, const std::string& value, Type type)
{
    auto structure = std::make_unique<CParser>();
    structure->addMember(name, value, type, false);
    message.addElement(structure.get());
    structure.release(); // NOLINT(bugprone-unused-return-value): the message owns it now
}

/// An answer's text around what stands in the message's array.
inline std::string answerOf(const std::string& data)
{
    return "<methodResponse><params><param><value><array><data>" + data +
           "</data></array></value></param></params></methodResponse>";
}

inline std::string structOf(const std::string& members)
{
    return "<value><struct>" + members + "</struct></value>";
}

inline std::string memberOf(const std::string& name, const std::string& value)
{
    return "<member><name>" + name + "</name>" + value + "</member>";
}

/// An answer whose only member "m" is the given <value> element.
inline std::string answerWith(const std::string& value)
{
    return answerOf(structOf(memberOf("m", value)));
}

inline std::string faultOf(const std::string& members)
{
    return "<methodResponse><fault>" + structOf(members) + "</fault></methodResponse>";
}

/// A text as the parameter of a test, and its name there.
struct NamedText {
    const char* name;
    std::string text;
};

inline std::ostream& operator<<(std::ostream& out, const NamedText& named)
{
    return out << named.name;
}

inline std::string nameOf(const testing::TestParamInfo<NamedText>& parameter)
{
    return parameter.param.name;
}

/// Hands out a text in pieces of a fixed size, but for the first one, and counts how often it was asked for more
/// than there is, which on a channel would have been to wait for ever.
class PiecewiseSource : public std::streambuf {
public:
    PiecewiseSource(std::string text, std::size_t piece)
        : PiecewiseSource(std::move(text), piece, piece)
    {}
    PiecewiseSource(std::string text, std::size_t piece, std::size_t firstPiece)
        : text_(std::move(text))
        , piece_(piece)
        , next_(firstPiece)
    {}

    int askedBeyondEnd() const { return askedBeyondEnd_; }

protected:
    int_type underflow() override
    {
        if (given_ == text_.size()) {
            ++askedBeyondEnd_;
            return traits_type::eof();
        }
        const std::size_t size = std::min(std::exchange(next_, piece_), text_.size() - given_);
        char* const begin = text_.data() + given_;
        setg(begin, begin, begin + size);
        given_ += size;
        return traits_type::to_int_type(*begin);
    }

private:
    std::string text_;
    std::size_t piece_;
    std::size_t next_;
    std::size_t given_ = 0;
    int askedBeyondEnd_ = 0;
};

/// Hands out a text without a buffer, byte by byte; a byte that was taken cannot be given back.
class UnbufferedSource : public std::streambuf {
public:
    explicit UnbufferedSource(std::string text)
        : text_(std::move(text))
    {}

    int askedBeyondEnd() const { return askedBeyondEnd_; }

protected:
    int_type underflow() override
    {
        if (at_ < text_.size())
            return traits_type::to_int_type(text_[at_]);
        ++askedBeyondEnd_;
        return traits_type::eof();
    }

    int_type uflow() override
    {
        const int_type byte = underflow();
        ++at_;
        return byte;
    }

private:
    std::string text_;
    std::size_t at_ = 0;
    int askedBeyondEnd_ = 0;
};

/// A text of any length that is never held: a head, one text so often that a size is reached, a tail.
class LongSource : public std::streambuf {
public:
    LongSource(const std::string& head, const std::string& repeated, std::size_t size,
               const std::string& tail)
        : head_(head)
        , tail_(tail)
    {
        while (repeated_.size() < 65536)
            repeated_ += repeated;
        middle_ = size - head.size() - tail.size();
    }

    /// How many bytes were handed out.
    std::size_t given() const { return given_; }

protected:
    int_type underflow() override
    {
        if (given_ == 0)
            return give_(head_, head_.size());
        if (middle_ > 0) {
            const std::size_t size = std::min(middle_, repeated_.size());
            middle_ -= size;
            return give_(repeated_, size);
        }
        return std::exchange(ended_, true) ? traits_type::eof() : give_(tail_, tail_.size());
    }

private:
    int_type give_(std::string& text, std::size_t size)
    {
        given_ += size;
        setg(text.data(), text.data(), text.data() + size);
        return size > 0 ? traits_type::to_int_type(text.front()) : underflow();
    }

    std::string head_;
    std::string repeated_;
    std::string tail_;
    std::size_t middle_ = 0;
    std::size_t given_ = 0;
    bool ended_ = false;
};

} // namespace tests

#endif
