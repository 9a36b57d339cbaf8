// The streams that structured messages are read from and written to: pieces, ends, failures.

#include "Exceptions.h"
#include "parser_support.h"

#include <gtest/gtest.h>

#include <iterator>
#include <system_error>

using namespace tests;

namespace {

const std::string CALL =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<methodCall><methodName>/bin/go</methodName>"
    "<params><param><value><array><data>" +
    structOf(memberOf("a", "<value><int>5</int></value>") +
             memberOf("b", "<value> x&amp;&#13;<![CDATA[]]]>\xE2\x82\xAC\xF0\x9F\x94\x92 </value>") +
             memberOf("c", "<value><!-- -> --><array><data><value/><value>2</value></data></array>"
                           "</value>")) +
    "</data></array></value></param></params></methodCall>";
const std::string ANSWER = answerOf(structOf("") + structOf(memberOf("m", "<value note='>'><nil/></value>")));
const std::string FAULT = faultOf(memberOf("faultCode", "<value><int>4</int></value>"));
const std::string MESSAGES[] = {CALL, ANSWER, FAULT, answerOf("")};

std::string restOf(std::istream& stream)
{
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace

TEST(MessageStream, MayHandOutAMessageInPiecesOfAnySize)
{
    for (const std::string& text : MESSAGES) {
        CArrayParser expected;
        ASSERT_EQ(0, parseText(expected, text));
        for (const std::size_t piece : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 64U, 100000U}) {
            PiecewiseSource source(text, piece);
            std::istream stream(&source);
            CIStream in(stream);
            CArrayParser message;
            ASSERT_EQ(0, message.parse(in)) << "pieces of " << piece << " of " << text;
            EXPECT_EQ(textOf(expected), textOf(message)) << "pieces of " << piece;
            EXPECT_EQ(0, source.askedBeyondEnd()) << "pieces of " << piece << " of " << text;
            EXPECT_TRUE(stream.good());
        }
    }
}

TEST(MessageStream, MayHaveNoBuffer)
{
    for (const std::string& text : MESSAGES) {
        CArrayParser expected;
        ASSERT_EQ(0, parseText(expected, text));
        UnbufferedSource source(text + "rest");
        std::istream stream(&source);
        CIStream in(stream);
        CArrayParser message;
        ASSERT_EQ(0, message.parse(in)) << text;
        EXPECT_EQ(textOf(expected), textOf(message));
        EXPECT_EQ(0, source.askedBeyondEnd());
        EXPECT_EQ("rest", restOf(stream));
    }
}

TEST(MessageStream, IsNotAskedForMoreThanAMessageWithoutABuffer)
{
    UnbufferedSource source(CALL);
    std::istream stream(&source);
    CIStream in(stream);
    CArrayParser message;
    EXPECT_EQ(0, message.parse(in));
    EXPECT_EQ(0, source.askedBeyondEnd());
}

TEST(MessageStream, KeepsWhatFollowsAMessage)
{
    const std::string rests[] = {
        "\n", " \n<rest/>",           "<rest", "rest", std::string("\0\xFF\xFE", 3), "<!DOCTYPE x>",
        "& ", std::string(50000, 'x')};
    for (const std::string& rest : rests) {
        for (const std::size_t piece : {1U, 2U, 3U, 5U, 7U, 1000U, 16384U, 1000000U}) {
            PiecewiseSource source(ANSWER + rest, piece);
            std::istream stream(&source);
            CIStream in(stream);
            CArrayParser message;
            ASSERT_EQ(0, message.parse(in));
            EXPECT_TRUE(rest == restOf(stream)) << "pieces of " << piece;
        }
    }
}

TEST(MessageStream, MayHoldManyMessagesOneBehindTheOther)
{
    for (const char* gap : {"", "\n", " \r\n\t"}) {
        for (const std::size_t piece : {1U, 3U, 700U, 100000U}) {
            std::string texts;
            for (const std::string& text : {ANSWER, CALL, FAULT, CALL})
                texts.append(text).append(gap);
            PiecewiseSource source(texts, piece);
            std::istream stream(&source);
            CIStream in(stream);
            CArrayParser message;
            ASSERT_EQ(0, message.parse(in));
            EXPECT_EQ((Structures{{}, {{"m", {""}}}}), structuresOf(message));
            ASSERT_EQ(0, message.parse(in));
            EXPECT_EQ(Values({"", "2"}), structuresOf(message).at(0).at(2).second);
            ASSERT_EQ(0, message.parse(in));
            EXPECT_EQ(4, message.getFault().getCode());
            CIStream another(stream);
            ASSERT_EQ(0, message.parse(another));
            EXPECT_EQ(0, message.getFault().getCode());
            EXPECT_EQ(0, source.askedBeyondEnd());
            EXPECT_NE(0, message.parse(in));
        }
    }
}

TEST(MessageStream, IsNotAskedForMoreOnceAMessageIsRefused)
{
    // Each text ends where it is clear that it is no message.
    const std::string texts[] = {"<methodResponse/>",
                                 "<methodCall/>",
                                 "<methodResponse></methodResponse>",
                                 "<html>",
                                 "<html/>",
                                 "Segmentation fault",
                                 "{",
                                 std::string(1, '\0'),
                                 "<!D",
                                 "<!E",
                                 "<?xml version=\"1.0\"?><!D",
                                 "<![CDATX",
                                 "<methodResponse><!D",
                                 "<methodResponse><!-x",
                                 "<methodResponse><params><param><value><string>",
                                 "<methodResponse><params><param><value>x<array>",
                                 "<methodResponse>&x ",
                                 "<methodResponse>&<",
                                 "<methodResponse>&aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa",
                                 "<methodCall><methodName></methodName>"};
    for (const std::string& text : texts) {
        for (const std::size_t piece : {1U, 4U, 1000U}) {
            PiecewiseSource source(text, piece);
            std::istream stream(&source);
            CIStream in(stream);
            CArrayParser message;
            EXPECT_NE(0, message.parse(in)) << text;
            EXPECT_EQ(0, source.askedBeyondEnd()) << "pieces of " << piece << " of " << text;
        }
    }
}

TEST(MessageStream, IsAtItsEndAfterAMessageThatEndsEarly)
{
    std::istringstream stream("<methodResponse>");
    CIStream in(stream);
    CArrayParser message;
    EXPECT_NE(0, message.parse(in));
    EXPECT_TRUE(stream.eof());
}

TEST(MessageStream, ThatHasFailedGivesNoMessage)
{
    for (const auto state : {std::ios_base::failbit, std::ios_base::badbit, std::ios_base::eofbit}) {
        std::istringstream stream(ANSWER);
        stream.setstate(state);
        CIStream in(stream);
        CArrayParser message;
        EXPECT_NE(0, message.parse(in));
    }
}

TEST(MessageStream, WithoutABufferAtAllGivesAndTakesNoMessage)
{
    std::istream source(nullptr);
    CIStream in(source);
    CArrayParser message;
    EXPECT_NE(0, message.parse(in));

    std::ostream sink(nullptr);
    COStream out(sink);
    EXPECT_NE(0, message.serialize(out));
}

TEST(MessageStream, FlushesTheStreamThatItIsTiedToBeforeItIsRead)
{
    class FlushCounter : public std::stringbuf {
    public:
        int flushes = 0;

    protected:
        int sync() override { return ++flushes, 0; }
    } sink;
    std::ostream prompt(&sink);
    std::istringstream stream(ANSWER);
    stream.tie(&prompt);
    CIStream in(stream);
    CArrayParser message;
    ASSERT_EQ(0, message.parse(in));
    EXPECT_EQ(1, sink.flushes);
}

namespace {

// Has no buffer and yet promises more bytes than one, none of which it takes back.
class BoastfulSource : public UnbufferedSource {
public:
    using UnbufferedSource::UnbufferedSource;

protected:
    std::streamsize showmanyc() override { return 1000; }
};

// Throws where its text ends.
class ThrowingSource : public PiecewiseSource {
public:
    using PiecewiseSource::PiecewiseSource;

protected:
    int_type underflow() override
    {
        const int_type byte = PiecewiseSource::underflow();
        if (askedBeyondEnd() > 0)
            throw std::runtime_error("the line is cut");
        return byte;
    }
};

} // namespace

TEST(MessageStream, ThatLosesWhatFollowsAMessageGivesNone)
{
    BoastfulSource source(ANSWER + "rest");
    std::istream stream(&source);
    CIStream in(stream);
    CArrayParser message;
    EXPECT_NE(0, message.parse(in));
    EXPECT_TRUE(stream.bad());
    EXPECT_TRUE(message.getElements().empty());
}

TEST(MessageStream, ThatThrowsWhileItIsReadThrowsAtTheReaderAndLeavesTheArray)
{
    for (std::size_t size = 0; size < CALL.size(); size += 50) {
        ThrowingSource source(CALL.substr(0, size), 10);
        std::istream stream(&source);
        CIStream in(stream);
        CArrayParser message;
        addScalar(message, "before", "1", Type::integer);
        EXPECT_EQ("the line is cut", textThrownBy<std::runtime_error>([&] { message.parse(in); }));
        EXPECT_EQ((Structures{{{"before", {"1"}}}}), structuresOf(message));
    }
}

namespace {

// Takes so many bytes and no more; counts the writes and what they were.
class BoundedSink : public std::streambuf {
public:
    explicit BoundedSink(std::size_t bound)
        : bound_(bound)
    {}

