// The way from a request to its answer.

#include "Exchange.h"

#include "Answer.h"
#include "Configuration.h"
#include "Log.h"
#include "Request.h"
#include "RequestStream.h"
#include "SettingManagers.h"

#include <exception>
#include <new>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

Request receive(int input, const Configuration& configuration)
{
    RequestStream stream(input, configuration.maxRequestBytes, configuration.maxRequestTime);
    try {
        return receiveRequest(stream);
    } catch (const std::exception&) {
        // The parser only sees that the request ends too early.
        if (stream.problem().empty())
            throw;
        throw std::runtime_error(stream.problem());
    }
}

// @param scenario what the log calls the request; set as soon as it is known
std::string carryOut(int input, const std::string& configurationFile, const Limits& limits,
                     std::string& scenario)
{
    const Configuration configuration = readConfiguration(configurationFile, knownEngines());
    const Request request = receive(input, configuration);
    scenario = scenarioName(request.scenario);
    checkRequest(request);
    return Server(configuration, limits).carryOut(request);
}

Answer answerTo(int input, const std::string& configurationFile, const Limits& limits, std::string& scenario)
{
    Answer answer;
    try {
        answer.detail = carryOut(input, configurationFile, limits, scenario);
        answer.status = common::ResultCommand::Success;
    } catch (const std::bad_alloc&) {
        answer.detail = "out of memory";
    } catch (const std::exception& failure) {
        answer.detail = failure.what();
    } catch (...) {
        answer.detail = "unknown error";
    }
    return presentable(answer);
}

} // namespace

bool exchange(Channel& channel, const std::string& configurationFile, const Limits& limits)
{
    // Made while there is memory, for when there is none.
    std::string message = messageOf({common::ResultCommand::Failure, "out of memory"});
    try {
        std::string scenario = "request";
        const Answer answer = answerTo(channel.input(), configurationFile, limits, scenario);
        logAnswer(scenario, answer);
        message = messageOf(answer);
    } catch (const std::exception&) {
        logLastResort();
    }
    return channel.answer(message, limits.answer);
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
