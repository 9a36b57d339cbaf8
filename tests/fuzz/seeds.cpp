// Writes the inputs that each fuzz target begins with into FOLDER/TARGET: requests, answers and a policy as the
// programs have them.

#include "server_support.h"

#include "CArrayParser.h"

#include <exception>
#include <filesystem>
#include <iostream>
#include <sstream>

namespace {

using namespace norvale::tamber::systemdata;
using namespace norvale::tamber::systemdata::ipseccfg::common;

template <class Command>
std::string textOf(Command&& command)
{
    parser::CArrayParser message;
    message.setPrettyPrint(true);
    command.setArrayParser(&message);
    command.execute();
    std::ostringstream text;
    parser::COStream out(text);
    message.serialize(out);
    return text.str();
}

std::string faultText()
{
    parser::CArrayParser message;
    message.getFault() = parser::CFault(parser::syntaxError, "a fault");
    std::ostringstream text;
    parser::COStream out(text);
    message.serialize(out);
    return text.str();
}

void write(const std::filesystem::path& folder, const std::string& name, const std::string& content)
{
    std::filesystem::create_directories(folder);
    tests::writeFile(folder / name, content);
}

// Everything that a request may hold, one of each.
std::string fullRequest(ScenarioCommand::Type scenario)
{
    tests::RequestParts parts;
    parts.scenario = scenario;
    parts.settingFile = "@/engine.conf";
    parts.fips = true;
    parts.nameSpace = "red";
    return tests::requestText(parts);
}

void writeAll(const std::filesystem::path& folder, const std::string& samplePolicy)
{
    for (const char* const target : {"parser", "deserializers", "receiver", "server"}) {
        write(folder / target, "start", fullRequest(ScenarioCommand::Start));
        write(folder / target, "restart", fullRequest(ScenarioCommand::Restart));
        write(folder / target, "shutdown", tests::shutdownText("@/engine.conf"));
        write(folder / target, "shutdown-of-any", tests::shutdownText());
        write(folder / target, "start-of-nothing", tests::startText(""));
    }
    for (const char* const target : {"parser", "deserializers"}) {
        write(folder / target, "success", textOf(ResultSerializer(ResultCommand::Success, "done")));
        write(folder / target, "failure",
              textOf(ResultSerializer(ResultCommand::Failure, "<&>\r\n\t\xC3\xA9")));
    }
    write(folder / "parser", "fault", faultText());
    write(folder / "policy", "sample", tests::readFile(samplePolicy));
    // A structure with a scalar and an array; the bytes are lengths, texts and choices.
    write(folder / "identity", "structure",
          std::string("\x02\x03/ab\x02\x01n\x01", 8) + std::string("\0\x02vw\1", 5) +
              "\x02mm\x03\x03\x01x\x01y");
    write(folder / "identity", "fault", std::string("\x0C\x05\x03why", 6));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "usage: fuzz_seeds FOLDER SAMPLE-POLICY\n";
        return 2;
    }
    try {
        writeAll(argv[1], argv[2]);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
