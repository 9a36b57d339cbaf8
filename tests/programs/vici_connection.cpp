// The client of strongSwan's control interface: dialogues with a daemon of the test's, and messages that are none.

#include "Connection.h"
#include "Exceptions.h"
#include "Message.h"
#include "server_support.h"
#include "vici_text.h"

#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::vici;
using namespace std::chrono_literals;
using namespace tests::vici_text;

const std::string MALFORMED_MESSAGE = "the engine's control interface: a malformed message";
const std::string MALFORMED_PACKET = "the engine's control interface: a malformed packet";

// Messages

std::string refusalOf(const std::string& text)
{
    return tests::textThrownBy<std::runtime_error>([&] { Element::decode(text); });
}

std::string nested(std::size_t depth)
{
    std::string text;
    while (depth-- > 0)
        text = section("s", text);
    return text;
}

TEST(ViciMessage, IsReadAsATree)
{
    const Element message =
        Element::decode(value("version", "5.9") + list("groups", {"14", "", "19"}) +
                        section("child", value("state", "UP") + section("inner", value("deep", "yes"))));
    EXPECT_EQ("5.9", message.value("version"));
    EXPECT_EQ((std::vector<std::string>{"14", "", "19"}), message.items("groups"));
    EXPECT_EQ("UP", message.section("child").value("state"));
    EXPECT_EQ("yes", message.section("child").section("inner").value("deep"));
    ASSERT_EQ(3U, message.elements().size());
    EXPECT_EQ(Element::List, message.elements()[1].kind());
    EXPECT_EQ("groups", message.elements()[1].name());
}

TEST(ViciMessage, HasNothingUnderAnotherNameOrOfAnotherKind)
{
    const Element message =
        Element::decode(section("a", value("in", "1")) + value("a", "2") + list("a", {"3"}) +
                        section("a", value("in", "4")) + value("b", "5"));
    EXPECT_EQ("1", message.section("a").value("in"));
    EXPECT_EQ("2", message.value("a"));
    EXPECT_EQ((std::vector<std::string>{"3"}), message.items("a"));
    EXPECT_EQ("", message.value("A"));
    EXPECT_TRUE(message.items("b").empty());
    EXPECT_TRUE(message.section("b").elements().empty());
}

TEST(ViciMessage, IsWrittenAsItWasRead)
{
    const std::string longest(65535, 'x');
    for (const std::string& text :
         {std::string(), value("", ""), value(std::string(255, 'n'), longest), list("l", {}),
          list("l", {longest, "a"}) + value("v", std::string("\0\1\2", 3)),
          section("s", section("t", list("l", {"i"})) + value("v", "w"))})
        EXPECT_EQ(text, Element::decode(text).encoded());
}

TEST(ViciMessage, IsMalformedWithoutItsLastBytes)
{
    for (const std::string& text : {section("child", value("state", "UP") + list("groups", {"14", "19"})),
                                    value("state", "UP"), list("groups", {"14"})})
        for (std::size_t size = 1; size < text.size(); ++size)
            EXPECT_EQ(MALFORMED_MESSAGE, refusalOf(text.substr(0, size)))
                << testing::PrintToString(text) << size;
}

TEST(ViciMessage, IsMalformedWhereAMarkDoesNotBelong)
{
    const std::string rest = name("s") + "\2";
    for (const std::string& text :
         {std::string(1, '\0') + rest, "\2" + rest, "\5" + rest, "\6" + rest, "\7" + rest, "\xFF" + rest,
          "\1" + name("s") + "\6" + rest + "\2", "\1" + name("s") + "\5" + rest + "\2",
          "\4" + name("l") + "\2", "\4" + name("l") + value("k", "v") + "\6", value("k", "v") + "\2"})
        EXPECT_EQ(MALFORMED_MESSAGE, refusalOf(text)) << testing::PrintToString(text);
}

