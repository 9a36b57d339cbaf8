// One request to the server and its answer.

#include "Sending.h"

#include "CArrayParser.h"
#include "CapturedOutput.h"
#include "ElapsedTime.h"
#include "ObjectXMLMapping.h"
#include "RequestText.h"
#include "Text.h"
#include "Wording.h"
#include "XmlRpcSendPolicy.h"

#include <chrono>
#include <exception>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

using common::ResultCommand;

// Whether a structure is a result as the library reads it: up to the number of another message.
bool hasResult(parser::CParser& structure)
{
    structure.positionToFirstMember();
    try {
        for (;;) {
            const parser::CMember& member = structure.getNextMember();
            if (member.getName() == "status")
                return true;
            if (member.getName() == "table-id" && member.getValue() != ResultCommand::TABLE_ID_VALUE)
                return false;
        }
    } catch (const std::out_of_range&) {
        return false; // past the last member
    }
}

// To the sender an answer without a result is a success without a detail. Here it is no answer: nobody said
// that anything was done.
void requireResult(parser::CArrayParser& response)
{
    for (parser::CParser* const structure : response.getElements())
        if (hasResult(*structure))
            return;
    throw std::runtime_error("the answer has no result");
}

std::string detailOf(const std::string& text)
{
    std::istringstream stream(text);
    parser::CIStream in(stream);
    parser::CArrayParser response;
    if (response.parse(in) != 0)
        throw std::runtime_error("the answer cannot be read again");
    requireResult(response);
    common::ResultDeserializer result;
    result.setArrayParser(&response);
    result.execute();
    return result.getDetail();
}

// What a status says that is neither success nor failure.
std::string strangeStatus(int status, const std::string& detail)
{
    return "the server answered with the unknown status " + std::to_string(status) +
           (detail.empty() ? "" : ": " + detail);
}

void judge(int status, Outcome& outcome)
{
    outcome.detail = detailOf(outcome.response);
    if (status == ResultCommand::Success)
        return;
    outcome.status = Status::Failure;
    if (status != ResultCommand::Failure)
        outcome.detail = strangeStatus(status, outcome.detail);
}

// How long it took tells a server that hangs from one that dies.
std::string noAnswer(const std::exception& error, std::chrono::steady_clock::duration elapsed)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
    return "no answer from " + quoted(serverPath()) + " after " + std::to_string(seconds) +
           " s: " + error.what() + " (the system's log may say why)";
}

// A socket is there only while somebody listens.
bool isNamedLikeASocket(const std::string& path)
{
    const std::string ending = ".sock";
    return path.size() > ending.size() &&
           path.compare(path.size() - ending.size(), ending.size(), ending) == 0;
}

// What to do about a server that cannot be reached.
std::string advice(const std::system_error& error)
{
    if (error.code() == std::errc::no_such_file_or_directory && isNamedLikeASocket(serverPath()))
        return "nobody listens there: start its listener, 'systemctl enable --now ipseccfg.socket' say";
    if (std::string(error.what()).find(": cannot connect to ") == std::string::npos)
        return "name the server's executable with --server or IPSECCFGSERVER";
    if (error.code() == std::errc::permission_denied)
        return "ask for membership of the socket's group, see 'ls -l " + programs::printable(serverPath()) +
               "'";
    if (error.code() == std::errc::connection_refused)
        return "nobody listens there: start its listener, 'systemctl start ipseccfg.socket' say";
    return "try again later, or name another server with --server or IPSECCFGSERVER";
}

// What went wrong without the name of the class that found it, which is nobody's business here.
std::string reasonOf(const std::exception& error)
{
    const std::string reason = error.what();
    const std::string prefix = "CRequester: ";
    return reason.rfind(prefix, 0) == 0 ? reason.substr(prefix.size()) : reason;
}

// Why there is no server, and what to do about it. Of the path that is built in nobody has heard.
std::string noServer(const std::system_error& error)
{
    const bool nobodyNamedOne = serverPath() == common::XmlRpcSendPolicy::RPC_COMMAND;
    if (nobodyNamedOne && error.code() == std::errc::no_such_file_or_directory)
        return "no server: systemdataIPsecCfgServer is not along PATH; install it, "
               "or run this with 'sudo' if it is, or name its executable or its socket, "
               "/run/ipseccfg.sock say, with --server or IPSECCFGSERVER";
    return "no server: " + reasonOf(error) + "; " + advice(error);
}

bool isFault(const std::exception& error)
{
    return std::string(error.what()).rfind("Error rsp: ", 0) == 0;
}

void send(const std::function<int(common::XmlRpcSendPolicy&)>& request, Outcome& outcome)
{
    const CapturedOutput output(std::cout);
    const ElapsedTime elapsed(STDERR_FILENO);
    common::XmlRpcSendPolicy sender;
    try {
        const int status = request(sender);
        outcome.response = output.text();
        judge(status, outcome);
    } catch (...) {
        outcome.response = output.text();
        throw;
    }
}

} // namespace

Outcome exchange(const std::function<int(common::XmlRpcSendPolicy&)>& request)
{
    Outcome outcome;
    const auto begin = std::chrono::steady_clock::now();
    try {
        send(request, outcome);
    } catch (const std::system_error& error) {
        outcome.status = Status::NoAnswer;
        outcome.detail = noServer(error);
    } catch (const std::exception& error) {
        outcome.status = isFault(error) ? Status::Failure : Status::NoAnswer;
        outcome.detail =
            isFault(error) ? error.what() : noAnswer(error, std::chrono::steady_clock::now() - begin);
    }
    return outcome;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
