// The samples of docs/wire-format.md are what the sender sends, what the receiver reads, and what the server answers.

#include "Answer.h"
#include "Exceptions.h"
#include "PayloadBuilder.h"
#include "XmlRpcReceivePolicy.h"
#include "XmlRpcSendPolicy.h"
#include "server_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg;
using namespace norvale::tamber::systemdata::ipseccfg::common;
using testing::PrintToString;

const char* const DOCUMENTED_SERVER = "/usr/sbin/systemdataIPsecCfgServer";

// The document's blocks of XML in their order, without the line end before the closing fence.
class Samples {
public:
    Samples()
    {
        const std::string document = readFile(WIRE_FORMAT);
        const std::string opening = "\n```xml\n";
        for (std::size_t at = 0; (at = document.find(opening, at)) != std::string::npos;) {
            at += opening.size();
            const std::size_t end = document.find("\n```", at);
            blocks_.push_back(document.substr(at, end - at));
        }
    }

    std::string start() const { return block_(0); }
    std::string shutdown() const { return block_(1); }
    std::string success() const { return block_(2); }
    std::string failure() const { return block_(3); }
    std::string fault() const { return block_(4); }
    std::size_t count() const { return blocks_.size(); }

private:
    std::string block_(std::size_t number) const
    {
        return number < blocks_.size() ? blocks_[number] : "<no such block>";
    }

    std::vector<std::string> blocks_;
};

// A server that keeps the request and answers with a text.
class RecordingServer {
public:
    explicit RecordingServer(const std::string& answer)
        : program_(folder_ / "server")
    {
        writeFile(folder_ / "answer", answer);
        writeFile(program_,
                  "#!/bin/sh\ncat >'" + folder_ / "request" + "'\ncat '" + folder_ / "answer" + "'\n");
        chmod(program_.c_str(), 0700);
        setenv("IPSECCFGSERVER", program_.c_str(), 1);
        before_ = std::cout.rdbuf(output_.rdbuf());
    }
    ~RecordingServer()
    {
        std::cout.rdbuf(before_);
        unsetenv("IPSECCFGSERVER");
    }
    RecordingServer(const RecordingServer&) = delete;
    RecordingServer& operator=(const RecordingServer&) = delete;

    // What was sent; only the server's own path is put back to the document's.
    std::string request() const
    {
        std::string text = readFile(folder_ / "request");
        replaceAll(text, "<methodName>" + program_ + "<",
                   std::string("<methodName>") + DOCUMENTED_SERVER + "<");
        return text;
    }
    std::string printed() const { return output_.str(); }

private:
    TemporaryFolder folder_;
    std::string program_;
    std::ostringstream output_;
    std::streambuf* before_ = nullptr;
};

// The policy that the document says its sample is of.
struct SamplePolicy {
    SamplePolicy()
    {
        policy.setPhase1SA(createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                                     AuthenticationMethod::PSK, "a pre-shared key",
                                                     GroupDescription::G14, LifeType::SECOND, 28800));
        policy.setPhase2SA(createSecurityAssociation(EncryptionAlgorithm::AES_GCM, 128,
                                                     HashAlgorithm::AES_GCM, GroupDescription::G19,
                                                     LifeType::SECOND, 3600));
        for (const PayloadPtr& association : {policy.getPhase1SA(), policy.getPhase2SA()}) {
            auto& proposal = dynamic_cast<Proposal&>(*association->getChild(0));
            proposal.setId(1);
            dynamic_cast<Transform&>(*proposal.getChild(0)).setId(1);
        }
        const FilterRulePtr use = createFilterRule(FilterRule::Use, "192.0.2.1", "192.0.2.2");
        use->setIdentityType(FilterRule::IPAddress);
        use->setSrcIdentity("192.0.2.1");
        use->setDstIdentity("192.0.2.2");
        use->setPriority(10);
        policy.addFilter(use);
        others.push_back(createFilterRule(FilterRule::Bypass, "192.0.2.1", "192.0.2.53"));
        others.back()->setPriority(5);
        certificates.push_back(createCertificate(Certificate::EndEntity, "/etc/ipseccfg/device.pem",
                                                 "/etc/ipseccfg/device.key"));
        sender.setSettingFilePath("/run/ipseccfg/engine.conf");
    }

    int start() { return sender.startProcess(policy, others, certificates); }

    IPsecPolicy policy;
    FilterSet others;
    std::list<CertificatePtr> certificates;
    XmlRpcSendPolicy sender;
};

TEST(WireFormat, ThereAreFiveSamples)
{
    EXPECT_EQ(5U, Samples().count());
}

