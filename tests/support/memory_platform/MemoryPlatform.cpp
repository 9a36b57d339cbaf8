// The in-memory platform: messages as lines, a channel that plays back an answer, hooks that inject faults.

#include "MemoryPlatform.h"

#include "CIStream.h"
#include "COStream.h"
#include "CParser.h"
#include "CRequester.h"

#include <memory>
#include <sstream>
#include <stdexcept>

namespace {

template <class... Arguments>
void call(const std::function<void(Arguments...)>& hook, const Arguments&... arguments)
{
    if (hook)
        hook(arguments...);
}

void callHook(const std::function<void(const std::string&)>& hook, const std::string& name)
{
    if (hook)
        hook(name);
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> pieces(1);
    for (const char c : text)
        if (c == separator)
            pieces.emplace_back();
        else
            pieces.back().push_back(c);
    return pieces;
}

} // namespace

memory_platform::State& memory_platform::state()
{
    static State state;
    return state;
}

std::string memory_platform::textOf(norvale::tamber::systemdata::parser::CArrayParser& array)
{
    std::ostringstream text;
    norvale::tamber::systemdata::parser::COStream out(text);
    array.serialize(out);
    const std::string whole = text.str();
    return whole.substr(0, whole.rfind("end\n"));
}

void memory_platform::addTo(norvale::tamber::systemdata::parser::CArrayParser& array, const std::string& text)
{
    std::istringstream whole(text + "end\n");
    norvale::tamber::systemdata::parser::CIStream in(whole);
    if (array.parse(in) != 0)
        throw std::logic_error("not a message of the in-memory platform: " + text);
}

namespace norvale::tamber::systemdata::parser {

using memory_platform::state;

CParser::CParser()
{
    call(state().hooks.createParser);
    ++state().liveParsers;
}

CParser::~CParser()
{
    --state().liveParsers;
}

void CParser::addMember(const std::string& name, const std::string& value, Type type, bool option)
{
    callHook(state().hooks.addMember, name);
    members_.push_back(CMember(name, type, {value}, option, false));
}

void CParser::addArrayMember(const std::string& name, const std::vector<std::string>& values, Type type,
                             bool option)
{
    callHook(state().hooks.addMember, name);
    members_.push_back(CMember(name, type, values, option, true));
}

void CParser::positionToFirstMember()
{
    cursor_ = 0;
}

CMember& CParser::getNextMember()
{
    call(state().hooks.getNextMember);
    return members_.at(cursor_++);
}

CArrayParser::~CArrayParser()
{
    for (const CParser* element : elements_)
        delete element;
}

void CArrayParser::addElement(CParser* element)
{
    call(state().hooks.addElement);
    elements_.push_back(element);
}

int CArrayParser::serialize(COStream& out)
{
    std::ostream& os = out.out_;
    if (!command_.empty())
        os << "command " << command_ << '\n';
    if (prettyPrint_)
        os << "pretty\n";
    if (fault_.code != FaultCode::ok)
        os << "fault " << static_cast<int>(fault_.code) << ' ' << fault_.string << '\n';
    for (const CParser* element : elements_) {
        os << "{\n";
        for (const CMember& member : element->members_) {
            os << member.name << ' ';
            os << (member.array ? "[" : "") << static_cast<int>(member.type) << (member.array ? "]" : "");
            const char* separator = " ";
            for (const std::string& value : member.values) {
                os << separator << value;
                separator = "|";
            }
            os << (member.option ? " (option)\n" : "\n");
        }
        os << "}\n";
    }
    os << "end\n";
    return state().serializeStatus;
}

int CArrayParser::parse(CIStream& in)
{
    std::string line;
    std::unique_ptr<CParser> structure;
    while (std::getline(in.in_, line)) {
        const std::vector<std::string> words = split(line, ' ');
        const std::string rest = words.size() < 3 ? "" : line.substr(words[0].size() + words[1].size() + 2);
        if (line == "end")
            return state().parseStatus;
        if (line == "{")
            structure = std::make_unique<CParser>();
        else if (line == "}")
            elements_.push_back(structure.release());
        else if (words[0] == "command")
            command_ = line.substr(8);
        else if (words[0] == "fault") {
            fault_.code = static_cast<FaultCode>(std::stoi(words[1]));
            fault_.string = rest;
        } else if (words[1].front() == '[')
            structure->members_.push_back(
                CMember(words[0], static_cast<Type>(words[1][1] - '0'),
                        rest.empty() ? std::vector<std::string>() : split(rest, '|'), false, true));
        else
            structure->members_.push_back(
                CMember(words[0], static_cast<Type>(words[1][0] - '0'), {rest}, false, false));
    }
    return 1;
}

} // namespace norvale::tamber::systemdata::parser

namespace norvale::tamber::systemdata::requester {

using memory_platform::state;

CRequester::CRequester(int seconds)
    : answer_(state().channel.answer)
    , out_(request_)
    , in_(answer_)
{
    state().channel.events.push_back("open " + std::to_string(seconds));
}

CRequester::~CRequester()
{
    state().channel.events.emplace_back("close");
}

int CRequester::endOfTransmission()
{
    state().channel.events.emplace_back("end of transmission");
    state().channel.request = request_.str();
    return state().channel.endOfTransmissionStatus;
}

} // namespace norvale::tamber::systemdata::requester
