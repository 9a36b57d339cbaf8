// A user of the request channel alone: asks the server that the first argument names. Exits with 0 if it answers.

#include "CArrayParser.h"
#include "CRequester.h"

using namespace norvale::tamber::systemdata;

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    parser::CArrayParser request;
    request.setCommand(argv[1]);
    requester::CRequester requester(20);
    if (request.serialize(requester.getOStream()) != 0 || requester.endOfTransmission() != 0)
        return 1;
    parser::CArrayParser answer;
    return answer.parse(requester.getIStream());
}
