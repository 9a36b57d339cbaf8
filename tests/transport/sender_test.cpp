// The policy sender, against a platform in memory: what it sends, in which order, and how it judges the
// answer.

#include "Exceptions.h"
#include "MemoryPlatform.h"
#include "ObjectXMLMapping.h"
#include "PayloadBuilder.h"
#include "XmlRpcSendPolicy.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;
using memory_platform::state;

const char* const SUCCESS = "{\ntable-id 3 4\nstatus 3 0\ndetail 1 \n}\nend\n";

// Catches what goes to standard output.
class Output {
public:
    Output()
        : before_(std::cout.rdbuf(text_.rdbuf()))
    {}
    ~Output() { std::cout.rdbuf(before_); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    std::string text() const { return text_.str(); }

private:
    std::ostringstream text_;
    std::streambuf* before_;
};

class PolicySender : public ::testing::Test {
protected:
    PolicySender()
    {
        state() = memory_platform::State();
        state().channel.answer = SUCCESS;
        setenv("IPSECCFGSERVER", "the server", 1);
        policy_.setPhase1SA(createSecurityAssociation());
        policy_.setPhase2SA(createSecurityAssociation());
    }

    ~PolicySender() override
    {
        unsetenv("IPSECCFGSERVER");
        setenv("PATH", path_.c_str(), 1);
        EXPECT_EQ(0, state().liveParsers);
    }

    int start() { return sender_.startProcess(policy_, filters_, certificates_); }

    static std::string commandOf(const std::string& request) { return request.substr(0, request.find('\n')); }

    const std::string path_ = std::getenv("PATH");
    Output output_;
    XmlRpcSendPolicy sender_;
    IPsecPolicy policy_;
    FilterSet filters_;
    std::list<CertificatePtr> certificates_;
};

TEST_F(PolicySender, SendsTheWholePolicyInTheFixedOrder)
{
    policy_.setPhase1SA(createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                                  AuthenticationMethod::PSK, "AB", GroupDescription::G14,
                                                  LifeType::SECOND, 60));
    policy_.setPhase2SA(
        createSecurityAssociation(EncryptionAlgorithm::DES3, 192, HashAlgorithm::SHA1, LifeType::SECOND, 30));
    policy_.addFilter(createFilterRule(FilterRule::Use, "a", "b"));
    policy_.getNsName() = "red";
    filters_.push_back(createFilterRule(FilterRule::Bypass, "c", "d"));
    certificates_.push_back(createCertificate(Certificate::RootCA, "root.pem", ""));
    sender_.setSettingFilePath("/run/engine.conf");
    sender_.setFipsMode(true);

    EXPECT_EQ(0, start());
    EXPECT_EQ("command the server\n"
              "pretty\n"
              "{\ntable-id 3 0\nscenario 3 1\nsetting-file-path 1 /run/engine.conf\nfips-mode 3 1\nns-name 1 "
              "red\n}\n"
              "{\ntable-id 3 1\nphase-id 3 1\nproposal-id 3 0\ntransform-id 3 0\nenc-algo 3 0\nkey-length 3 "
              "256\nhash-algo 3 1\n"
              "auth-method [1] 0|0x4142\ngroup-dsc 3 0\nlife-type 3 0\nlife-duration 3 60\n}\n"
              "{\ntable-id 3 1\nphase-id 3 2\nproposal-id 3 0\ntransform-id 3 0\nenc-algo 3 1\nkey-length 3 "
              "192\nhash-algo 3 0\n"
              "life-type 3 0\nlife-duration 3 30\n}\n"
              "{\ntable-id 3 2\nfilter-id 3 0\nfilter-type 3 3\nsrc-addr 1 a\ndst-addr 1 b\nidentity-type 3 "
              "0\nsrc-identity 1 \n"
              "dst-identity 1 \npriority 3 -1\n}\n"
              "{\ntable-id 3 2\nfilter-id 3 1\nfilter-type 3 1\nsrc-addr 1 c\ndst-addr 1 d\nidentity-type 3 "
              "0\nsrc-identity 1 \n"
              "dst-identity 1 \npriority 3 -1\n}\n"
              "{\ntable-id 3 3\ncert-kind 3 3\ncert-path 1 root.pem\npkey-path 1 \n}\n"
              "end\n",
              state().channel.request);
    EXPECT_EQ((std::vector<std::string>{"open 60", "end of transmission", "close"}), state().channel.events);
}

