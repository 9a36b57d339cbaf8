// One structure of a structured message, with its read cursor.

#include "CParser.h"

#include <stdexcept>

namespace norvale::tamber::systemdata::parser {

CParser::CParser() = default;

void CParser::addMember(const std::string& name, const std::string& value, Type type, bool option)
{
    members_.emplace_back(name, type, std::vector<std::string>(1, value), option, false);
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

CMember& CParser::getNextMember()
{
    if (cursor_ == members_.size())
        throw std::out_of_range("No more member");
    return members_[cursor_++];
}

} // namespace norvale::tamber::systemdata::parser