TEST(WireFormat, TheSampleOfAStartIsWhatTheSenderSendsByteForByte)
{
    RecordingServer server(Samples().success());
    EXPECT_EQ(0, SamplePolicy().start());
    EXPECT_EQ(Samples().start(), server.request());
}

TEST(WireFormat, TheSampleOfAShutdownIsWhatTheSenderSendsByteForByte)
{
    RecordingServer server(Samples().success());
    EXPECT_EQ(0, SamplePolicy().sender.killProcess());
    EXPECT_EQ(Samples().shutdown(), server.request());
}

// What a server finds in a request.
struct Received {
    explicit Received(const std::string& text)
    {
        std::istringstream request(text);
        scenario = XmlRpcReceivePolicy(request).execute(policy, others, certificates, settingFile, fips);
    }

    int scenario = ScenarioCommand::None;
    IPsecPolicy policy;
    FilterSet others;
    std::list<CertificatePtr> certificates;
    std::string settingFile;
    bool fips = true;
};

TEST(WireFormat, TheReceiverReadsTheSampleOfAStart)
{
    SamplePolicy sent;
    Received received(Samples().start());
    EXPECT_EQ(ScenarioCommand::Start, received.scenario);
    EXPECT_EQ("/run/ipseccfg/engine.conf", received.settingFile);
    EXPECT_FALSE(received.fips);
    EXPECT_EQ("", received.policy.getNsName());
    ASSERT_TRUE(received.policy.getPhase1SA() && received.policy.getPhase2SA());
    EXPECT_EQ(sent.policy.getPhase1SA()->to_string(), received.policy.getPhase1SA()->to_string());
    EXPECT_EQ(sent.policy.getPhase2SA()->to_string(), received.policy.getPhase2SA()->to_string());
    ASSERT_EQ(1U, received.policy.getFilterRules().size());
    EXPECT_EQ(PrintToString(*sent.policy.getFilterRules().front()),
              PrintToString(*received.policy.getFilterRules().front()));
    ASSERT_EQ(1U, received.others.size());
    EXPECT_EQ(PrintToString(*sent.others.front()), PrintToString(*received.others.front()));
    ASSERT_EQ(1U, received.certificates.size());
    EXPECT_EQ(PrintToString(*sent.certificates.front()), PrintToString(*received.certificates.front()));
}

TEST(WireFormat, TheReceiverReadsTheSampleOfAShutdown)
{
    const Received received(Samples().shutdown());
    EXPECT_EQ(ScenarioCommand::Shutdown, received.scenario);
    EXPECT_EQ("/run/ipseccfg/engine.conf", received.settingFile);
    EXPECT_FALSE(received.fips);
}

TEST(WireFormat, TheSamplesOfAnswersAreWhatTheServerAnswersByteForByte)
{
    EXPECT_EQ(Samples().success(),
              configserver::messageOf({ResultCommand::Success, "the engine was started"}));
    EXPECT_EQ(Samples().failure(),
              configserver::messageOf({ResultCommand::Failure, "the engine is already running"}));
}

TEST(WireFormat, TheSenderReadsAndPrintsTheSamplesOfAnswers)
{
    for (const auto& [answer, status] :
         {std::pair(Samples().success(), 0), std::pair(Samples().failure(), 1)}) {
        RecordingServer server(answer);
        EXPECT_EQ(status, SamplePolicy().start()) << answer;
        EXPECT_NE(std::string::npos, server.printed().find("<name>detail</name>"));
    }
}

TEST(WireFormat, TheSenderThrowsTheTextOfTheSampleOfAFault)
{
    RecordingServer server(Samples().fault());
    EXPECT_EQ("Error rsp: no such command",
              textThrownBy<std::runtime_error>([] { static_cast<void>(SamplePolicy().start()); }));
}

// The tables of the document are those of the requests: no member without a row, no row without a member.
TEST(WireFormat, TheDocumentHasARowForEachMember)
{
    std::set<std::string> sent;
    const std::regex name("<name>([^<]*)</name>");
    const std::string samples = Samples().start() + Samples().success();
    ASSERT_LT(4000U, samples.size());
    for (std::sregex_iterator at(samples.begin(), samples.end(), name), end; at != end; ++at)
        sent.insert((*at)[1]);
    std::set<std::string> listed;
    const std::string document = readFile(WIRE_FORMAT);
    const std::regex row("\n\\| `([a-z-]+)` \\|");
    for (std::sregex_iterator at(document.begin(), document.end(), row), end; at != end; ++at)
        listed.insert((*at)[1]);
    EXPECT_EQ(sent, listed);
}

} // namespace
} // namespace tests
