#ifndef MEMORY_PLATFORM_CMEMBER_H
#define MEMORY_PLATFORM_CMEMBER_H

// An in-memory platform for tests: only the operations that a device's own platform is known to have.

#include <string>
#include <utility>
#include <vector>

namespace norvale::tamber::systemdata::parser {

enum class Type : int {
    none = 0,
    string = 1,
    boolean = 2,
    integer = 3,
    flowtingPoint = 4,
    dateTime = 5,
    base64 = 6
};

class CMember {
public:
    const std::string& getName() const { return name; }
    const std::string& getValue() const { return values.at(0); }
    const std::vector<std::string>& getValues() const { return values; }

private:
    friend class CParser;
    friend class CArrayParser;

    CMember(std::string memberName, Type memberType, std::vector<std::string> memberValues, bool isOption,
            bool isArray)
        : name(std::move(memberName))
        , type(memberType)
        , values(std::move(memberValues))
        , option(isOption)
        , array(isArray)
    {}

    std::string name;
    Type type;
    std::vector<std::string> values;
    bool option;
    bool array;
};

} // namespace norvale::tamber::systemdata::parser

#endif
