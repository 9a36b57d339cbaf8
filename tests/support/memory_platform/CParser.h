#ifndef MEMORY_PLATFORM_CPARSER_H
#define MEMORY_PLATFORM_CPARSER_H

#include "CMember.h"

#include <cstddef>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::parser {

class CParser {
public:
    CParser();
    ~CParser();
    CParser(const CParser&) = delete;
    CParser& operator=(const CParser&) = delete;

    void addMember(const std::string& name, const std::string& value, Type type, bool option);
    void addArrayMember(const std::string& name, const std::vector<std::string>& values, Type type,
                        bool option);
    void positionToFirstMember();
    CMember& getNextMember();

private:
    friend class CArrayParser;

    std::vector<CMember> members_;
    std::size_t cursor_ = 0;
};

} // namespace norvale::tamber::systemdata::parser

#endif
