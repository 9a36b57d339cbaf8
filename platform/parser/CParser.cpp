// One structure of a structured message, with its read cursor.

#include "CParser.h"

#include "XmlText.h"

#include <stdexcept>

namespace norvale::tamber::systemdata::parser {

namespace {

// What a filter rule takes, of which a message may hold very many.
constexpr std::size_t FIRST_CAPACITY = 9;

} // namespace

CParser::CParser() = default;

void CParser::addMember(const std::string& name, const std::string& value, Type type, bool option)
{
    if (members_.capacity() == 0)
        members_.reserve(FIRST_CAPACITY);
    members_.emplace_back(name, type, value, option).plain_ = isPlainText(name) && isPlainText(value);
}

void CParser::addArrayMember(const std::string& name, const std::vector<std::string>& values, Type type,
                             bool option)
{
    members_.emplace_back(name, type, values, option, true);
}

void CParser::positionToFirstMember()
{
    cursor_ = 0;
}

bool CParser::hasNextMember() const
{
    return cursor_ != members_.size();
}

CMember& CParser::getNextMember()
{
    if (!hasNextMember())
        throw std::out_of_range("No more member");
    return members_[cursor_++];
}

} // namespace norvale::tamber::systemdata::parser