TEST(ViciMessage, IsMalformedBelowThirtyThreeSections)
{
    EXPECT_EQ("<nothing thrown>", refusalOf(nested(33)));
    EXPECT_EQ(MALFORMED_MESSAGE, refusalOf(nested(34)));
    // Nor does the reader get that deep.
    std::string deep;
    for (int i = 0; i < 1'000'000; ++i)
        deep += "\1" + name("s");
    EXPECT_EQ(MALFORMED_MESSAGE, refusalOf(deep));
}

TEST(ViciMessage, HoldsNoTextThatIsTooLong)
{
    const std::string tooLong = "the engine's control interface: a text is too long";
    EXPECT_EQ(tooLong, tests::textThrownBy<std::length_error>(
                           [] { Element().add(std::string(256, 'n'), "").encoded(); }));
    EXPECT_EQ(tooLong, tests::textThrownBy<std::length_error>(
                           [] { Element().add("n", std::string(65536, 'x')).encoded(); }));
}

// Dialogues

enum : char { Command, Response, Unknown, Register, Unregister, Confirm, NoEvent, Event };

/// What the daemon waits for, byte for byte, and what it says then.
using Dialogue = std::vector<std::pair<std::string, std::string>>;

/// Holds one dialogue with one client, and hangs up at its end unless it is to stay silent.
class Daemon {
public:
    explicit Daemon(Dialogue dialogue, std::chrono::milliseconds silence = 0ms)
        : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path().c_str(), sizeof(address.sun_path) - 1);
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as the system takes it
        if (bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
            listen(listener_, 1) != 0)
            throw std::runtime_error(path() + " cannot be listened at");
        thread_ = std::thread([this, dialogue = std::move(dialogue), silence] { hold_(dialogue, silence); });
    }
    ~Daemon()
    {
        thread_.join();
        close(listener_);
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    std::string path() const { return folder_ / "vici"; }

private:
    void hold_(const Dialogue& dialogue, std::chrono::milliseconds silence) const
    {
        const int client = accept(listener_, nullptr, nullptr);
        for (const auto& [expected, said] : dialogue) {
            std::string heard(expected.size(), '\0');
            if (!expected.empty())
                recv(client, heard.data(), heard.size(), MSG_WAITALL);
            EXPECT_EQ(expected, heard);
            send(client, said.data(), said.size(), MSG_NOSIGNAL);
        }
        pollfd gone = {client, POLLIN, 0};
        if (silence > 0ms)
            poll(&gone, 1, static_cast<int>(silence.count()));
        close(client);
    }

    tests::TemporaryFolder folder_;
    int listener_;
    std::thread thread_;
};

const std::string VERSION = packet(Command, name("version"));

std::string failureOf(const Dialogue& dialogue)
{
    const Daemon daemon(dialogue);
    Connection connection(daemon.path(), 10s);
    return tests::textThrownBy<std::runtime_error>([&] { connection.request("version"); });
}

TEST(ViciConnection, SendsACommandAndReadsItsAnswer)
{
    const Daemon daemon({{packet(Command, name("terminate") + value("ike-id", "7") + value("force", "yes")),
                          packet(Response, value("success", "no") + value("errmsg", "gone"))},
                         {VERSION, packet(Response, value("daemon", "charon"))}});
    Connection connection(daemon.path(), 10s);
    const Element answer = connection.request("terminate", Element().add("ike-id", "7").add("force", "yes"));
    EXPECT_EQ("no", answer.value("success"));
    EXPECT_EQ("gone", answer.value("errmsg"));
    EXPECT_EQ("charon", connection.request("version").value("daemon"));
}

TEST(ViciConnection, GathersTheEventsOfACommandInTheirOrder)
{
    const std::string event = name("list-conn");
    const Daemon daemon({{packet(Register, event), packet(Confirm, "")},
                         {packet(Command, name("list-conns")),
                          packet(Event, event + section("b", value("n", "1"))) +
                              packet(Event, event + section("a", "")) + packet(Response, "")},
                         {packet(Unregister, event), packet(Confirm, "")}});
    Connection connection(daemon.path(), 10s);
    const std::vector<Element> events = connection.stream("list-conns", "list-conn");
    ASSERT_EQ(2U, events.size());
    EXPECT_EQ("1", events[0].section("b").value("n"));
    EXPECT_EQ("a", events[1].elements().at(0).name());
}

