// One whole send and one whole receive over the bundled platform, with each allocation on the way failing in
// turn, Expat's included.

#include "CArrayParser.h"
#include "FailingHeap.h"
#include "ObjectXMLMapping.h"
#include "PayloadBuilder.h"
#include "XmlRpcReceivePolicy.h"
#include "XmlRpcSendPolicy.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <sstream>
#include <sys/wait.h>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;
using norvale::tamber::systemdata::parser::CArrayParser;
using norvale::tamber::systemdata::parser::COStream;

// Longer than what a string holds without an allocation.
const std::string LONG = "a text that is too long to be kept without memory";
const std::string OTHER = "another text that is too long to be kept without memory";

constexpr const char* NO_STRUCTURE = "Failed to allocate CParser";

// A policy with everything in it.
class TransportMemory : public ::testing::Test {
protected:
    TransportMemory()
    {
        policy_.setPhase1SA(createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                                      AuthenticationMethod::PSK, LONG, GroupDescription::G14,
                                                      LifeType::SECOND, 28800));
        policy_.setPhase2SA(createSecurityAssociation(EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA1,
                                                      LifeType::SECOND, 3600));
        const FilterRulePtr use = createFilterRule(FilterRule::Use, LONG, OTHER);
        use->setPriority(10);
        policy_.addFilter(use);
        policy_.getNsName() = "red";
        const FilterRulePtr bypass = createFilterRule(FilterRule::Bypass, OTHER, LONG);
        bypass->setPriority(20);
        rules_ = {bypass};
        certificates_ = {createCertificate(Certificate::RootCA, LONG, OTHER)};
    }

    IPsecPolicy policy_;
    FilterSet rules_;
    std::list<CertificatePtr> certificates_;
};

// Everything that a receiver hands out; of a failure a beginning, in the order of the handing out.
std::vector<std::string> contentOf(const std::string& path, bool fips, const IPsecPolicy& policy,
                                   const FilterSet& rules, const std::list<CertificatePtr>& certificates)
{
    std::vector<std::string> content = {path, std::to_string(fips), policy.getNsName()};
    std::ostringstream text;
    for (const FilterRulePtr& rule : rules)
        text << *rule;
    content.push_back(std::exchange(text, std::ostringstream()).str());
    for (const PayloadPtr& association : {policy.getPhase1SA(), policy.getPhase2SA()})
        content.push_back(association ? association->to_string() : "none");
    for (const FilterRulePtr& rule : policy.getFilterRules())
        text << *rule;
    content.push_back(std::exchange(text, std::ostringstream()).str());
    for (const CertificatePtr& certificate : certificates)
        text << *certificate;
    content.push_back(text.str());
    return content;
}

// What the server's end holds.
struct Received {
    IPsecPolicy policy;
    FilterSet rules;
    std::list<CertificatePtr> certificates;
    std::string path;
    bool fips = false;

    std::vector<std::string> content() const { return contentOf(path, fips, policy, rules, certificates); }
};

void write(CArrayParser& request, Command&& message)
{
    message.setArrayParser(&request);
    message.execute();
}

TEST_F(TransportMemory, ThatRunsOutWhileARequestIsReceivedLeavesABeginningOfIt)
{
    CArrayParser request;
    request.setCommand(LONG);
    write(request, ScenarioSerializer(ScenarioCommand::Restart, OTHER, true, policy_.getNsName()));
    write(request, SecurityAssociationSerializer(policy_.getPhase1SA(), policy_.getPhase2SA()));
    write(request, FilterRuleSerializer(policy_.getFilterRules(), rules_));
    write(request, CertificateSerializer(certificates_));
    std::stringstream stream;
    COStream out(stream);
    ASSERT_EQ(0, request.serialize(out));

    const std::vector<std::string> whole = contentOf(OTHER, true, policy_, rules_, certificates_);
    auto received = std::make_unique<Received>();
    const std::vector<std::string> nothing = received->content();
    std::size_t most = 0;
    int scenario = 0;
    const auto receive = [&] {
        XmlRpcReceivePolicy receiver(stream);
        scenario = receiver.execute(received->policy, received->rules, received->certificates, received->path,
                                    received->fips);
    };
    const auto check = [&] {
        const std::vector<std::string> content = received->content();
        std::size_t step = 0;
        while (step < content.size() && content[step] == whole[step])
            ++step;
        most = std::max(most, step);
        for (; step < content.size(); ++step)
            EXPECT_EQ(nothing[step], content[step]) << step;
        received = std::make_unique<Received>();
        stream.clear();
        stream.seekg(0);
    };
    EXPECT_LT(100, failEachAllocation(receive, check));
    EXPECT_EQ(7U, most); // all but the certificates
    EXPECT_EQ(ScenarioCommand::Restart, scenario);
    EXPECT_EQ(whole, received->content());
}

