// A structured message as XML-RPC text: its exact form, and what is refused.

#include "parser_support.h"

#include <gtest/gtest.h>

using namespace tests;

namespace {

// The text of an answer with one scalar member "m".
std::string textOfScalar(const std::string& value, Type type)
{
    CArrayParser message;
    addScalar(message, "m", value, type);
    return textOf(message);
}

} // namespace

TEST(MessageText, OfAnArrayWithoutACommandIsAnAnswer)
{
    CArrayParser message;
    EXPECT_EQ(DECLARATION + answerOf(""), textOf(message));
}

TEST(MessageText, OfAnArrayWithACommandIsACallOfIt)
{
    CArrayParser message;
    message.setCommand("/usr/sbin/a server");
    addScalar(message, "table-id", "0", Type::integer);
    EXPECT_EQ(DECLARATION +
                  "<methodCall><methodName>/usr/sbin/a server</methodName>"
                  "<params><param><value><array><data>"
                  "<value><struct><member><name>table-id</name><value><int>0</int></value></member></struct>"
                  "</value></data></array></value></param></params></methodCall>",
              textOf(message));
}

TEST(MessageText, EscapesTheCommand)
{
    CArrayParser message;
    message.setCommand("a<&>b");
    EXPECT_NE(std::string::npos, textOf(message).find("<methodName>a&lt;&amp;&gt;b</methodName>"));
}

TEST(MessageText, OfAFaultTakesThePlaceOfArrayAndCommand)
{
    CArrayParser message;
    message.setCommand("command");
    addScalar(message, "m", "1", Type::integer);
    message.getFault() = CFault(FaultCode::syntaxError, "a < b");
    EXPECT_EQ(DECLARATION +
                  "<methodResponse><fault><value><struct>"
                  "<member><name>faultCode</name><value><int>6</int></value></member>"
                  "<member><name>faultString</name><value><string>a &lt; b</string></value></member>"
                  "</struct></value></fault></methodResponse>",
              textOf(message));
}

TEST(MessageText, OfAFaultWithTheCodeOkIsTheArray)
{
    CArrayParser message;
    message.getFault() = CFault(FaultCode::ok, "all is well");
    EXPECT_EQ(DECLARATION + answerOf(""), textOf(message));
}

TEST(MessageText, KeepsTheNumberOfAFaultCodeThatHasNoName)
{
    CArrayParser message;
    message.getFault() = CFault(static_cast<FaultCode>(-32601), "");
    EXPECT_NE(std::string::npos, textOf(message).find("<int>-32601</int>"));
}

