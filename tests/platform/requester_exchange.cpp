// What becomes of an exchange, by what the server does.

#include "requester_support.h"

#include "Exceptions.h"

#include <csignal>
#include <limits>
#include <memory>
#include <stdexcept>
#include <sys/time.h>
#include <thread>
#include <vector>

namespace tests {

namespace {

using namespace std::chrono_literals;

struct ServerRow {
    const char* name;
    const char* script;
    std::size_t requestBytes;
    Outcome outcome;
};

std::ostream& operator<<(std::ostream& out, const ServerRow& row)
{
    return out << row.name;
}

class AServerThat : public RequesterTest, public testing::WithParamInterface<ServerRow> {};

TEST_P(AServerThat, EndsTheExchangeLikeThis)
{
    EXPECT_EQ(GetParam().outcome, exchange(GetParam().script, GetParam().requestBytes)) << GetParam().script;
}

const ServerRow GOOD_SERVERS[] = {
    {"ReadsAndAnswers", "read answer", SMALL, ANSWERED},
    {"ReadsALargeRequest", "read answer", LARGE, ANSWERED},
    {"AnswersAtLengthAfterReading", "read answer:5000000", SMALL, ANSWERED},
    {"ReadsAndAnswersAtLength", "read answer:5000000", LARGE, ANSWERED},
    {"AnswersBeforeItReads", "answer read", LARGE, ANSWERED},
    {"AnswersAtLengthBeforeItReads", "answer:5000000 read", LARGE, ANSWERED},
    {"AnswersWhileItReads", "echo", LARGE, ANSWERED},
    {"AnswersByteByByte", "read piecemeal", SMALL, ANSWERED},
    {"AnswersWithoutReading", "answer", LARGE, ANSWERED},
    {"AnswersAfterAPartOfTheRequest", "read:100000 answer", LARGE, ANSWERED},
    {"AnswersThenFails", "read answer exit:1", SMALL, ANSWERED},
    {"AnswersThenDies", "read answer die", SMALL, ANSWERED},
    {"AnswersHalfWayThenDies", "read:1000 answer die", LARGE, ANSWERED},
    {"ClosesItsInputThenAnswers", "close-input answer", LARGE, ANSWERED},
    {"StopsReadingThenAnswers", "stop-reading sleep:100 answer", LARGE, ANSWERED},
};

const ServerRow BAD_SERVERS[] = {
    {"DiesBeforeReading", "die", LARGE, NOT_SENT},
    {"ExitsBeforeReading", "exit:0", LARGE, NOT_SENT},
    {"DiesHalfWay", "read:1000000 die", LARGE, NOT_SENT},
    {"StopsReadingThenExits", "stop-reading sleep:100 exit:0", LARGE, NOT_SENT},
    {"AnswersNothing", "read", SMALL, NOT_ANSWERED},
    {"DiesAfterReading", "read die", LARGE, NOT_ANSWERED},
    {"AnswersHalfADocument", "read half", SMALL, NOT_ANSWERED},
    {"AnswersHalfADocumentWithoutReading", "half", LARGE, NOT_ANSWERED},
    {"AnswersGarbage", "read garbage", SMALL, NOT_ANSWERED},
    {"EndsItsOutputThenReads", "close-output read", LARGE, NOT_ANSWERED},
    {"AnswersMoreThanIsKeptBeforeItReads", "answer:68000000 read", LARGE, NOT_SENT},
};

INSTANTIATE_TEST_SUITE_P(Good, AServerThat, testing::ValuesIn(GOOD_SERVERS));
INSTANTIATE_TEST_SUITE_P(Bad, AServerThat, testing::ValuesIn(BAD_SERVERS));

// It may be gone before the request is written or after: then the one step fails, or the other.
TEST_F(RequesterTest, AServerThatDiesBeforeReadingASmallRequestHasNotAnsweredIt)
{
    EXPECT_FALSE(exchange("die").answered);
}

TEST_F(RequesterTest, NothingOfTheAnswerIsLost)
{
    serversDo("read answer:5000000");
    CArrayParser request;
    CArrayParser answer;
    fill(request, REQUESTER_SERVER, SMALL);
    CRequester requester(20);
    ASSERT_EQ(ANSWERED, exchangeOver(requester, request, answer));
    EXPECT_EQ(std::string(5'000'000, 'x'), membersOf(answer)["text"]);
}

TEST_F(RequesterTest, NothingOfTheRequestIsLostNorItsOrderWhileAnAnswerComesInBetween)
{
    std::string text;
    for (int number = 0; text.size() < LARGE; ++number)
        text += std::to_string(number) + ' ';
    serversDo("echo");
    CArrayParser request;
    CArrayParser echo;
    auto* const structure = new CParser;
    structure->addMember("text", text, Type::string, false);
    request.addElement(structure);
    request.setCommand(REQUESTER_SERVER);
    CRequester requester(20);
    ASSERT_EQ(ANSWERED, exchangeOver(requester, request, echo));
    EXPECT_EQ(text, membersOf(echo)["text"]);
}

TEST_F(RequesterTest, AnAnswerIsReadWithoutWaitingForTheServersEnd)
{
    serversDo("read answer hang");
    CArrayParser request;
    CArrayParser answer;
    fill(request, REQUESTER_SERVER, SMALL);
    CRequester requester(20);
    EXPECT_LT(durationOf([&] { EXPECT_EQ(ANSWERED, exchangeOver(requester, request, answer)); }), 10s);
}

TEST_F(RequesterTest, TwoHundredExchangesLeaveNothingBehind)
{
    for (int number = 0; number < 200; ++number)
        ASSERT_EQ(ANSWERED, exchange("read answer exit:0")) << number;
}

TEST_F(RequesterTest, FiftyBrokenOffAnswersLeaveNothingBehind)
{
    for (int number = 0; number < 50; ++number)
        ASSERT_EQ(NOT_ANSWERED, exchange("read half exit:0")) << number;
}

TEST_F(RequesterTest, ChannelsThatAreNeverUsedLeaveNothingBehind)
{
    for (int number = 0; number < 2000; ++number)
        const CRequester requester(1);
}

TEST_F(RequesterTest, AServerThatIsGoneRaisesNoSigpipe)
{
    sigset_t pipe;
    sigset_t before;
    sigset_t pending;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipe, &before);
    EXPECT_EQ(NOT_SENT, exchange("exit:0", LARGE));
    ::sigpending(&pending);
    EXPECT_FALSE(sigismember(&pending, SIGPIPE));
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

volatile std::sig_atomic_t interruptions = 0;

// Interrupts every system call of this process that takes longer than a moment.
class Interruptions {
public:
    Interruptions()
    {
        interruptions = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { interruptions = interruptions + 1; };
        ::sigaction(SIGALRM, &action, &before_);
        set_(200);
    }
    ~Interruptions()
    {
        set_(0);
        ::sigaction(SIGALRM, &before_, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

private:
    void set_(suseconds_t microseconds)
    {
        const itimerval interval = {{0, microseconds}, {0, microseconds}};
        ::setitimer(ITIMER_REAL, &interval, nullptr);
    }

    struct sigaction before_ = {};
};

TEST_F(RequesterTest, AStormOfSignalsDoesNotDisturbAnExchange)
{
    const Interruptions storm;
    EXPECT_EQ(ANSWERED, exchange("sleep:50 echo", LARGE));
    EXPECT_EQ(ANSWERED, exchange("read sleep:50 answer:5000000 sleep:50", LARGE));
    EXPECT_GT(interruptions, 20);
}

TEST_F(RequesterTest, AStormOfSignalsDoesNotExtendTheTimeBound)
{
    const Interruptions storm;
    EXPECT_LT(durationOf([] { EXPECT_EQ(NOT_ANSWERED, exchange("read hang", SMALL, 1)); }), 10s);
}

TEST_F(RequesterTest, TwoChannelsAtOnceDoNotHoldEachOtherOpen)
{
    serversDo("read answer");
    CArrayParser request;
    CArrayParser answer;
    fill(request, REQUESTER_SERVER, SMALL);
    CRequester first(20);
    CRequester second(20);
    EXPECT_EQ(0, request.serialize(first.getOStream()));
    EXPECT_EQ(0, request.serialize(second.getOStream()));
    EXPECT_EQ(0, first.endOfTransmission());
    EXPECT_EQ(0, answer.parse(first.getIStream()));
    EXPECT_EQ(0, second.endOfTransmission());
    EXPECT_EQ(0, answer.parse(second.getIStream()));
}

TEST_F(RequesterTest, ThreadsMayEachHaveAChannel)
{
    serversDo("read answer");
    std::vector<int> answered(4);
    std::vector<std::thread> threads;
    threads.reserve(answered.size());
    for (int& count : answered)
        threads.emplace_back([&count] {
            for (int number = 0; number < 10; ++number) {
                CArrayParser request;
                CArrayParser answer;
                fill(request, REQUESTER_SERVER, SMALL);
                CRequester requester(20);
                count += exchangeOver(requester, request, answer) == ANSWERED ? 1 : 0;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ((std::vector<int>{10, 10, 10, 10}), answered);
}

TEST_F(RequesterTest, TheTimeBoundMustBePositive)
{
    for (const int seconds : {0, -1, std::numeric_limits<int>::min()})
        EXPECT_EQ("CRequester: seconds must be positive",
                  textThrownBy<std::invalid_argument>([&] { CRequester requester(seconds); }))
            << seconds;
}

TEST_F(RequesterTest, TheTimeBoundMayBeAsLongAsANumberCanSay)
{
    EXPECT_EQ(ANSWERED, exchange("read answer", SMALL, std::numeric_limits<int>::max()));
}

TEST_F(RequesterTest, AMessageThatIsNoRequestIsNotSent)
{
    EXPECT_EQ(NOT_SENT, exchange("read answer", SMALL, 20, ""));
}

TEST_F(RequesterTest, ACommandOfMoreThanSixtyFourKibibytesIsNotSent)
{
    EXPECT_EQ(NOT_SENT, exchange("read answer", SMALL, 20, "/" + std::string(65536, 'x')));
}

TEST_F(RequesterTest, WithoutARequestThereIsNothingToEndNorToRead)
{
    CRequester requester(20);
    CArrayParser answer;
    EXPECT_NE(0, requester.endOfTransmission());
    EXPECT_NE(0, answer.parse(requester.getIStream()));
}

TEST_F(RequesterTest, TheEndOfTransmissionMayBeMarkedTwice)
{
    serversDo("read answer");
    CArrayParser request;
    fill(request, REQUESTER_SERVER, SMALL);
    CRequester requester(20);
    EXPECT_EQ(0, request.serialize(requester.getOStream()));
    EXPECT_EQ(0, requester.endOfTransmission());
    EXPECT_EQ(0, requester.endOfTransmission());
}

TEST_F(RequesterTest, NothingIsTakenAfterTheEndOfTransmission)
{
    serversDo("read answer");
    CArrayParser request;
    CArrayParser answer;
    fill(request, REQUESTER_SERVER, SMALL);
    CRequester requester(20);
    ASSERT_EQ(ANSWERED, exchangeOver(requester, request, answer));
    EXPECT_NE(0, request.serialize(requester.getOStream()));
}

// The time bound

TEST_F(RequesterTest, AServerThatDoesNotReadIsGivenUpWhenTheTimeIsUp)
{
    const auto duration = durationOf([] { EXPECT_EQ(NOT_SENT, exchange("hang", LARGE, 1)); });
    EXPECT_GE(duration, 1s);
    EXPECT_LT(duration, 10s);
}

TEST_F(RequesterTest, AServerThatDoesNotAnswerIsGivenUpWhenTheTimeIsUp)
{
    const auto duration = durationOf([] { EXPECT_EQ(NOT_ANSWERED, exchange("read hang", SMALL, 1)); });
    EXPECT_GE(duration, 1s);
    EXPECT_LT(duration, 10s);
}

TEST_F(RequesterTest, AServerThatTricklesIsGivenUpWhenTheTimeIsUp)
{
    const auto duration = durationOf([] { EXPECT_EQ(NOT_ANSWERED, exchange("read trickle", SMALL, 1)); });
    EXPECT_GE(duration, 1s);
    EXPECT_LT(duration, 10s);
}

// Whether more of an answer would come nobody knows before.
TEST_F(RequesterTest, AServerThatAnswersAndReadsNoMoreHasAnsweredWhenTheTimeIsUp)
{
    EXPECT_LT(durationOf([] { EXPECT_EQ(ANSWERED, exchange("answer hang", LARGE, 1)); }), 10s);
    EXPECT_LT(durationOf([] { EXPECT_EQ(ANSWERED, exchange("answer close-input hang", LARGE, 1)); }), 10s);
    EXPECT_LT(durationOf([] { EXPECT_EQ(NOT_ANSWERED, exchange("half hang", LARGE, 1)); }), 10s);
}

TEST_F(RequesterTest, AServerThatOnlyStopsReadingIsGivenUpWhenTheTimeIsUp)
{
    EXPECT_LT(durationOf([] { EXPECT_EQ(NOT_SENT, exchange("stop-reading hang", LARGE, 1)); }), 10s);
}

// The server's end

bool isGone(pid_t pid)
{
    return ::kill(pid, 0) == -1 && errno == ESRCH;
}

TEST_F(RequesterTest, AServerMayFinishItsWorkAfterTheAnswer)
{
    EXPECT_EQ(ANSWERED, exchange("read answer sleep:100 mark"));
    EXPECT_TRUE(hasMark());
}

TEST_F(RequesterTest, AServerThatEndsAtOnceIsNotWaitedForLonger)
{
    EXPECT_LT(durationOf([] { EXPECT_EQ(ANSWERED, exchange("read answer exit:0")); }), 400ms);
}

TEST_F(RequesterTest, AServerThatIsStillThereAfterAMomentIsTerminated)
{
    EXPECT_EQ(ANSWERED, exchange("pid read answer hang"));
    ASSERT_GT(serverPid(), 0);
    EXPECT_TRUE(isGone(serverPid()));
}

TEST_F(RequesterTest, AServerThatIgnoresTerminationIsKilled)
{
    const auto duration =
        durationOf([] { EXPECT_EQ(ANSWERED, exchange("ignore-term pid read answer hang")); });
    EXPECT_GE(duration, 1s); // half a second for each, its own end and its termination
    ASSERT_GT(serverPid(), 0);
    EXPECT_TRUE(isGone(serverPid()));
}

TEST_F(RequesterTest, AServerWhoseTimeIsUpGetsNoOtherMoment)
{
    serversDo("pid read hang");
    CArrayParser request;
    CArrayParser answer;
    fill(request, REQUESTER_SERVER, SMALL);
    auto requester = std::make_unique<CRequester>(1);
    EXPECT_EQ(NOT_ANSWERED, exchangeOver(*requester, request, answer));
    EXPECT_LT(durationOf([&] { requester.reset(); }), 400ms);
    ASSERT_GT(serverPid(), 0);
    EXPECT_TRUE(isGone(serverPid()));
}

TEST_F(RequesterTest, OtherChildrenOfTheProgramAreLeftAlone)
{
    const pid_t other = ::fork();
    if (other == 0)
        ::_exit(7);
    siginfo_t ended = {};
    ASSERT_EQ(0, ::waitid(P_PID, static_cast<id_t>(other), &ended, WEXITED | WNOWAIT));
    EXPECT_EQ(ANSWERED, exchange("read answer"));
    int status = 0;
    ASSERT_EQ(other, ::waitpid(other, &status, 0));
    EXPECT_EQ(7, WEXITSTATUS(status));
}

TEST_F(RequesterTest, AnIgnoredSigchldIsSurvived)
{
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(ANSWERED, exchange("read answer"));
    EXPECT_EQ(ANSWERED, exchange("pid read answer hang"));
    static_cast<void>(std::signal(SIGCHLD, before));
    ASSERT_GT(serverPid(), 0);
    EXPECT_TRUE(isGone(serverPid()));
}

} // namespace

} // namespace tests
