// What structured messages need of memory, and what they do when there is none.

#include "FailingHeap.h"
#include "parser_support.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace tests;

namespace {

// Takes everything and keeps nothing.
class NullSink : public std::streambuf {
protected:
    std::streamsize xsputn(const char* /*text*/, std::streamsize size) override { return size; }
};

std::string longText(char character)
{
    std::string text(100, character);
    return text;
}

} // namespace

TEST(MessageMemory, ThatRunsOutWhileReadingIsReportedAndLeavesTheArrayAsItWas)
{
    const std::string element =
        structOf(memberOf(longText('a'), "<value>" + longText('b') + "</value>") +
                 memberOf(longText('c'), "<value><array><data><value>" + longText('d') +
                                             "</value><value/></data></array></value>"));
    const std::string texts[] = {
        answerOf(element + element + element),
        "<methodCall><methodName>" + longText('e') +
            "</methodName><params><param><value><array><data/></array></value></param></params></methodCall>",
        faultOf(memberOf("faultString", "<value>" + longText('f') + "</value>")),
        R"(<?xml version="1.0" encoding="UTF-8"?><!--)" + longText('c') + "--><?p " + longText('d') + "?>" +
            answerOf(structOf(memberOf("m", "<value a='" + longText('a') + "' b='&amp;&#65;'><![CDATA[" +
                                                longText('[') + "]]>&lt;" + longText('\n') + "</value>"))),
    };
    for (const std::string& text : texts) {
        CArrayParser message;
        message.setCommand(longText('g'));
        addScalar(message, "before", longText('h'), Type::string);
        const std::string before = textOf(message);
        std::istringstream stream(text);
        CIStream in(stream);
        int status = -1;
        const long failures = failEachAllocation(
            [&] {
                stream.clear();
                stream.seekg(0);
                status = message.parse(in);
            },
            [&] { EXPECT_EQ(before, textOf(message)); });
        EXPECT_EQ(0, status) << text;
        EXPECT_LT(30, failures); // most of them are Expat's
        EXPECT_NE(before, textOf(message));
    }
}

TEST(MessageMemory, ThatRunsOutWhileWritingIsReportedAndKeepsTheMessage)
{
    CArrayParser call;
    call.setCommand(longText('a'));
    call.setPrettyPrint(true);
    addScalar(call, "m", std::string(20000, 'b'), Type::string);
    CArrayParser answer;
    addScalar(answer, "m", longText('c'), Type::string);
    CArrayParser fault;
    fault.getFault() = CFault(FaultCode::otherError, longText('d'));
    for (CArrayParser* const message : {&call, &answer, &fault}) {
        const std::string whole = textOf(*message);
        auto stream = std::make_unique<std::ostringstream>();
        const auto check = [&] {
            const std::string written = stream->str();
            EXPECT_EQ(whole.substr(0, written.size()), written);
            stream = std::make_unique<std::ostringstream>();
        };
        int status = -1;
        const auto write = [&] {
            COStream out(*stream);
            status = message->serialize(out);
        };
        EXPECT_LT(1, failEachAllocation(write, check));
        EXPECT_EQ(0, status);
        EXPECT_EQ(whole, stream->str());
    }
}

TEST(MessageMemory, ThatRunsOutWhileWritingLeavesAStreamThatTakesTheNextMessage)
{
    CArrayParser fault;
    fault.getFault() = CFault(FaultCode::otherError, longText('a'));
    NullSink sink;
    std::ostream stream(&sink);
    COStream out(stream);
    int status = -1;
    EXPECT_LT(
        0, failEachAllocation([&] { status = fault.serialize(out); }, [&] { EXPECT_TRUE(stream.good()); }));
    EXPECT_EQ(0, status);
}

TEST(MessageMemory, ThatRunsOutWhileACommandIsSetKeepsTheOneBefore)
{
    CArrayParser message;
    message.setCommand("before");
    const std::string before = textOf(message);
    EXPECT_LT(0, failEachAllocation([&] { message.setCommand(longText('a')); },
                                    [&] { EXPECT_EQ(before, textOf(message)); }));
    EXPECT_NE(before, textOf(message));
}

TEST(MessageMemory, IsNotNeededToGoThroughAMessage)
{
    CArrayParser message;
    addScalar(message, "m", longText('a'), Type::string);
    const CFault* fault = nullptr;
    const std::string* name = nullptr;
    const std::string* value = nullptr;
    EXPECT_EQ(0, failEachAllocation(
                     [&] {
                         CParser& structure = *message.getElements().front();
                         structure.positionToFirstMember();
                         const CMember& member = structure.getNextMember();
                         name = &member.getName();
                         value = &member.getValue();
                         fault = &message.getFault();
                     },
                     [] {}));
    EXPECT_EQ("m", *name);
    EXPECT_EQ(longText('a'), *value);
    EXPECT_EQ(FaultCode::ok, fault->getCode());
}

TEST(MessageMemory, ThatRunsOutWhileAStructureIsAddedLeavesItToTheCaller)
{
    CArrayParser message;
    auto structure = std::make_unique<CParser>();
    const long failures = failEachAllocation([&] { message.addElement(structure.get()); },
                                             [&] { EXPECT_TRUE(message.getElements().empty()); });
    EXPECT_LT(0, failures);
    EXPECT_EQ(structure.release(), message.getElements().at(0));
}

