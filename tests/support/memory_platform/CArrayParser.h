#ifndef MEMORY_PLATFORM_CARRAYPARSER_H
#define MEMORY_PLATFORM_CARRAYPARSER_H

#include "CFault.h"

#include <string>
#include <vector>

namespace norvale::tamber::systemdata::parser {

class CIStream;
class COStream;
class CParser;

// The message's text is a line a member instead of XML, so that tests can state whole messages:
//
//     command NAME            if one is set
//     pretty                  if it is switched on
//     fault CODE TEXT         if the code is not ok
//     {                       for each structure
//     NAME TYPE VALUE         TYPE is the number of the enumerator; "[2]" and so on for an array of that
//     type, }                       VALUE then is its values with "|" between them end
class CArrayParser {
public:
    CArrayParser() = default;
    ~CArrayParser();
    CArrayParser(const CArrayParser&) = delete;
    CArrayParser& operator=(const CArrayParser&) = delete;

    void setCommand(const std::string& name) { command_ = name; }
    void addElement(CParser* element);
    std::vector<CParser*>& getElements() { return elements_; }
    void setPrettyPrint(bool on) { prettyPrint_ = on; }
    int serialize(COStream& out);
    int parse(CIStream& in);
    CFault& getFault() { return fault_; }

private:
    std::string command_;
    std::vector<CParser*> elements_;
    CFault fault_;
    bool prettyPrint_ = false;
};

} // namespace norvale::tamber::systemdata::parser

#endif
