// One named member of a structured message.

#include "CMember.h"

#include <utility>

namespace norvale::tamber::systemdata::parser {

CMember::CMember(std::string name, Type type, std::vector<std::string> values, bool option, bool array)
    : name_(std::move(name))
    , type_(type)
    , values_(std::move(values))
    , option_(option)
    , array_(array)
{}

const std::string& CMember::getName() const
{
    return name_;
}

const std::string& CMember::getValue() const
{
    static const std::string NO_VALUE;
    return values_.empty() ? NO_VALUE : values_.front();
}

const std::vector<std::string>& CMember::getValues() const
{
    return values_;
}

} // namespace norvale::tamber::systemdata::parser