TEST(MessageText, HasAnElementForEachType)
{
    const struct {
        Type type;
        const char* value;
        const char* element;
    } rows[] = {
        {Type::none, "", "<value><nil/></value>"},
        {Type::none, "not none", "<value>not none</value>"},
        {Type::string, "text", "<value><string>text</string></value>"},
        {Type::string, "", "<value><string></string></value>"},
        {Type::boolean, "1", "<value><boolean>1</boolean></value>"},
        {Type::integer, "-5", "<value><int>-5</int></value>"},
        {Type::integer, "abc", "<value><int>abc</int></value>"},
        {Type::integer, "99999999999", "<value><int>99999999999</int></value>"},
        {Type::flowtingPoint, "1.5", "<value><double>1.5</double></value>"},
        {Type::dateTime, "20200101T00:00:00",
         "<value><dateTime.iso8601>20200101T00:00:00</dateTime.iso8601></value>"},
        {Type::base64, "aGk=", "<value><base64>aGk=</base64></value>"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(DECLARATION + answerWith(row.element), textOfScalar(row.value, row.type));
}

TEST(MessageText, OfAnArrayMemberIsAnArrayOfItsValues)
{
    CArrayParser message;
    auto structure = std::make_unique<CParser>();
    structure->addArrayMember("ids", {"1", "2"}, Type::integer, false);
    structure->addArrayMember("none", {}, Type::string, false);
    message.addElement(structure.release());
    EXPECT_EQ(DECLARATION +
                  answerOf(structOf(memberOf("ids", "<value><array><data><value><int>1</int></value>"
                                                    "<value><int>2</int></value></data></array></value>") +
                                    memberOf("none", "<value><array><data></data></array></value>"))),
              textOf(message));
}

TEST(MessageText, DoesNotShowWhetherAMemberIsOptional)
{
    CArrayParser message;
    auto structure = std::make_unique<CParser>();
    structure->addMember("m", "1", Type::integer, true);
    message.addElement(structure.release());
    EXPECT_EQ(textOfScalar("1", Type::integer), textOf(message));
}

TEST(MessageText, EscapesWhatMarkupOrAReaderWouldAlter)
{
    const struct {
        const char* text;
        const char* escaped;
    } rows[] = {
        {"a&b", "a&amp;b"},
        {"&amp;", "&amp;amp;"},
        {"<tag>", "&lt;tag&gt;"},
        {"]]>", "]]&gt;"},
        {"a\r\nb", "a&#13;\nb"},
        {"\ttab", "\ttab"},
        {"\"quoted\" 'text'", "\"quoted\" 'text'"},
        {"\x7F", "\x7F"},
        {"\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x94\x92", "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x94\x92"},
    };
    for (const auto& row : rows) {
        const std::string element = "<value><string>" + std::string(row.escaped) + "</string></value>";
        EXPECT_EQ(DECLARATION + answerWith(element), textOfScalar(row.text, Type::string));
    }
}

TEST(MessageText, IsIndentedWhenPrettyPrintIsOnWithNoWhiteSpaceBesideAValue)
{
    CArrayParser message;
    message.setCommand("go");
    message.setPrettyPrint(true);
    auto structure = std::make_unique<CParser>();
    structure->addMember("a", "two\nlines", Type::string, false);
    structure->addMember("nothing", "", Type::none, false);
    structure->addArrayMember("b", {"1"}, Type::integer, false);
    message.addElement(structure.release());
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<methodCall>\n"
              "  <methodName>go</methodName>\n"
              "  <params>\n"
              "    <param>\n"
              "      <value><array><data>\n"
              "        <value><struct>\n"
              "          <member>\n"
              "            <name>a</name>\n"
              "            <value><string>two\nlines</string></value>\n"
              "          </member>\n"
              "          <member>\n"
              "            <name>nothing</name>\n"
              "            <value><nil/></value>\n"
              "          </member>\n"
              "          <member>\n"
              "            <name>b</name>\n"
              "            <value><array><data>\n"
              "              <value><int>1</int></value>\n"
              "            </data></array></value>\n"
              "          </member>\n"
              "        </struct></value>\n"
              "      </data></array></value>\n"
              "    </param>\n"
              "  </params>\n"
              "</methodCall>",
              textOf(message));
}

TEST(MessageText, IsOnOneLineAgainWhenPrettyPrintIsOff)
{
    CArrayParser message;
    message.setPrettyPrint(true);
    message.setPrettyPrint(false);
    EXPECT_EQ(DECLARATION + answerOf(""), textOf(message));
}

namespace {

class TextThatXmlCannotCarry : public testing::TestWithParam<NamedText> {};
class TextThatXmlCarries : public testing::TestWithParam<NamedText> {};

} // namespace

TEST_P(TextThatXmlCannotCarry, IsRefusedBeforeAByteIsWritten)
{
    // Behind more than a packet of good text, at the end of the message.
    const std::string& bad = GetParam().text;
    const std::string good(100000, 'x');

    CArrayParser asValue;
    addScalar(asValue, "m", good, Type::string);
    addScalar(asValue, "m", "begin " + bad, Type::string);
    EXPECT_EQ("<refused>", textOf(asValue));

    CArrayParser asInteger;
    addScalar(asInteger, "m", bad, Type::integer);
    EXPECT_EQ("<refused>", textOf(asInteger));

    CArrayParser asName;
    addScalar(asName, bad, "", Type::string);
    EXPECT_EQ("<refused>", textOf(asName));

    CArrayParser inArray;
    auto structure = std::make_unique<CParser>();
    structure->addArrayMember("m", {good, bad + " end"}, Type::string, false);
    inArray.addElement(structure.release());
    EXPECT_EQ("<refused>", textOf(inArray));

    CArrayParser asCommand;
    asCommand.setCommand(bad);
    EXPECT_EQ("<refused>", textOf(asCommand));

    CArrayParser asFault;
    asFault.getFault() = CFault(FaultCode::otherError, bad);
    EXPECT_EQ("<refused>", textOf(asFault));
}

// Texts are looked at in words of several bytes.
TEST(MessageText, CarriesOrRefusesEveryByteAtEveryPlace)
{
    for (int byte = 0; byte < 0x100; ++byte) {
        const bool isCarried = byte == '\t' || byte == '\n' || byte == '\r' || (byte >= 0x20 && byte < 0x80);
        for (std::size_t place = 0; place < 20; ++place) {
            std::string text(20, 'x');
            text[place] = static_cast<char>(byte);
            CArrayParser message;
            addScalar(message, "m", text, Type::string);
            const std::string written = textOf(message);
            ASSERT_EQ(isCarried, written != "<refused>") << byte << " at " << place;
            CArrayParser read;
            ASSERT_EQ(isCarried ? 0 : 1, parseText(read, written)) << byte << " at " << place;
            if (isCarried) {
                ASSERT_EQ((Structures{{{"m", {text}}}}), structuresOf(read)) << byte << " at " << place;
            }
        }
    }
}

// Whatever part of a word is left at the end, whatever stands in the others and in the memory behind them.
TEST(MessageText, EscapesAndRefusesAtEveryPlaceOfATextOfAnyLength)
{
    for (const char filling : {'0', 'x'})
        for (std::size_t length = 1; length <= 33; ++length)
            for (std::size_t place = 0; place < length; ++place) {
                std::string text(length + 32, filling);
                text.resize(length);
                text[place] = '<';
                const std::string escaped =
                    std::string(place, filling) + "&lt;" + std::string(length - place - 1, filling);
                ASSERT_EQ(DECLARATION + answerWith("<value><string>" + escaped + "</string></value>"),
                          textOfScalar(text, Type::string));
                text[place] = '\x01';
                ASSERT_EQ("<refused>", textOfScalar(text, Type::string)) << place << " of " << length;
            }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, TextThatXmlCannotCarry,
    testing::Values(
        NamedText{"Nul", std::string(1, '\0')}, NamedText{"Control01", "\x01"},
        NamedText{"Backspace", "\x08"}, NamedText{"VerticalTab", "\x0B"}, NamedText{"FormFeed", "\x0C"},
        NamedText{"Control0E", "\x0E"}, NamedText{"Control1F", "\x1F"}, NamedText{"LoneContinuation", "\x80"},
        NamedText{"LastContinuation", "\xBF"}, NamedText{"LatinOne", "caf\xE9"},
        NamedText{"OverlongOfTwoC0", "\xC0\xAF"}, NamedText{"OverlongOfTwoC1", "\xC1\xBF"},
        NamedText{"OverlongOfThree", "\xE0\x80\xAF"}, NamedText{"OverlongOfThreeLast", "\xE0\x9F\xBF"},
        NamedText{"OverlongOfFour", "\xF0\x8F\xBF\xBF"}, NamedText{"FirstSurrogate", "\xED\xA0\x80"},
        NamedText{"LastSurrogate", "\xED\xBF\xBF"}, NamedText{"UFFFE", "\xEF\xBF\xBE"},
        NamedText{"UFFFF", "\xEF\xBF\xBF"}, NamedText{"BeyondU10FFFF", "\xF4\x90\x80\x80"},
        NamedText{"LeadF5", "\xF5\x80\x80\x80"}, NamedText{"FiveBytes", "\xF8\x88\x80\x80\x80"},
        NamedText{"FF", "\xFF"}, NamedText{"FE", "\xFE"}, NamedText{"CutOfTwo", "\xC3"},
        NamedText{"CutOfThree", "\xE2\x82"}, NamedText{"CutOfFour", "\xF0\x9F\x94"},
        NamedText{"BrokenSecondOfTwo", "\xC3(z"}, NamedText{"BrokenSecondOfThree", "\xE2(\xAC"},
        NamedText{"BrokenThirdOfThree", "\xE2\x82("}, NamedText{"BrokenThirdOfFour", "\xF0\x9F(\x92"},
        NamedText{"BrokenFourthOfFour", "\xF0\x9F\x94("}, NamedText{"LeadAsThird", "\xE2\x82\xC3\xA4"},
        NamedText{"LeadAsSecondOfThree", "\xEE\xC0\x80"},
        NamedText{"LeadAsSecondOfFour", "\xF1\xC0\x80\x80"}),
    nameOf);

TEST_P(TextThatXmlCarries, ComesBackAsItWent)
{
    const std::string& text = GetParam().text;
    for (const bool pretty : {false, true}) {
        CArrayParser sent;
        sent.setPrettyPrint(pretty);
        sent.setCommand("c" + text);
        addScalar(sent, text, text, Type::string);
        addScalar(sent, "as integer", text, Type::integer);
        auto structure = std::make_unique<CParser>();
        structure->addArrayMember("array", {text, "", text}, Type::string, false);
        sent.addElement(structure.release());

        CArrayParser received;
        ASSERT_EQ(0, parseText(received, textOf(sent)));
        EXPECT_EQ((Structures{{{text, {text}}}, {{"as integer", {text}}}, {{"array", {text, "", text}}}}),
                  structuresOf(received));
        received.setPrettyPrint(pretty);
        EXPECT_EQ(textOf(sent), textOf(received));

        CArrayParser fault;
        fault.getFault() = CFault(FaultCode::invalidAttribute, text);
        ASSERT_EQ(0, parseText(received, textOf(fault)));
        EXPECT_EQ(text, received.getFault().getString());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, TextThatXmlCarries,
    testing::Values(NamedText{"Empty", ""}, NamedText{"Space", " "}, NamedText{"OnlyWhiteSpace", " \t\n\r "},
                    NamedText{"SurroundedBySpace", "  two  "}, NamedText{"CarriageReturn", "a\rb"},
                    NamedText{"CarriageReturnLineFeed", "a\r\nb\r\n"}, NamedText{"LineFeeds", "\n\n"},
                    NamedText{"Tabs", "\t\t"}, NamedText{"Markup", "</string></value><!-- --><![CDATA[x]]>"},
                    NamedText{"CdataEnd", "]]>"}, NamedText{"ManyBrackets", "]]]]>>"},
                    NamedText{"References", "&amp;&#13;&lt;&unknown;&"}, NamedText{"Quotes", "\"'`"},
                    NamedText{"Delete", "\x7F"}, NamedText{"FirstC1", "\xC2\x80"},
                    NamedText{"TwoBytes", "\xC3\xA4\xDF\xBF"}, NamedText{"FirstOfThreeBytes", "\xE0\xA0\x80"},
                    NamedText{"BeforeSurrogates", "\xED\x9F\xBF"},
                    NamedText{"AfterSurrogates", "\xEE\x80\x80"}, NamedText{"ByteOrderMark", "\xEF\xBB\xBF"},
                    NamedText{"UFFFD", "\xEF\xBF\xBD"}, NamedText{"FirstOfFourBytes", "\xF0\x90\x80\x80"},
                    NamedText{"U40000", "\xF1\x80\x80\x80"}, NamedText{"UFFFFD", "\xF3\xBF\xBF\xBD"},
                    NamedText{"U1FFFE", "\xF0\x9F\xBF\xBE"}, NamedText{"U10FFFF", "\xF4\x8F\xBF\xBF"},
                    NamedText{"Shell", "$(rm -rf /); `x` | y > z"}),
    nameOf);

TEST(MessageText, ComesBackAsItWentAtEveryPlaceOfAPacket)
{
    // So that each character is once cut by the end of a packet.
    const std::string character = "\xF0\x9F\x94\x92&\r]]>";
    for (std::size_t before = 8000; before < 8192; ++before) {
        const std::string text = std::string(before, 'x') + character;
        CArrayParser sent;
        addScalar(sent, "m", text, Type::string);
        CArrayParser received;
        ASSERT_EQ(0, parseText(received, textOf(sent))) << before;
        ASSERT_EQ((Structures{{{"m", {text}}}}), structuresOf(received)) << before;
    }
}

TEST(MessageText, IsRefusedForATypeThatIsNone)
{
    for (const int type : {-1, 7, 1000}) {
        CArrayParser message;
        addScalar(message, "m", "1", static_cast<Type>(type));
        EXPECT_EQ("<refused>", textOf(message)) << type;
    }
}

TEST(MessageText, CanBeWrittenAgainAfterARefusal)
{
    CArrayParser message;
    addScalar(message, "m", "\x01", Type::string);
    std::ostringstream stream;
    COStream out(stream);
    EXPECT_NE(0, message.serialize(out));
    CArrayParser other;
    EXPECT_EQ(0, other.serialize(out));
    EXPECT_EQ(DECLARATION + answerOf(""), stream.str());
}