TEST_F(PolicySender, RestartDiffersFromStartInTheScenarioOnly)
{
    policy_.addFilter(createFilterRule(FilterRule::Use, "a", "b"));
    start();
    std::string request = state().channel.request;
    EXPECT_EQ(0, sender_.restartProcess(policy_, filters_, certificates_));
    const std::size_t scenario = request.find("scenario 3 1\n");
    ASSERT_NE(std::string::npos, scenario);
    EXPECT_EQ(request.replace(scenario, 12, "scenario 3 3"), state().channel.request);
}

TEST_F(PolicySender, ShutdownSendsTheScenarioOnlyWithPathAndModeButNoNamespace)
{
    getIPsecPolicy().getNsName() = "red";
    sender_.setSettingFilePath("/run/engine.conf");
    sender_.setFipsMode(true);
    EXPECT_EQ(0, sender_.killProcess());
    EXPECT_EQ(
        "command the server\n"
        "pretty\n"
        "{\ntable-id 3 0\nscenario 3 2\nsetting-file-path 1 /run/engine.conf\nfips-mode 3 1\nns-name 1 \n}\n"
        "end\n",
        state().channel.request);
    EXPECT_EQ((std::vector<std::string>{"open 60", "end of transmission", "close"}), state().channel.events);
}

TEST_F(PolicySender, BeginsWithAnEmptyPathAndFipsModeOff)
{
    sender_.killProcess();
    EXPECT_NE(std::string::npos, state().channel.request.find("setting-file-path 1 \nfips-mode 3 0\n"));
}

TEST_F(PolicySender, ServesAnyNumberOfCalls)
{
    EXPECT_EQ(0, start());
    EXPECT_EQ(0, sender_.restartProcess(policy_, filters_, certificates_));
    EXPECT_EQ(0, sender_.killProcess());
    EXPECT_EQ(9U, state().channel.events.size());
}

TEST_F(PolicySender, TakesTheServerFromTheEnvironmentAsItStands)
{
    for (const char* const command : {"relative name", "/no/such/path", "a/b; c"}) {
        setenv("IPSECCFGSERVER", command, 1);
        start();
        EXPECT_EQ(std::string("command ") + command, commandOf(state().channel.request));
    }
}

TEST_F(PolicySender, TakesAnEmptyVariableAsItStandsToo)
{
    setenv("IPSECCFGSERVER", "", 1);
    start();
    EXPECT_EQ("pretty", commandOf(state().channel.request)); // no command was set
}

TEST_F(PolicySender, SearchesTheServerAlongThePath)
{
    unsetenv("IPSECCFGSERVER");
    const std::string directory = ::testing::TempDir() + "sender-path-" + std::to_string(getpid());
    const std::string server = directory + "/systemdataIPsecCfgServer";
    ASSERT_EQ(0, mkdir(directory.c_str(), 0700));
    std::ofstream(server) << "";
    ASSERT_EQ(0, chmod(server.c_str(), 0700));
    setenv("PATH", ("/no/such/directory:" + directory).c_str(), 1);
    start();
    EXPECT_EQ("command " + server, commandOf(state().channel.request));
    unlink(server.c_str());
    rmdir(directory.c_str());
}

TEST_F(PolicySender, FallsBackToTheDefaultServer)
{
    unsetenv("IPSECCFGSERVER");
    setenv("PATH", "/no/such/directory", 1);
    start();
    EXPECT_EQ("command /home/halden/.lattice/tools/bin/systemdataIPsecCfgServer",
              commandOf(state().channel.request));
    unsetenv("PATH");
    start();
    EXPECT_EQ("command /home/halden/.lattice/tools/bin/systemdataIPsecCfgServer",
              commandOf(state().channel.request));
    EXPECT_STREQ("/home/halden/.lattice/tools/bin/systemdataIPsecCfgServer", XmlRpcSendPolicy::RPC_COMMAND);
}

