// What is kept of the daemon's log: the last words about a negotiation that did not come to its end.

#include "Troubles.h"

#include "Exceptions.h"
#include "server_support.h"

#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace {

using norvale::tamber::systemdata::ipseccfg::strongswan::Troubles;

double secondsOf(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

class StrongswanTroubles : public ::testing::Test {
protected:
    void SetUp() override
    {
        troubles = std::make_unique<Troubles>(pipe, file);
        troubles->forget();
    }

    /// Says these lines as the daemon does; they are taken once the last one, which is always kept, is.
    void say(const std::string& lines)
    {
        const std::string last = "kept " + std::to_string(++count);
        std::ofstream(pipe) << lines << "01[IKE] <zz|1> unable to install " << last << "\n";
        EXPECT_TRUE(
            tests::eventually([&] { return tests::readFile(file).find(last + "\n") != std::string::npos; }));
    }

    /// Without that last line.
    std::string kept() const
    {
        const std::string content = tests::readFile(file);
        return content.substr(0, content.find("zz unable to install "));
    }

    tests::TemporaryFolder folder;
    const std::string pipe = folder / "log";
    const std::string file = folder / "troubles";
    std::unique_ptr<Troubles> troubles;
    int count = 0;
};

TEST_F(StrongswanTroubles, AreTheLastWordsOfEachConnection)
{
    say("08[IKE] <a|4> giving up after 5 retransmits\n"
        "08[IKE] <a|4> establishing IKE_SA failed, peer not responding\n"
        "09[IKE] <b|5> received NO_PROPOSAL_CHOSEN notify error\n");
    EXPECT_EQ("a establishing IKE_SA failed, peer not responding\n"
              "b received NO_PROPOSAL_CHOSEN notify error\n",
              kept());
}

TEST_F(StrongswanTroubles, AreKnownByTheirWords)
{
    for (const std::string words :
         {"giving up after 3 retransmits", "received AUTHENTICATION_FAILED error notify",
          "received TS_UNACCEPTABLE notify, no CHILD_SA built", "no shared key found for 'a' - 'b'",
          "tried 1 shared key for 'a' - 'b', but MAC mismatched", "no private key found for 'a'",
          "no trusted RSA public key found for 'C=CH, CN=b'",
          "constraint check failed: identity '10.0.0.9' required ",
          "unable to install IPsec policies (SPD) in kernel"}) {
        say("09[CFG] <a|1> " + words + "\n");
        EXPECT_EQ("a " + words + "\n", kept());
    }
}

TEST_F(StrongswanTroubles, AreNoOtherWords)
{
    say("06[IKE] <a|4> initiating IKE_SA a[4] to 10.0.0.2\n"
        "06[IKE] <a|4> received retransmit of request with ID 1, retransmitting response\n"
        "06[IKE] <a|4> IKE_SA a[4] established between 10.0.0.1[10.0.0.1]...10.0.0.2[10.0.0.2]\n"
        "06[IKE] <4> received AUTHENTICATION_FAILED notify error\n"
        "06[IKE] received AUTHENTICATION_FAILED notify error\n"
        "06[IKE] <a received AUTHENTICATION_FAILED notify error\n"
        "\n");
    EXPECT_EQ("", kept());
}

TEST_F(StrongswanTroubles, AreOverWithATunnel)
{
    say("06[IKE] <a|4> received NO_PROPOSAL_CHOSEN notify error\n"
        "06[IKE] <b|5> received NO_PROPOSAL_CHOSEN notify error\n"
        "06[IKE] <b|6> IKE_SA b[6] established between 10.0.0.1[10.0.0.1]...10.0.0.3[10.0.0.3]\n"
        "06[IKE] <a|6> CHILD_SA use-1{2} established with SPIs c92dcc21_i cecfebae_o and TS 10.0.0.1/32 === "
        "10.0.0.2/32\n");
    EXPECT_EQ("b received NO_PROPOSAL_CHOSEN notify error\n", kept());
}

TEST_F(StrongswanTroubles, AreForgottenWithTheirSettings)
{
    say("06[IKE] <a|4> received NO_PROPOSAL_CHOSEN notify error\n");
    troubles->forget();
    EXPECT_EQ("", tests::readFile(file));
    EXPECT_EQ(0600U, tests::modeOf(file));
}

TEST_F(StrongswanTroubles, AreReadWhoeverOpensAndClosesTheLog)
{
    for (const char* const name : {"a", "b", "c"})
        say(std::string("06[IKE] <") + name + "|4> no private key found for 'x'\n");
    EXPECT_EQ(
        "a no private key found for 'x'\nb no private key found for 'x'\nc no private key found for 'x'\n",
        kept());
}

// Else the daemon would wait.
TEST_F(StrongswanTroubles, AreReadOnWhateverIsSaid)
{
    say(std::string(1000000, 'x') + "\n06[IKE] <a|4> no private key found for 'x'\n");
    EXPECT_EQ("a no private key found for 'x'\n", kept());
    // A file that cannot be written is not the daemon's trouble.
    tests::TemporaryFolder gone;
    auto elsewhere = std::make_unique<Troubles>(gone / "log", folder / "none/troubles");
    std::ofstream log(gone / "log");
    for (int line = 0; line < 10000; ++line)
        log << "06[IKE] <a|4> no private key found for 'x'\n";
    log.close();
    EXPECT_TRUE(log);
}

// Nor is memory taken without end.
TEST_F(StrongswanTroubles, AreNotGatheredOfALineThatDoesNotEnd)
{
    say("06[IKE] <b|4> " + std::string(1000000, 'x') + "06[IKE] <a|4> no private key found for 'x'\n");
    EXPECT_EQ("a no private key found for 'x'\n", kept());
}

TEST_F(StrongswanTroubles, TakeNoTimeWhileNothingIsSaid)
{
    say(""); // and nobody has the log open any more
    const double before = secondsOf(CLOCK_PROCESS_CPUTIME_ID) - secondsOf(CLOCK_THREAD_CPUTIME_ID);
    const double begin = secondsOf(CLOCK_THREAD_CPUTIME_ID);
    while (secondsOf(CLOCK_THREAD_CPUTIME_ID) < begin + 0.1)
        continue;
    EXPECT_GT(before + 0.05, secondsOf(CLOCK_PROCESS_CPUTIME_ID) - secondsOf(CLOCK_THREAD_CPUTIME_ID));
}

TEST_F(StrongswanTroubles, NeedAFreeName)
{
    EXPECT_EQ(pipe + ": File exists",
              tests::textThrownBy<std::runtime_error>([&] { const Troubles second(pipe, file); }));
}

} // namespace
