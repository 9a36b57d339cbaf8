// Text that is meant to do harm: it is refused, soon, and reading it takes no more than linear time.

#include "Growth.h"
#include "parser_support.h"

#include <gtest/gtest.h>

using namespace tests;

namespace {

constexpr std::size_t LIMIT = DOCUMENT_LIMIT; // what the library was built with; 64 MiB unless set

// The two ends of an answer whose only value lies between them.
const std::string HEAD =
    "<methodResponse><params><param><value><array><data><value><struct><member><name>m</name>"
    "<value>";
const std::string TAIL = "</value></member></struct></value></data></array></value></param></params>"
                         "</methodResponse>";

constexpr std::size_t READ_AT_ONCE = 131072; // more than the library reads ahead

struct Reading {
    bool accepted;
    bool atEnd;        // of the stream
    std::size_t taken; // bytes, in steps of what the stream hands out at once
};

Reading readLong(const std::string& head, const std::string& repeated, std::size_t size,
                 const std::string& tail)
{
    LongSource source(head, repeated, size, tail);
    std::istream stream(&source);
    CIStream in(stream);
    CArrayParser message;
    const bool accepted = message.parse(in) == 0;
    return {accepted, stream.eof(), source.given()};
}

} // namespace

TEST(HostileText, IsRefusedForADocumentTypeDeclaration)
{
    const std::string answer = answerWith("<value>&a;</value>");
    const std::string texts[] = {
        "<!DOCTYPE methodResponse>" + answerWith("<value/>"),
        "<!doctype methodResponse>" + answerWith("<value/>"),
        "<?xml version=\"1.0\"?>\n<!-- c -->\n<!DOCTYPE methodResponse [<!ENTITY a \"b\">]>" + answer,
        "<!DOCTYPE methodResponse [<!ENTITY a SYSTEM \"file:///etc/passwd\">]>" + answer,
        "<!DOCTYPE methodResponse SYSTEM \"http://127.0.0.1/x.dtd\">" + answerWith("<value/>"),
        "<!DOCTYPE methodResponse [<!ENTITY % p SYSTEM \"file:///etc/passwd\"> %p;]>" +
            answerWith("<value/>"),
        "<!DOCTYPE methodResponse [<!ATTLIST value a CDATA \"b\">]>" + answerWith("<value/>"),
        "<!ENTITY a \"b\">" + answer,
        answerWith("<value><!DOCTYPE x></value>"),
    };
    for (const std::string& text : texts) {
        CArrayParser message;
        EXPECT_NE(0, parseText(message, text)) << text;
    }
}

TEST(HostileText, DoesNotExpandAnEntityBomb)
{
    std::string bomb = R"(<?xml version="1.0"?><!DOCTYPE bomb [<!ENTITY a0 "0123456789">)";
    for (int level = 1; level < 20; ++level) {
        bomb += "<!ENTITY a" + std::to_string(level) + " \"";
        for (int time = 0; time < 10; ++time)
            bomb += "&a" + std::to_string(level - 1) + ";";
        bomb += "\">";
    }
    bomb += "]>" + answerWith("<value>&a19;</value>");
    PiecewiseSource source(bomb, 1);
    std::istream stream(&source);
    CIStream in(stream);
    CArrayParser message;
    EXPECT_NE(0, message.parse(in));
    // What is left begins in the first declaration.
    EXPECT_EQ('O', stream.get());
}

TEST(HostileText, OfHundredThousandLevelsIsRefusedAtTheFirstThatIsTooDeep)
{
    const std::string levels[] = {"<value><array><data>",
                                  "<value><struct><member><name>m</name>",
                                  "<a>",
                                  "<value>",
                                  "<array><data>",
                                  "<methodResponse>",
                                  "<params><param>"};
    for (const std::string& level : levels) {
        const std::size_t size = HEAD.size() + 100000 * level.size();
        const Reading reading = readLong(HEAD, level, size, "");
        EXPECT_FALSE(reading.accepted) << level;
        EXPECT_GT(100000U, reading.taken) << level;
    }
}

TEST(HostileText, OfAsManyBytesAsTheLimitIsAccepted)
{
    EXPECT_TRUE(readLong(HEAD, "x", LIMIT, TAIL).accepted);
}

TEST(HostileText, OfMoreBytesThanTheLimitIsRefusedAlthoughTheStreamIsNotAtItsEnd)
{
    const Reading reading = readLong(HEAD, "x", LIMIT + 1, TAIL);
    EXPECT_FALSE(reading.accepted);
    EXPECT_FALSE(reading.atEnd);
}

