// The commands of ipseccfgctl.

#include "Control.h"

#include "EngineStatus.h"
#include "Masking.h"
#include "PolicyDiff.h"
#include "PolicyFile.h"
#include "PolicyView.h"
#include "RequestText.h"
#include "Sending.h"
#include "SettingManagers.h"
#include "StarterPolicy.h"
#include "Surroundings.h"
#include "Text.h"
#include "Wording.h"
#include "XmlRpcSendPolicy.h"

#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

using common::XmlRpcSendPolicy;

Outcome send(const Policy& policy, Command command)
{
    return exchange([&](XmlRpcSendPolicy& sender) {
        sender.setSettingFilePath(policy.settingFile);
        sender.setFipsMode(policy.fipsMode);
        return command == Command::Start
                   ? sender.startProcess(policy.store, policy.defaultRules, policy.certificates)
                   : sender.restartProcess(policy.store, policy.defaultRules, policy.certificates);
    });
}

Outcome shutDown(const Options& options)
{
    return exchange([&](XmlRpcSendPolicy& sender) {
        sender.setSettingFilePath(options.settingFile);
        sender.setFipsMode(options.fips);
        return sender.killProcess();
    });
}

configserver::Configuration serverConfiguration()
{
    try {
        return configserver::readConfiguration(configserver::configurationFile(),
                                               configserver::knownEngines());
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("cannot read the server's configuration: " + std::string(error.what()) +
                                 "; IPSECCFG_SERVER_CONFIG may name another file");
    }
}

// Read from the engine itself: the server takes no part in it.
Outcome status()
{
    try {
        const configserver::Configuration configuration = serverConfiguration();
        const auto rules = engineStatus(configuration);
        if (!rules)
            return {Status::Failure, "the engine is not running", {}, {}};
        if (!protects(configuration))
            return {Status::Success,
                    "the engine " + configuration.engine +
                        " runs; it protects no traffic, so there is nothing to tell of rules",
                    {},
                    {},
                    rules};
        return {Status::Success, counted(rules->size(), "rule") + " in force", {}, {}, rules};
    } catch (const std::runtime_error& error) {
        return {Status::Failure, error.what(), {}, {}};
    }
}

std::string shown(const Policy& policy, const Options& options)
{
    if (options.xml)
        return options.secrets ? requestText(policy) : maskedRequestText(policy);
    return viewOf(options.secrets ? policy : masked(policy));
}

Outcome performWith(const Policy& policy, const Options& options)
{
    switch (options.command) {
    case Command::Check:
        return {Status::Success, "no problems", {}, {}};
    case Command::Show:
        return {Status::Success, shown(policy, options), {}, {}};
    default:
        return send(policy, options.command);
    }
}

Outcome withProblems(Problems problems)
{
    return {Status::Invalid, "the policy has problems", std::move(problems), {}};
}

// With the problems of both, so that one call tells all of them.
Outcome diff(const Options& options)
{
    const PolicyReading before = readPolicyFile(options.policyFile);
    const PolicyReading after = readPolicyFile(options.newPolicyFile);
    if (!before.policy || !after.policy) {
        Problems problems = before.problems;
        problems.insert(problems.end(), after.problems.begin(), after.problems.end());
        return withProblems(std::move(problems));
    }
    const Differences differences = differencesBetween(*before.policy, *after.policy);
    const bool same = differences.empty();
    return {same ? Status::Success : Status::Different,
            same ? "the policies mean the same" : counted(differences.size(), "difference"),
            {},
            {},
            std::nullopt,
            differences};
}

Outcome init(const Options& options)
{
    const std::string text = starterPolicy();
    if (options.policyFile == "-")
        return {Status::Success, text, {}, {}};
    writeNewFile(options.policyFile, text);
    return {Status::Success,
            "wrote " + quoted(options.policyFile) + "; edit it, then: ipseccfgctl check " +
                programs::shellWord(options.policyFile),
            {},
            {}};
}

Outcome performOnFiles(const Options& options)
{
    if (options.command == Command::Init)
        return init(options);
    if (options.command == Command::Diff)
        return diff(options);
    const PolicyReading reading = readPolicyFile(options.policyFile);
    return reading.policy ? performWith(*reading.policy, options) : withProblems(reading.problems);
}

} // namespace

Outcome perform(const Options& options)
{
    if (options.server)
        setenv("IPSECCFGSERVER", options.server->c_str(), 1); // before there is a second thread
    if (options.command == Command::Shutdown)
        return shutDown(options);
    if (options.command == Command::Status)
        return status();
    try {
        return performOnFiles(options);
    } catch (const std::runtime_error& error) {
        return {Status::Invalid, error.what(), {}, {}};
    }
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
