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

using Status = common::ResultCommand::Type;

constexpr const char* OUT_OF_MEMORY = "out of memory";

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
const char* carryOut(int input, const std::string& configurationFile, const Limits& limits,
                     std::string& scenario)
{
    const Configuration configuration = readConfiguration(configurationFile, knownEngines());
    const Request request = receive(input, configuration);
    scenario = scenarioName(request.scenario);
    checkRequest(request);
    return Server(configuration, limits).carryOut(request);
}

// @param status set as soon as it is known; whatever happens to the words, that is so
Answer answerTo(int input, const std::string& configurationFile, const Limits& limits, std::string& scenario,
                Status& status)
{
    const char* done = nullptr;
    std::string fault;
    try {
        done = carryOut(input, configurationFile, limits, scenario);
        status = common::ResultCommand::Success;
    } catch (const std::bad_alloc&) {
        fault = OUT_OF_MEMORY;
    } catch (const std::exception& failure) {
        fault = failure.what();
    } catch (...) {
        fault = "unknown error";
    }
    return presentable({status, done == nullptr ? fault : done});
}

} // namespace

bool exchange(Channel& channel, const std::string& configurationFile, const Limits& limits)
{
    // Made while there is memory, for when there is none.
    std::string message = messageOf({common::ResultCommand::Failure, OUT_OF_MEMORY});
    std::string successMessage = messageOf({common::ResultCommand::Success, "done"});
    Status status = common::ResultCommand::Failure;
    try {
        std::string scenario = "request";
        const Answer answer = answerTo(channel.input(), configurationFile, limits, scenario, status);
        logAnswer(scenario, answer);
        message = messageOf(answer);
    } catch (const std::exception&) {
        if (status == common::ResultCommand::Success)
            message.swap(successMessage);
        logLastResort(status);
    }
    return channel.answer(message, limits.answer);
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
