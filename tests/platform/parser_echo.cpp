// Reads structured messages from standard input and writes each again on a line of its own: what a foreign
// XML-RPC implementation is held against. Ends with status 0 at the end of the input, with 1 at a message
// that is refused.

#include "CArrayParser.h"

#include <iostream>
#include <string_view>

using namespace norvale::tamber::systemdata::parser;

int main(int argc, char* argv[])
{
    const bool indented = argc > 1 && std::string_view(argv[1]) == "--pretty";
    CIStream in(std::cin);
    COStream out(std::cout);
    while (!(std::cin >> std::ws).eof()) {
        CArrayParser message;
        if (message.parse(in) != 0)
            return 1;
        message.setPrettyPrint(indented);
        if (message.serialize(out) != 0)
            return 2;
        std::cout << std::endl;
    }
}
