// strongSwan as an engine: the wrapper as a process with the real daemon, in a network of the test's own.

#include "Charon.h"

#include "engine_program.h"
#include "strongswan_support.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <linux/xfrm.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
namespace vici = norvale::tamber::systemdata::ipseccfg::vici;
using ::testing::StartsWith;

std::string connection(const std::string& name, const std::string& child, const std::string& remote,
                       const std::string& proposal = "aes128-sha1")
{
    return name + " {\n remote_addrs = " + remote +
           "\n local {\n auth = psk\n }\n remote {\n auth = psk\n }\n" + " children {\n " + child +
           " {\n remote_ts = " + remote + "/32\n esp_proposals = " + proposal +
           "\n mode = transport\n start_action = trap\n }\n }\n}\n";
}

std::string settings(const std::string& connections, const std::string& header = "# namespace: \n")
{
    return "# ipseccfg-strongswan 1\n" + header + "connections {\n" + connections +
           "}\nsecrets {\n    ike {\n        secret = \"0x616263\"\n    }\n}\n";
}

// How many IPsec policies for traffic the kernel has in this network, or -1 if it has nothing to do with IPsec.
int policiesInTheKernel()
{
    const int netlink = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_XFRM);
    if (netlink < 0)
        return -1;
    struct {
        nlmsghdr head;
        xfrm_userpolicy_id body;
    } request = {};
    request.head.nlmsg_len = sizeof(request);
    request.head.nlmsg_type = XFRM_MSG_GETPOLICY;
    request.head.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    send(netlink, &request, sizeof(request), 0);
    int count = 0;
    for (bool more = true; more;) {
        std::vector<char> buffer(65536);
        const ssize_t size = recv(netlink, buffer.data(), buffer.size(), 0);
        for (std::size_t at = 0;
             more && at + sizeof(nlmsghdr) <= static_cast<std::size_t>(std::max<ssize_t>(size, 0));) {
            nlmsghdr head = {};
            xfrm_userpolicy_info policy = {};
            std::memcpy(&head, &buffer[at], sizeof(head));
            std::memcpy(&policy, &buffer[at + sizeof(head)], sizeof(policy));
            more = head.nlmsg_type != NLMSG_DONE && head.nlmsg_type != NLMSG_ERROR;
            count += more && policy.dir < XFRM_POLICY_MAX ? 1 : 0; // else a socket's own
            at += NLMSG_ALIGN(head.nlmsg_len);
        }
    }
    close(netlink);
    return count;
}

class StrongswanProcess : public tests::EngineProgram {
protected:
    StrongswanProcess()
        : EngineProgram(STRONGSWAN)
    {}

    void SetUp() override
    {
        if (const std::string why = tests::enterNetworkForStrongswan(); !why.empty())
            GTEST_SKIP() << why;
        if (policiesInTheKernel() < 0)
            GTEST_SKIP() << "this kernel has no IPsec policies";
    }

    int start(const std::string& content, const std::vector<std::string>& more = {})
    {
        tests::writeFile(settingFile, content);
        return EngineProgram::start(more);
    }

    /// Has the engine read these settings, until it is ready again. Whether it took them; if not, it has given a
    /// reason by then.
    bool reload(const std::string& content)
    {
        fs::remove(readyFile);
        fs::remove(reasonFile);
        tests::writeFile(settingFile, content);
        kill(enginePid(), SIGHUP);
        EXPECT_TRUE(tests::eventually([this] { return ready(); }));
        return !tests::exists(reasonFile);
    }

    std::vector<std::string> connections() const
    {
        vici::Connection engine(work + "/vici", std::chrono::seconds(10));
        std::vector<std::string> names;
        for (const vici::Element& event : engine.stream("list-conns", "list-conn"))
            for (const vici::Element& entry : event.elements())
                names.push_back(entry.name());
        return names;
    }

    /// The daemon: the one child of the engine.
    pid_t daemonPid() const
    {
        const std::string pid = std::to_string(enginePid());
        return tests::pidIn("/proc/" + pid + "/task/" + pid + "/children");
    }

    const std::string work = folder / ".strongswan";
};

