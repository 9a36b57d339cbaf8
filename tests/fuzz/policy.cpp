// Any text as a policy file: it is a policy or has problems, which are fit to be shown; and the request that a policy
// becomes is one that the server accepts and reads as the same.

#include "Fuzzing.h"

#include "PolicyFile.h"
#include "PolicyView.h"
#include "Request.h"
#include "RequestText.h"
#include "Text.h"

#include <iostream>
#include <sstream>

namespace {

using namespace tests;
using namespace norvale::tamber::systemdata::ipseccfg;

void checkProblems(const client::Problems& problems)
{
    for (const client::Problem& problem : problems) {
        require(problem.position.line > 0 && problem.position.column > 0, "a problem stands somewhere");
        require(!problem.message.empty(), "a problem is said in words");
        for (const std::string& text : {problem.key, problem.message})
            require(programs::printable(text) == text, "a problem can be shown");
    }
}

std::string contentOf(const common::IPsecPolicy& policy, const common::FilterSet& others,
                      const std::list<common::CertificatePtr>& certificates)
{
    std::ostringstream text;
    text << policy.getNsName() << *policy.getPhase1SA() << *policy.getPhase2SA();
    for (const common::FilterSet& rules : {policy.getFilterRules(), others})
        for (const common::FilterRulePtr& rule : rules)
            text << *rule;
    for (const common::CertificatePtr& certificate : certificates)
        text << *certificate;
    return text.str();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const client::PolicyReading reading = client::readPolicyText(textOf(data, size));
    require(reading.policy.has_value() == reading.problems.empty(), "it is a policy or has problems");
    checkProblems(reading.problems);
    if (!reading.policy)
        return 0;

    const client::Policy& policy = *reading.policy;
    client::viewOf(policy);
    std::istringstream stream(client::requestText(policy));
    configserver::Request request = configserver::receiveRequest(stream);
    try {
        configserver::checkRequest(request);
    } catch (const std::runtime_error& refusal) {
        std::cerr << refusal.what() << '\n';
        require(false, "the server accepts what the client accepts");
    }
    require(request.settingFilePath == policy.settingFile && request.fipsMode == policy.fipsMode,
            "the settings arrive");
    // Without transforms there is nothing of an association on the wire.
    for (const auto& [sent, received] : {std::pair(policy.store.getPhase1SA(), request.policy.getPhase1SA()),
                                         std::pair(policy.store.getPhase2SA(), request.policy.getPhase2SA())})
        if (!received)
            require(sent->getNumberOfChildren() == 0, "an association arrives");
    if (request.policy.getPhase1SA() && request.policy.getPhase2SA())
        require(contentOf(policy.store, policy.defaultRules, policy.certificates) ==
                    contentOf(request.policy, request.defaultRules, request.certificates),
                "the policy arrives as it was sent");
    return 0;
}
