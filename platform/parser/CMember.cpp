// One named member of a structured message.

#include "CMember.h"

#include <utility>

namespace norvale::tamber::systemdata::parser {

CMember::CMember(std::string name, Type type, std::vector<std::string> values, bool option, bool array)
    : name_(std::move(name))
    , values_(std::move(values))
    , type_(type)
    , option_(option)
    , array_(array)
{
    if (!array_ && !values_.empty())
        value_ = values_.front();
}

CMember::CMember(std::string name, Type type, std::string value, bool option)
    : name_(std::move(name))
    , value_(std::move(value))
    , type_(type)
    , option_(option)
    , array_(false)
{}

const std::string& CMember::getName() const
{
    return name_;
}

const std::string& CMember::getValue() const
{
    return array_ && !values_.empty() ? values_.front() : value_;
}

const std::vector<std::string>& CMember::getValues() const
{
    if (!array_ && values_.empty())
        values_.push_back(value_);
    return values_;
}

} // namespace norvale::tamber::systemdata::parser