TEST_F(StrongswanProcess, StartsTheDaemonInTheBackgroundAndIsReadyWhenAllIsLoaded)
{
    ASSERT_EQ(0, start(settings(connection("a", "a1", "192.0.2.1") + connection("b", "b1", "192.0.2.2"))))
        << reason();
    EXPECT_TRUE(ready());
    EXPECT_TRUE(tests::lives(enginePid()));
    EXPECT_EQ("/usr/sbin/charon-systemd", fs::read_symlink("/proc/" + std::to_string(daemonPid()) + "/exe"));
    EXPECT_THAT(connections(), ::testing::UnorderedElementsAre("a", "b"));
    EXPECT_GE(policiesInTheKernel(), 4);
    EXPECT_EQ(0700U, tests::modeOf(work));
    EXPECT_EQ("ipseccfg-strongswan(daemon) 6: settings accepted: 2 connections\n", log());
}

TEST_F(StrongswanProcess, TakesEverythingWithItWhenItEnds)
{
    ASSERT_EQ(0, start(settings(connection("a", "a1", "192.0.2.1")))) << reason();
    const pid_t engine = enginePid();
    const pid_t daemon = daemonPid();
    kill(engine, SIGTERM);
    EXPECT_TRUE(tests::eventually([&] { return !tests::lives(engine); }));
    EXPECT_FALSE(tests::lives(daemon));
    EXPECT_EQ(0, policiesInTheKernel());
    EXPECT_FALSE(tests::exists(work));
    EXPECT_FALSE(tests::exists(pidFile));
}

TEST_F(StrongswanProcess, TakesEverythingWithItThoughTheDaemonDoesNotEndByItself)
{
    ASSERT_EQ(0, start(settings(connection("a", "a1", "192.0.2.1")))) << reason();
    const pid_t engine = enginePid();
    const pid_t daemon = daemonPid();
    kill(daemon, SIGSTOP);
    kill(engine, SIGTERM);
    EXPECT_TRUE(tests::eventually([&] { return !tests::lives(engine); }));
    EXPECT_FALSE(tests::lives(daemon));
    EXPECT_EQ(0, policiesInTheKernel());
    EXPECT_FALSE(tests::exists(work));
}

TEST_F(StrongswanProcess, StartsOverTheLeftoversOfAKilledOne)
{
    ASSERT_EQ(0, start(settings(connection("a", "a1", "192.0.2.1")))) << reason();
    const pid_t engine = enginePid();
    const pid_t daemon = daemonPid();
    kill(engine, SIGKILL);
    EXPECT_TRUE(tests::eventually([&] { return !tests::lives(engine) && !tests::lives(daemon); }));
    EXPECT_TRUE(tests::exists(work + "/vici"));
    // What was to be protected goes nowhere as long as nobody protects it.
    EXPECT_EQ(2, policiesInTheKernel());

    fs::remove(readyFile);
    ASSERT_EQ(0, start(settings(""))) << reason();
    EXPECT_TRUE(ready());
    EXPECT_EQ(0, policiesInTheKernel());
    EXPECT_TRUE(connections().empty());
}

TEST_F(StrongswanProcess, TakesOverNewSettingsAndIsReadyAgain)
{
    ASSERT_EQ(0, start(settings(connection("a", "a1", "192.0.2.1")))) << reason();
    const pid_t daemon = daemonPid();
    EXPECT_TRUE(reload(settings(connection("a", "a1", "192.0.2.1") + connection("b", "b1", "192.0.2.2"))))
        << reason();
    EXPECT_THAT(connections(), ::testing::UnorderedElementsAre("a", "b"));
    EXPECT_TRUE(reload(settings(connection("b", "b1", "192.0.2.2")))) << reason();
    EXPECT_THAT(connections(), ::testing::ElementsAre("b"));
    EXPECT_EQ(daemon, daemonPid());
}