TEST(HostileText, OfEndlessWhiteSpaceBeforeTheMessageIsReadUpToTheLimitOnly)
{
    const Reading reading = readLong(" ", " ", LIMIT + 40000000, answerOf(""));
    EXPECT_FALSE(reading.accepted);
    EXPECT_GT(LIMIT + READ_AT_ONCE, reading.taken);
}

namespace {

struct Markup {
    const char* name;
    std::string head;
    std::string repeated;
    std::string tail;
};

std::ostream& operator<<(std::ostream& out, const Markup& markup)
{
    return out << markup.name;
}

class MarkupOfAnyLength : public testing::TestWithParam<Markup> {
protected:
    // The processor time to read the markup, one byte at a time once it has begun: a token's beginning is looked for
    // otherwise in a longer piece.
    static double secondsToRead(std::size_t size)
    {
        std::string text = GetParam().head;
        const std::size_t begun = text.size() + GetParam().repeated.size();
        while (text.size() < size)
            text += GetParam().repeated;
        text += GetParam().tail;
        return secondsFor([&text, begun] {
            PiecewiseSource source(text, 1, begun);
            std::istream stream(&source);
            CIStream in(stream);
            CArrayParser message;
            message.parse(in);
        });
    }
};

} // namespace

TEST_P(MarkupOfAnyLength, IsReadInLinearTime)
{
    EXPECT_GT(8, growthOf(secondsToRead, 12000));
}

INSTANTIATE_TEST_SUITE_P(
    Markups, MarkupOfAnyLength,
    testing::Values(
        Markup{"Text", HEAD, "x", TAIL}, Markup{"TextOfBrackets", HEAD, "]", TAIL},
        Markup{"TextOfLineEnds", HEAD, "\r\n", TAIL}, Markup{"TextOfUmlauts", HEAD, "\xC3\xA4", TAIL},
        Markup{"WhiteSpaceBeforeTheMessage", "", " ", answerOf("")},
        Markup{"WhiteSpaceBetweenElements", "<methodResponse>", "\n", "<params>"},
        Markup{"Comment", HEAD + "<!--", "x", "-->" + TAIL},
        Markup{"CommentOfTagEnds", HEAD + "<!--", ">", "-->" + TAIL},
        Markup{"CommentBeforeTheMessage", "<!--", "->", "-->" + answerOf("")},
        Markup{"Comments", HEAD, "<!---->", TAIL}, Markup{"Instruction", HEAD + "<?a ", "?", "?>" + TAIL},
        Markup{"InstructionOfTagEnds", HEAD + "<?a ", ">", "?>" + TAIL},
        Markup{"InstructionTarget", HEAD + "<?a", "a", "?>" + TAIL},
        Markup{"Instructions", HEAD, "<?a?>", TAIL}, Markup{"Cdata", HEAD + "<![CDATA[", "x", "]]>" + TAIL},
        Markup{"CdataOfBrackets", HEAD + "<![CDATA[", "]", "]]>" + TAIL},
        Markup{"CdataOfMarkup", HEAD + "<![CDATA[", "<a>&", "]]>" + TAIL},
        Markup{"Cdatas", HEAD, "<![CDATA[]]>", TAIL}, Markup{"References", HEAD, "&amp;", TAIL},
        Markup{"LongReference", HEAD + "&", "a", ";" + TAIL},
        Markup{"CharacterReferences", HEAD, "&#65;", TAIL},
        Markup{"CharacterReferenceOfZeros", HEAD + "&#", "0", "65;" + TAIL},
        Markup{"AttributeValue", HEAD + "<string a='", ">", "'/>" + TAIL},
        Markup{"AttributeValueInDoubleQuotes", HEAD + "<string a=\"", ">", "\"/>" + TAIL},
        Markup{"AttributeName", HEAD + "<string a", "a", "=''/>" + TAIL},
        Markup{"WhiteSpaceInATag", HEAD + "<string", " ", "/>" + TAIL},
        Markup{"WhiteSpaceInAnEndTag", HEAD + "<string></string", " ", ">" + TAIL},
        Markup{"ElementName", HEAD + "<", "a", "/>" + TAIL},
        Markup{"XmlDeclaration", "<?xml version='1.0'", " ", "?>" + answerOf("")},
        Markup{"Elements", answerOf("").substr(0, 51), "<value><struct/></value>", answerOf("").substr(51)},
        Markup{"ArrayValues", HEAD + "<array><data>", "<value/>", "</data></array>" + TAIL}),
    [](const auto& parameter) { return parameter.param.name; });