TEST(MessageMemory, ThatRunsOutWhileAMemberIsAddedLeavesTheStructureAsItWas)
{
    CParser structure;
    structure.addMember("before", "1", Type::integer, false);
    const std::string name = longText('a');
    const Values values = {longText('b'), longText('c')};
    const Structure before = membersOf(structure);
    const auto check = [&] { EXPECT_EQ(before, membersOf(structure)); };
    EXPECT_LT(0,
              failEachAllocation([&] { structure.addMember(name, values[0], Type::string, false); }, check));
    EXPECT_EQ(2U, membersOf(structure).size());

    CParser other;
    other.addMember("before", "1", Type::integer, false);
    const auto checkOther = [&] { EXPECT_EQ(before, membersOf(other)); };
    checkOther(); // a member that has been read keeps its values in one more place
    EXPECT_LT(
        0, failEachAllocation([&] { other.addArrayMember(name, values, Type::string, false); }, checkOther));
    EXPECT_EQ(2U, membersOf(other).size());
}

TEST(MessageMemory, ForReadingIsASmallMultipleOfTheBytesRead)
{
    const struct {
        const char* head;
        const char* repeated;
        const char* tail;
        std::size_t multiple;
    } rows[] = {
        {"<value><struct><member><name>m</name><value>", "x", "</value></member></struct></value>", 4},
        {"<value><struct><member><name>m</name><value>", "&amp;", "</value></member></struct></value>", 4},
        {"<value><struct><member><name>m</name><value><![CDATA[", "x",
         "]]></value></member></struct></value>", 4},
        {"<!--", "x", "-->", 4},
        {"<value a='", "x", "'><struct/></value>", 4},
        {"", "<value><struct/></value>", "", 12},
        {"<value><struct>", "<member><name/><value/></member>", "</struct></value>", 16},
        {"<value><struct><member><name/><value><array><data>", "<value/>",
         "</data></array></value></member></struct></value>", 16},
    };
    constexpr std::size_t SIZE = 1000000;
    const std::string frame = answerOf("|");
    const std::size_t middle = frame.find('|');
    for (const auto& row : rows) {
        const std::string head = frame.substr(0, middle) + row.head;
        const std::string tail = row.tail + frame.substr(middle + 1);
        const std::size_t repeated =
            SIZE / std::string(row.repeated).size() * std::string(row.repeated).size();
        LongSource source(head, row.repeated, head.size() + repeated + tail.size(), tail);
        std::istream stream(&source);
        CIStream in(stream);
        CArrayParser message;
        const std::size_t used = heap.used();
        heap.forgetPeak();
        EXPECT_EQ(0, message.parse(in)) << row.repeated;
        EXPECT_GT(row.multiple * SIZE, heap.peak() - used) << row.head << row.repeated;
    }
}

TEST(MessageMemory, ForAStringOfHundredMegabytesIsBoundedAsNoMoreThanTheLimitIsRead)
{
    constexpr std::size_t LIMIT = DOCUMENT_LIMIT;
    constexpr std::size_t READ_AT_ONCE = 131072; // more than the library reads ahead
    const std::string head =
        "<methodResponse><params><param><value><array><data><value><struct><member><name>m</name>"
        "<value>";
    LongSource source(head, "x", LIMIT + 40000000, "");
    std::istream stream(&source);
    CIStream in(stream);
    CArrayParser message;
    const std::size_t used = heap.used();
    heap.forgetPeak();
    EXPECT_NE(0, message.parse(in));
    EXPECT_GT(LIMIT + READ_AT_ONCE, source.given());
    EXPECT_GT(4 * LIMIT, heap.peak() - used);
    EXPECT_EQ(used, heap.used());
}

TEST(MessageMemory, ForWritingDoesNotGrowWithTheMessage)
{
    CArrayParser message;
    addScalar(message, "m", std::string(1000000, '&'), Type::string);
    for (int number = 0; number < 1000; ++number)
        addScalar(message, "number", std::to_string(number), Type::integer);
    NullSink sink;
    std::ostream stream(&sink);
    const std::size_t used = heap.used();
    heap.forgetPeak();
    COStream out(stream);
    EXPECT_EQ(0, message.serialize(out));
    EXPECT_GT(16384U, heap.peak() - used);
}

#ifndef UNDER_SANITIZERS

namespace {

// Bounds the address space of this process to what it has and `more` bytes.
void boundMemory(std::size_t more)
{
    std::ifstream status("/proc/self/statm");
    std::size_t pages = 0;
    status >> pages;
    const rlim_t bound = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + more;
    const rlimit limit = {bound, bound};
    if (setrlimit(RLIMIT_AS, &limit) != 0)
        _exit(99);
}

// Reads a message with a comment of 4 MB in so much memory, and ends this process: 0 it was read, 1 it was
// refused, 2 memory ran out.
[[noreturn]] void readWithin(std::size_t more)
{
    LongSource source("<!--", "x", 4000000, "-->" + answerOf(""));
    std::istream stream(&source);
    CIStream in(stream);
    CArrayParser message;
    boundMemory(more);
    try {
        _exit(message.parse(in) == 0 ? 0 : 1);
    } catch (const std::bad_alloc&) {
        _exit(2);
    }
}

} // namespace

TEST(MessageMemory, ThatRunsOutAnywhereInTheXmlParserIsReportedAndNotTakenForABadMessage)
{
    constexpr std::size_t STEP = 1000000;
    const auto ran = [](int status) {
        return WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 2);
    };
    for (std::size_t more = STEP; more < 40 * STEP; more += STEP)
        EXPECT_EXIT(readWithin(more), ran, "") << more;
    EXPECT_EXIT(readWithin(STEP), testing::ExitedWithCode(2), "");
    EXPECT_EXIT(readWithin(100 * STEP), testing::ExitedWithCode(0), "");
}

#endif