TEST_F(TransportMemory, ThatRunsOutWhileAShutdownIsReceivedIsReported)
{
    CArrayParser request;
    write(request, ScenarioSerializer(ScenarioCommand::Shutdown, LONG, false, std::string()));
    std::stringstream stream;
    COStream out(stream);
    ASSERT_EQ(0, request.serialize(out));
    int scenario = 0;
    std::string path;
    bool fips = true;
    const auto receive = [&] {
        scenario = XmlRpcReceivePolicy(stream).execute(policy_, rules_, certificates_, path, fips);
    };
    const auto check = [&] {
        EXPECT_TRUE(path.empty() || path == LONG);
        std::string().swap(path);
        stream.clear();
        stream.seekg(0);
    };
    EXPECT_LT(50, failEachAllocation(receive, check));
    EXPECT_EQ(ScenarioCommand::Shutdown, scenario);
    EXPECT_EQ(LONG, path);
}

// Sending, to a server that does what the environment says; see requester_server.cpp.

std::ptrdiff_t openDescriptors()
{
    namespace fs = std::filesystem;
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

bool hasNoChild()
{
    return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

class SendingMemory : public TransportMemory {
protected:
    SendingMemory()
        : before_(std::cout.rdbuf(&sink_))
    {
        setenv("IPSECCFGSERVER", REQUESTER_SERVER, 1);
        setenv("REQUESTER_SCRIPT", "read result", 1);
        sender_.setSettingFilePath(LONG);
    }
    ~SendingMemory() override
    {
        std::cout.rdbuf(before_);
        unsetenv("IPSECCFGSERVER");
    }

    /// Sends with each allocation failing in turn; no server may be left.
    template <class Send>
    void expectNothingLeft(Send send)
    {
        const std::ptrdiff_t descriptors = openDescriptors();
        int status = -1;
        const auto check = [&] {
            EXPECT_EQ(-1, status);
            EXPECT_EQ(descriptors, openDescriptors());
            EXPECT_TRUE(hasNoChild());
            EXPECT_TRUE(std::cout.good());
        };
        EXPECT_LT(50, failEachAllocation([&] { status = send(); }, check, NO_STRUCTURE));
        EXPECT_EQ(ResultCommand::Failure, status);
        status = -1;
        check();
    }

    XmlRpcSendPolicy sender_;

private:
    class NullSink : public std::streambuf {
    protected:
        std::streamsize xsputn(const char* /*text*/, std::streamsize size) override { return size; }
    };

    NullSink sink_;
    std::streambuf* before_;
};

TEST_F(SendingMemory, ThatRunsOutWhileAPolicyIsSentIsReportedAndLeavesNoServer)
{
    expectNothingLeft([this] { return sender_.startProcess(policy_, rules_, certificates_); });
}

TEST_F(SendingMemory, ThatRunsOutWhileARestartIsAskedForIsReportedAndLeavesNoServer)
{
    expectNothingLeft([this] { return sender_.restartProcess(policy_, rules_, certificates_); });
}

TEST_F(SendingMemory, ThatRunsOutWhileAShutdownIsAskedForIsReportedAndLeavesNoServer)
{
    expectNothingLeft([this] { return sender_.killProcess(); });
}

// Without the variable the server is searched along PATH; lack of memory must not lead to another one.
TEST_F(SendingMemory, ThatRunsOutWhileTheServerIsSearchedLeadsToNoOtherServer)
{
    namespace fs = std::filesystem;
    const fs::path folder = fs::path(::testing::TempDir()) / "transport-memory-a-folder-of-the-path";
    fs::remove_all(folder);
    fs::create_directory(folder);
    fs::create_symlink(REQUESTER_SERVER, folder / "systemdataIPsecCfgServer");
    const std::string path = std::getenv("PATH");
    unsetenv("IPSECCFGSERVER");
    setenv("PATH", ("/a/folder/that/is/not/there/at/all:" + folder.string()).c_str(), 1);
    expectNothingLeft([this] { return sender_.killProcess(); });
    setenv("PATH", path.c_str(), 1);
    fs::remove_all(folder);
}

TEST(SenderMemory, ThatRunsOutWhileThePathIsSetIsReported)
{
    XmlRpcSendPolicy sender;
    EXPECT_LT(0, failEachAllocation([&] { sender.setSettingFilePath(LONG); }, [] {}));
    EXPECT_EQ(0, failEachAllocation([&] { sender.setFipsMode(true); }, [] {}));
}

} // namespace
} // namespace tests