TEST_F(PolicySender, ReturnsTheStatusAsItStands)
{
    const struct {
        const char* answer;
        int status;
    } rows[] = {{"{\ntable-id 3 4\nstatus 3 1\ndetail 1 no\n}\nend\n", 1},
                {"{\ntable-id 3 4\nstatus 3 77\n}\nend\n", 77},
                {"{\ntable-id 3 4\nstatus 3 -1\n}\nend\n", -1},
                {"{\ntable-id 3 0\nstatus 3 1\n}\nend\n", 0},
                {"end\n", 0}};
    for (const auto& row : rows) {
        state().channel.answer = row.answer;
        EXPECT_EQ(row.status, start()) << row.answer;
        EXPECT_EQ(row.status, sender_.restartProcess(policy_, filters_, certificates_)) << row.answer;
        EXPECT_EQ(row.status, sender_.killProcess()) << row.answer;
    }
}

TEST_F(PolicySender, PrintsTheResponse)
{
    state().channel.answer = "{\ntable-id 3 4\nstatus 3 1\ndetail 1 why\n}\nend\n";
    start();
    EXPECT_EQ("{\ntable-id 3 4\nstatus 3 1\ndetail 1 why\n}\nend\n", output_.text());
}

TEST_F(PolicySender, ThrowsTheTextOfAFaultAfterPrintingIt)
{
    for (int code = 1; code <= 8; ++code) {
        Output output;
        state().channel.answer = "fault " + std::to_string(code) + " not today\n" + SUCCESS;
        EXPECT_EQ("Error rsp: not today", textThrownBy<std::runtime_error>([this] { start(); }));
        EXPECT_EQ(state().channel.answer, output.text());
    }
}

TEST_F(PolicySender, PrintsAnAnswerItCannotRead)
{
    state().channel.answer = "{\ntable-id 3 4\nstatus 3 failed\n}\nend\n";
    EXPECT_EQ("stoi", textThrownBy<std::invalid_argument>([this] { start(); }));
    EXPECT_EQ(state().channel.answer, output_.text());
}

TEST_F(PolicySender, ReportsARequestThatCannotBeSerialized)
{
    state().serializeStatus = 1;
    EXPECT_EQ("Error to send.", textThrownBy<std::runtime_error>([this] { start(); }));
    EXPECT_EQ((std::vector<std::string>{"open 60", "close"}), state().channel.events);
    EXPECT_EQ("Error to send.", textThrownBy<std::runtime_error>([this] { sender_.killProcess(); }));
}

TEST_F(PolicySender, ReportsATransmissionThatCannotBeEnded)
{
    state().channel.endOfTransmissionStatus = -1;
    EXPECT_EQ("Error to send.", textThrownBy<std::runtime_error>([this] { start(); }));
    EXPECT_EQ("", output_.text());
}

TEST_F(PolicySender, ReportsAnAnswerThatCannotBeParsed)
{
    for (const char* const answer : {"", "{\ntable-id 3 4\n}\n"}) {
        state().channel.answer = answer;
        EXPECT_EQ("Error to recv.", textThrownBy<std::runtime_error>([this] { start(); }));
    }
    state().channel.answer = SUCCESS;
    state().parseStatus = 2;
    EXPECT_EQ("Error to recv.", textThrownBy<std::runtime_error>([this] { sender_.killProcess(); }));
    EXPECT_EQ("", output_.text());
}

TEST_F(PolicySender, OpensNoChannelWhenTheRequestCannotBeBuilt)
{
    state().hooks.addMember = [](const std::string& name) {
        if (name == "setting-file-path")
            throw 5;
    };
    EXPECT_EQ("Serialize error", textThrownBy<std::runtime_error>([this] { start(); }));
    EXPECT_TRUE(state().channel.events.empty());
}

} // namespace
} // namespace tests