TEST(ViciConnection, ReadsAnAnswerThatComesInPieces)
{
    const std::string answer = packet(Response, value("daemon", "charon"));
    Dialogue dialogue = {{VERSION, ""}};
    for (const char byte : answer)
        dialogue.emplace_back("", std::string(1, byte));
    const Daemon daemon(dialogue);
    EXPECT_EQ("charon", Connection(daemon.path(), 10s).request("version").value("daemon"));
}

TEST(ViciConnection, SaysWhatTheDaemonDoesNotKnow)
{
    EXPECT_EQ("the engine's control interface: the command is not known",
              failureOf({{VERSION, packet(Unknown, "")}}));
    const Daemon daemon({{packet(Register, name("list-conn")), packet(NoEvent, "")}});
    Connection connection(daemon.path(), 10s);
    EXPECT_EQ("the engine's control interface: the event is not known",
              tests::textThrownBy<std::runtime_error>([&] { connection.stream("list-conns", "list-conn"); }));
}

TEST(ViciConnection, SaysWhatIsNoPacket)
{
    const std::string none(4, '\0');
    const std::string large = std::string("\0\x8\0\1", 4) + std::string(1, Response); // 512 KiB and a byte
    for (const std::string& answer : {none, large, std::string("\xFF\xFF\xFF\xFF"), packet(Event, ""),
                                      packet(Event, "\5list"), packet(Event, "\xFF")})
        EXPECT_EQ(MALFORMED_PACKET, failureOf({{VERSION, answer}})) << testing::PrintToString(answer);
    EXPECT_EQ(MALFORMED_MESSAGE, failureOf({{VERSION, packet(Response, "\2")}}));
}

TEST(ViciConnection, SaysThatTheDaemonHungUp)
{
    const std::string answer = packet(Response, value("daemon", "charon"));
    for (std::size_t size = 0; size < answer.size(); ++size)
        EXPECT_EQ("the engine's control interface: the engine hung up",
                  failureOf({{VERSION, answer.substr(0, size)}}));
}

TEST(ViciConnection, SurvivesADaemonThatIsGoneBeforeItIsAsked)
{
    const Daemon daemon({});
    Connection connection(daemon.path(), 10s);
    std::string failure;
    EXPECT_TRUE(tests::eventually([&] {
        failure = tests::textThrownBy<std::runtime_error>([&] { connection.request("version"); });
        return failure == "the engine's control interface: Broken pipe";
    })) << failure;
}

TEST(ViciConnection, WaitsNoLongerThanItIsToldFor)
{
    for (const std::string said : {"", "\1"}) {
        const Daemon daemon({{VERSION, said}}, 10s);
        Connection connection(daemon.path(), 50ms);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ("the engine's control interface: no answer in time",
                  tests::textThrownBy<std::runtime_error>([&] { connection.request("version"); }));
        EXPECT_LE(50ms, std::chrono::steady_clock::now() - begin);
        EXPECT_GT(5s, std::chrono::steady_clock::now() - begin);
    }
}

TEST(ViciConnection, NeedsAListener)
{
    const tests::TemporaryFolder folder;
    const std::string none = folder / "vici";
    const std::string tooLong = folder / std::string(108, 'x');
    EXPECT_EQ(none + ": No such file or directory",
              tests::textThrownBy<std::runtime_error>([&] { const Connection connection(none, 10s); }));
    EXPECT_EQ(tooLong + ": File name too long",
              tests::textThrownBy<std::runtime_error>([&] { const Connection connection(tooLong, 10s); }));
}

} // namespace