TEST_F(StrongswanProcess, KeepsItsSettingsIfNewOnesAreRefusedAndSaysWhyInTheEnginesWords)
{
    const std::string good = connection("a", "a1", "192.0.2.1");
    ASSERT_EQ(0, start(settings(good))) << reason();
    const int policies = policiesInTheKernel();
    const std::pair<std::string, std::string> cases[] = {
        {settings(good + connection("b", "b1", "192.0.2.2", "aes-of-nobody")),
         "swanctl: loading connection 'b' failed: invalid value for: esp_proposals, config discarded"},
        // These two swanctl does not count as failures.
        {settings(good + "}}}"), "swanctl: "},
        {settings("include\n"), "swanctl: "},
        {"connections {\n}\n", settingFile + ": does not begin with \"# ipseccfg-strongswan 1\"\n"},
        {settings(good, "# namespace: blue\n"),
         "ns-name: 'blue' is not possible, only '', in which the engine runs, until it is shut down\n"},
        {settings(good, "# namespace: \n# private-key: /nowhere/key.pem\n"),
         "/nowhere/key.pem: No such file or directory\n"},
    };
    for (const auto& [content, words] : cases) {
        EXPECT_FALSE(reload(content)) << content;
        EXPECT_THAT(reason(), StartsWith(words)) << content;
        EXPECT_TRUE(tests::eventually([&] { return policiesInTheKernel() == policies; })) << content;
        EXPECT_THAT(connections(), ::testing::ElementsAre("a")) << content;
    }
    EXPECT_TRUE(reload(settings(good)));
    EXPECT_FALSE(tests::exists(reasonFile));
}

TEST_F(StrongswanProcess, LeavesNothingOfAStartThatFails)
{
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {settings(connection("b", "b1", "192.0.2.2", "aes-of-nobody")), {}},
        {settings("}}}"), {}},
        {settings("", "# namespace: none-of-this-name\n"), {}},
        {settings(""), {"--charon", "/nowhere/charon"}},
        {settings(""), {"--charon", "/bin/false"}},
        {settings(""), {"--swanctl", "/nowhere/swanctl"}},
    };
    for (const auto& [content, options] : cases) {
        EXPECT_EQ(1, start(content, options));
        EXPECT_NE("<no file>", reason());
        EXPECT_FALSE(ready());
        EXPECT_FALSE(tests::exists(pidFile));
        EXPECT_FALSE(tests::exists(work));
        EXPECT_EQ(0, policiesInTheKernel());
        fs::remove(reasonFile);
    }
}

// The daemon would let the traffic go in clear and say nothing.
TEST_F(StrongswanProcess, StartsOnlyIfTheKernelTakesItsPolicies)
{
    const std::string daemon = folder / "daemon";
    tests::writeFile(daemon, std::string("#!/bin/sh\nLD_PRELOAD=") + POLICY_REFUSAL_LIBRARY + " exec " +
                                 tests::CHARON + " \"$@\"\n");
    fs::permissions(daemon, fs::perms::owner_all);
    EXPECT_EQ(1, start(settings(connection("a", "a1", "192.0.2.1")), {"--charon", daemon}));
    EXPECT_EQ("the kernel did not take the policy a1\n", reason());
    EXPECT_FALSE(ready());
    EXPECT_FALSE(tests::exists(work));
}

TEST_F(StrongswanProcess, SaysWhyItDoesNotStart)
{
    start(settings("", "# namespace: none-of-this-name\n"));
    EXPECT_EQ("namespace 'none-of-this-name': No such file or directory\n", reason());
    start(settings(""), {"--charon", "/nowhere/charon"});
    EXPECT_EQ("/nowhere/charon: ended: /nowhere/charon: No such file or directory\n", reason());
    start(settings(""), {"--swanctl", "/nowhere/swanctl"});
    EXPECT_EQ("swanctl: /nowhere/swanctl: No such file or directory\n", reason());
}

TEST_F(StrongswanProcess, EndsIfTheDaemonEndsAndLeavesTheWayClosed)
{
    ASSERT_EQ(0, start(settings(connection("a", "a1", "192.0.2.1")))) << reason();
    const pid_t engine = enginePid();
    kill(daemonPid(), SIGKILL);
    EXPECT_TRUE(tests::eventually([&] { return !tests::lives(engine); }));
    EXPECT_EQ("strongSwan ended by itself; what was to be protected is blocked\n", reason());
    EXPECT_EQ(2, policiesInTheKernel());
    EXPECT_FALSE(tests::exists(pidFile));
}

TEST_F(StrongswanProcess, FindsKeysWhereverTheyAre)
{
    tests::makeCertificates(folder);
    const std::string key = folder / "a key, {of} \"mine\"";
    fs::rename(folder / "key.pem", key);
    EXPECT_EQ(0, start(settings("", "# namespace: \n# private-key: " + key + "\n"))) << reason();
    EXPECT_TRUE(ready());
}

} // namespace
