// Making of the answer's text.

#include "Answer.h"

#include "CArrayParser.h"
#include "Text.h"

#include <cstddef>
#include <sstream>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

Answer presentable(const Answer& answer)
{
    constexpr std::size_t LONGEST = 2000;
    const std::string mark = "...";
    if (answer.detail.size() <= LONGEST)
        return {answer.status, programs::printable(answer.detail)};
    // A character that is cut through becomes a '?' for each of its bytes.
    return {answer.status, programs::printable(answer.detail.substr(0, LONGEST - mark.size())) + mark};
}

std::string messageOf(const Answer& answer)
{
    parser::CArrayParser message;
    message.setPrettyPrint(true);
    common::ResultSerializer result(answer.status, answer.detail);
    result.setArrayParser(&message);
    result.execute();

    std::ostringstream text;
    parser::COStream out(text);
    if (message.serialize(out) != 0)
        throw std::runtime_error("the answer cannot be written");
    return text.str();
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