    const std::string& taken() const { return taken_; }
    std::size_t largestWrite() const { return largestWrite_; }
    int flushes() const { return flushes_; }
    void failFlush() { flushResult_ = -1; }

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override
    {
        const std::size_t fitting = std::min(static_cast<std::size_t>(size), bound_ - taken_.size());
        taken_.append(text, fitting);
        largestWrite_ = std::max(largestWrite_, static_cast<std::size_t>(size));
        return static_cast<std::streamsize>(fitting);
    }

    int sync() override
    {
        ++flushes_;
        return flushResult_;
    }

private:
    std::size_t bound_;
    std::string taken_;
    std::size_t largestWrite_ = 0;
    int flushes_ = 0;
    int flushResult_ = 0;
};

constexpr std::size_t NO_BOUND = static_cast<std::size_t>(-1);

// A message of a bit more than three packets.
void fill(CArrayParser& message)
{
    message.setCommand("go");
    for (int number = 0; number < 300; ++number)
        addScalar(message, "number", std::to_string(number), Type::integer);
}

} // namespace

TEST(MessageStream, TakesAMessageInPacketsOf8192BytesAndIsFlushedOnce)
{
    CArrayParser message;
    fill(message);
    BoundedSink sink(NO_BOUND);
    std::ostream stream(&sink);
    COStream out(stream);
    ASSERT_EQ(0, message.serialize(out));
    EXPECT_EQ(textOf(message), sink.taken());
    EXPECT_LT(3U * 8192, sink.taken().size());
    EXPECT_EQ(8192U, sink.largestWrite());
    EXPECT_EQ(1, sink.flushes());
}

TEST(MessageStream, ThatStopsTakingDataAtAnyByteFailsTheMessage)
{
    CArrayParser message;
    fill(message);
    const std::string text = textOf(message);
    for (std::size_t bound = 0; bound < text.size(); bound += bound < 8000 || bound > 8400 ? 97 : 1) {
        BoundedSink sink(bound);
        std::ostream stream(&sink);
        COStream out(stream);
        ASSERT_NE(0, message.serialize(out)) << bound;
        EXPECT_EQ(text.substr(0, bound), sink.taken());
        EXPECT_TRUE(stream.bad());
    }
    for (const std::size_t bound : {text.size() - 1, text.size()}) {
        BoundedSink sink(bound);
        std::ostream stream(&sink);
        COStream out(stream);
        EXPECT_EQ(bound == text.size(), message.serialize(out) == 0);
    }
}

TEST(MessageStream, ThatCannotBeFlushedFailsTheMessage)
{
    CArrayParser message;
    BoundedSink sink(NO_BOUND);
    sink.failFlush();
    std::ostream stream(&sink);
    COStream out(stream);
    EXPECT_NE(0, message.serialize(out));
    EXPECT_TRUE(stream.bad());
}

TEST(MessageStream, ThatHasFailedTakesNothing)
{
    for (const auto state : {std::ios_base::failbit, std::ios_base::badbit, std::ios_base::eofbit}) {
        std::ostringstream stream;
        stream.setstate(state);
        COStream out(stream);
        CArrayParser message;
        EXPECT_NE(0, message.serialize(out));
        EXPECT_EQ("", stream.str());
    }
}

TEST(MessageStream, ThatIsGoodAgainGetsNothingOfAMessageThatItDidNotTake)
{
    std::ostringstream stream;
    stream.setstate(std::ios_base::failbit);
    COStream out(stream);
    CArrayParser first;
    addScalar(first, "first", "1", Type::integer);
    EXPECT_NE(0, first.serialize(out));
    stream.clear();
    CArrayParser second;
    EXPECT_EQ(0, second.serialize(out));
    EXPECT_EQ(textOf(second), stream.str());
}

TEST(MessageStream, ThatIsToThrowWhenItFailsThrowsAtTheWriter)
{
    BoundedSink sink(10);
    std::ostream stream(&sink);
    stream.exceptions(std::ios_base::badbit);
    COStream out(stream);
    CArrayParser message;
    EXPECT_THROW(message.serialize(out), std::ios_base::failure);
}

TEST(MessageStream, ThatThrowsWhileItIsWrittenThrowsAtTheWriterUnchanged)
{
    class ThrowingSink : public std::streambuf {
    protected:
        std::streamsize xsputn(const char*, std::streamsize) override
        {
            throw std::system_error(std::make_error_code(std::errc::permission_denied), "/bin/go");
        }
    } sink;
    std::ostream stream(&sink);
    COStream out(stream);
    CArrayParser message;
    EXPECT_EQ("/bin/go: Permission denied", textThrownBy<std::system_error>([&] { message.serialize(out); }));
}

TEST(MessageStream, GetsNothingOfAnEarlierMessageThatFailed)
{
    class SinkThatThrowsOnce : public std::stringbuf {
    protected:
        std::streamsize xsputn(const char* text, std::streamsize size) override
        {
            if (!std::exchange(thrown_, true))
                throw std::runtime_error("not yet");
            return std::stringbuf::xsputn(text, size);
        }

    private:
        bool thrown_ = false;
    } sink;
    std::ostream stream(&sink);
    COStream out(stream);
    CArrayParser first;
    addScalar(first, "first", "1", Type::integer);
    EXPECT_EQ("not yet", textThrownBy<std::runtime_error>([&] { first.serialize(out); }));
    CArrayParser second;
    EXPECT_EQ(0, second.serialize(out));
    EXPECT_EQ(textOf(second), sink.str());
}
