// A user of the structured messages alone: reads one from standard input and writes it to standard output.

#include "CArrayParser.h"

#include <iostream>

using namespace norvale::tamber::systemdata::parser;

int main()
{
    CIStream in(std::cin);
    COStream out(std::cout);
    CArrayParser message;
    return message.parse(in) == 0 && message.serialize(out) == 0 ? 0 : 1;
}
