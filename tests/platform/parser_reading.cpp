// XML-RPC text as a structured message: what other implementations send, and what is no message.

#include "parser_support.h"

#include <gtest/gtest.h>

using namespace tests;

namespace {

// The values of the only member of an answer that holds the given <value> element; {"<refused>"} if it is
// none.
Values valuesRead(const std::string& valueElement)
{
    CArrayParser message;
    if (parseText(message, answerWith(valueElement)) != 0)
        return {"<refused>"};
    return membersOf(*message.getElements().at(0)).at(0).second;
}

} // namespace

TEST(MessageReading, OfACallTakesItsCommand)
{
    CArrayParser message;
    ASSERT_EQ(0, parseText(message,
                           "<methodCall><methodName>/bin/a&amp;b</methodName><params><param><value><array>"
                           "<data/></array></value></param></params></methodCall>"));
    EXPECT_EQ(DECLARATION + "<methodCall><methodName>/bin/a&amp;b</methodName><params><param><value><array>"
                            "<data></data></array></value></param></params></methodCall>",
              textOf(message));
}

TEST(MessageReading, OfAnAnswerGivesItsStructuresInOrder)
{
    CArrayParser message;
    ASSERT_EQ(0, parseText(message, answerOf(structOf(memberOf("b", "<value><int>1</int></value>") +
                                                      memberOf("a", "<value><string>x</string></value>")) +
                                             structOf("") +
                                             structOf(memberOf("b", "<value><int>2</int></value>") +
                                                      memberOf("b", "<value><int>3</int></value>")))));
    EXPECT_EQ((Structures{{{"b", {"1"}}, {"a", {"x"}}}, {}, {{"b", {"2"}}, {"b", {"3"}}}}),
              structuresOf(message));
    EXPECT_EQ(0, message.getFault().getCode());
}

TEST(MessageReading, OfAnEmptyArrayGivesNoStructures)
{
    for (const char* data : {"<data/>", "<data></data>", "<data> \n </data>"}) {
        CArrayParser message;
        EXPECT_EQ(0, parseText(message, "<methodResponse><params><param><value><array>" + std::string(data) +
                                            "</array></value></param></params></methodResponse>"));
        EXPECT_TRUE(message.getElements().empty());
    }
}

TEST(MessageReading, AcceptsEveryFormOfAValue)
{
    const struct {
        const char* element;
        const char* text;
    } rows[] = {
        {"<value><int>5</int></value>", "5"},
        {"<value><i4>-5</i4></value>", "-5"},
        {"<value><i8>12345678901</i8></value>", "12345678901"},
        {"<value><int>abc</int></value>", "abc"},
        {"<value><int> 5 </int></value>", " 5 "},
        {"<value><string>text</string></value>", "text"},
        {"<value><string/></value>", ""},
        {"<value><string> two  words\n</string></value>", " two  words\n"},
        {"<value>untyped</value>", "untyped"},
        {"<value> untyped, with space </value>", " untyped, with space "},
        {"<value> \n </value>", " \n "},
        {"<value></value>", ""},
        {"<value/>", ""},
        {"<value><boolean>1</boolean></value>", "1"},
        {"<value><double>-1.25</double></value>", "-1.25"},
        {"<value><dateTime.iso8601>19980717T14:08:55</dateTime.iso8601></value>", "19980717T14:08:55"},
        {"<value><base64>\nZXcg\nd2U=\n</base64></value>", "\nZXcg\nd2U=\n"},
        {"<value><nil/></value>", ""},
        {"<value><nil> </nil></value>", ""},
        {"<value> <int>5</int> </value>", "5"},
        {"<value>\r\n\t<string> x </string>\r\n</value>", " x "},
        {"<value ><int >5</int ></value >", "5"},
        {"<value note='>'><int unit=\"a'b\">5</int></value>", "5"},
        {"<value><![CDATA[a]>b<!c>&d]]></value>", "a]>b<!c>&d"},
        {"<value><![CDATA[a]b]>c& d]]></value>", "a]b]>c& d"},
        {"<value><![CDATA[<int>&amp;]]></value>", "<int>&amp;"},
        {"<value><string>a<![CDATA[b]]>c<![CDATA[]]>d</string></value>", "abcd"},
        {"<value><string><![CDATA[]]]]><![CDATA[>]]></string></value>", "]]>"},
        {"<value>&lt;&gt;&amp;&quot;&apos;</value>", "<>&\"'"},
        {"<value>&#65;&#x42;&#x63;&#13;&#9;&#x20AC;&#128274;</value>", "ABc\r\t\xE2\x82\xAC\xF0\x9F\x94\x92"},
        {"<value>&#0000000000000000000000065;</value>", "A"},
        {"<value>a\r\nb\rc</value>", "a\nb\nc"},
        {"<value>a<!-- > and <int> and - and -> -->b</value>", "ab"},
        {"<value><!----><int>5</int></value>", "5"},
        {"<value>a<?target > ' ?? ?>b</value>", "ab"},
        {"<value><?t?>a</value>", "a"},
        {"<value>one>two ] ]] > \"'</value>", "one>two ] ]] > \"'"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Values{row.text}, valuesRead(row.element)) << row.element;
}

TEST(MessageReading, KeepsTheTypeOfEveryValue)
{
    const struct {
        const char* read;
        const char* written;
    } rows[] = {
        {"<value><i4>5</i4></value>", "<value><int>5</int></value>"},
        {"<value><i8>5</i8></value>", "<value><int>5</int></value>"},
        {"<value>5</value>", "<value><string>5</string></value>"},
        {"<value><string>5</string></value>", "<value><string>5</string></value>"},
        {"<value><boolean>0</boolean></value>", "<value><boolean>0</boolean></value>"},
        {"<value><double>5</double></value>", "<value><double>5</double></value>"},
        {"<value><dateTime.iso8601>5</dateTime.iso8601></value>",
         "<value><dateTime.iso8601>5</dateTime.iso8601></value>"},
        {"<value><base64>5</base64></value>", "<value><base64>5</base64></value>"},
        {"<value><nil/></value>", "<value><nil/></value>"},
    };
    for (const auto& row : rows) {
        CArrayParser message;
        ASSERT_EQ(0, parseText(message, answerWith(row.read)));
        EXPECT_EQ(DECLARATION + answerWith(row.written), textOf(message));
        const auto inArray = [](const std::string& value) {
            return "<value><array><data>" + value + "</data></array></value>";
        };
        ASSERT_EQ(0, parseText(message, answerWith(inArray(row.read))));
        EXPECT_EQ(DECLARATION + answerWith(inArray(row.written)), textOf(message));
    }
}

TEST(MessageReading, AcceptsArrayMembers)
{
    EXPECT_EQ(Values({"1", " x ", "", "y"}),
              valuesRead("<value> <array> <data> <value><int>1</int></value>\n<value> x </value><value/>"
                         "<value> <string>y</string> </value> </data> </array> </value>"));
    EXPECT_EQ(Values(), valuesRead("<value><array><data/></array></value>"));
}

TEST(MessageReading, GivesAnArrayOfSeveralTypesTheFirstOne)
{
    CArrayParser message;
    ASSERT_EQ(0, parseText(message, answerWith("<value><array><data><value><int>1</int></value>"
                                               "<value><string>x</string></value></data></array></value>")));
    EXPECT_NE(std::string::npos,
              textOf(message).find("<value><int>1</int></value><value><int>x</int></value>"));
}

TEST(MessageReading, DoesNotCarryAnythingFromOneMemberToTheNext)
{
    CArrayParser message;
    ASSERT_EQ(0, parseText(message,
                           answerOf(structOf(memberOf("a", "<value><array><data><value><int>1</int></value>"
                                                           "</data></array></value>") +
                                             memberOf("", "<value/>") +
                                             memberOf("b", "<value><array><data/></array></value>") +
                                             memberOf("c", "<value><nil/></value>")))));
    EXPECT_EQ((Structures{{{"a", {"1"}}, {"", {""}}, {"b", {}}, {"c", {""}}}}), structuresOf(message));
    EXPECT_NE(std::string::npos, textOf(message).find("<name>c</name><value><nil/></value>"));
}

TEST(MessageReading, KeepsTheTextOfANameAsItIs)
{
    CArrayParser message;
    ASSERT_EQ(0,
              parseText(message, answerOf(structOf(memberOf(" a&lt;<![CDATA[&]]>\xC3\xA4 ", "<value/>")))));
    EXPECT_EQ((Structures{{{" a<&\xC3\xA4 ", {""}}}}), structuresOf(message));
}

TEST(MessageReading, AcceptsWhiteSpaceCommentsAndInstructionsBetweenAnyTwoElements)
{
    const std::string gaps[] = {
        " ", "\r\n", "\t", "\n\n   ", "<!-- a comment -->", "<?an instruction?>", " <!--x--> <?y z?> "};
    for (const std::string& gap : gaps) {
        std::string text;
        for (const char* tag : {"<methodCall>",   "<methodName>go</methodName>",
                                "<params>",       "<param>",
                                "<value>",        "<array>",
                                "<data>",         "<value>",
                                "<struct>",       "<member>",
                                "<name>m</name>", "<value>",
                                "<array>",        "<data>",
                                "<value>",        "<int>5</int>",
                                "</value>",       "</data>",
                                "</array>",       "</value>",
                                "</member>",      "</struct>",
                                "</value>",       "</data>",
                                "</array>",       "</value>",
                                "</param>",       "</params>",
                                "</methodCall>"})
            text += gap + tag;
        CArrayParser message;
        ASSERT_EQ(0, parseText(message, text)) << text;
        EXPECT_EQ((Structures{{{"m", {"5"}}}}), structuresOf(message));
    }
}

TEST(MessageReading, AcceptsADocumentsProlog)
{
    const std::string prologs[] = {
        "<?xml version=\"1.0\"?>",
        "<?xml version='1.0' encoding='utf-8'?>\n",
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<!-- c -->\n<?pi?>\n",
        "\xEF\xBB\xBF",
        "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>",
        "\r\n\t <?xml version=\"1.0\"?>",
    };
    for (const std::string& prolog : prologs) {
        CArrayParser message;
        EXPECT_EQ(0, parseText(message, prolog + answerWith("<value>\xC3\xA4</value>"))) << prolog;
        EXPECT_EQ((Structures{{{"m", {"\xC3\xA4"}}}}), structuresOf(message)) << prolog;
    }
}

TEST(MessageReading, TurnsLatinOneIntoUtf8)
{
    CArrayParser message;
    ASSERT_EQ(0, parseText(message, "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" +
                                        answerWith("<value>caf\xE9</value>")));
    EXPECT_EQ((Structures{{{"m", {"caf\xC3\xA9"}}}}), structuresOf(message));
}

TEST(MessageReading, ReplacesEverythingThatTheArrayHeld)
{
    CArrayParser message;
    message.setCommand("before");
    addScalar(message, "before", "1", Type::integer);
    message.getFault() = CFault(FaultCode::syntaxError, "before");
    ASSERT_EQ(0, parseText(message, answerWith("<value>now</value>")));
    EXPECT_EQ(DECLARATION + answerWith("<value><string>now</string></value>"), textOf(message));
    ASSERT_EQ(0, parseText(message, faultOf("")));
    EXPECT_TRUE(message.getElements().empty());
    EXPECT_EQ(7, message.getFault().getCode());
}

TEST(MessageReading, StartsAtTheFirstMemberOfAStructure)
{
    CArrayParser message;
    ASSERT_EQ(0, parseText(message, answerWith("<value>x</value>")));
    EXPECT_EQ("m", message.getElements().at(0)->getNextMember().getName());
}

TEST(MessageReading, OfAFaultGivesItsCodeAndText)
{
    CArrayParser message;
    ASSERT_EQ(
        0, parseText(message, faultOf(memberOf("faultCode", "<value><int>4</int></value>") +
                                      memberOf("faultString", "<value><string>a &lt; b</string></value>"))));
    EXPECT_EQ(4, message.getFault().getCode());
    EXPECT_EQ("a < b", message.getFault().getString());
    EXPECT_TRUE(message.getElements().empty());
}

TEST(MessageReading, OfAFaultNeverGivesTheCodeOk)
{
    const struct {
        const char* value;
        int code;
    } rows[] = {
        {"<value><int>1</int></value>", 1},
        {"<value><i4>7</i4></value>", 7},
        {"<value>3</value>", 3},
        {"<value><int>42</int></value>", 42},
        {"<value><int>-1</int></value>", -1},
        {"<value><int>-32700</int></value>", -32700},
        {"<value><int>2147483647</int></value>", 2147483647},
        {"<value><int>+4</int></value>", 4},
        {"<value><int> 4\n</int></value>", 4},
        {"<value><int>004</int></value>", 4},
        {"<value><int>0</int></value>", 7},
        {"<value><int>-0</int></value>", 7},
        {"<value><int>000</int></value>", 7},
        {"<value><int>2147483648</int></value>", 7},
        {"<value><int>4294967296</int></value>", 7},
        {"<value><int>99999999999999999999</int></value>", 7},
        {"<value><int>abc</int></value>", 7},
        {"<value><int>4x</int></value>", 7},
        {"<value><int>4.0</int></value>", 7},
        {"<value><int>+</int></value>", 7},
        {"<value><int>+-4</int></value>", 7},
        {"<value><int></int></value>", 7},
        {"<value><int> </int></value>", 7},
        {"<value/>", 7},
        {"<value><nil/></value>", 7},
        {"<value><array><data/></array></value>", 7},
    };
    for (const auto& row : rows) {
        CArrayParser message;
        ASSERT_EQ(0, parseText(message, faultOf(memberOf("faultCode", row.value)))) << row.value;
        EXPECT_EQ(row.code, message.getFault().getCode()) << row.value;
        EXPECT_EQ("", message.getFault().getString());
    }
}

TEST(MessageReading, OfAFaultWithoutACodeIsAnotherError)
{
    CArrayParser message;
    ASSERT_EQ(0, parseText(message, faultOf(memberOf("faultString", "<value>text</value>") +
                                            memberOf("more", "<value><boolean>1</boolean></value>"))));
    EXPECT_EQ(7, message.getFault().getCode());
    EXPECT_EQ("text", message.getFault().getString());
}

namespace {

class NoMessage : public testing::TestWithParam<NamedText> {};

std::string paramsOf(const std::string& value)
{
    return "<params><param>" + value + "</param></params>";
}

std::string callOf(const std::string& content)
{
    return "<methodCall>" + content + "</methodCall>";
}

std::string responseOf(const std::string& content)
{
    return "<methodResponse>" + content + "</methodResponse>";
}

const std::string EMPTY_ARRAY = "<value><array><data/></array></value>";
const std::string NAME = "<methodName>go</methodName>";

} // namespace

TEST_P(NoMessage, IsRefusedAndLeavesTheArrayAsItWas)
{
    CArrayParser message;
    message.setCommand("before");
    addScalar(message, "before", "1", Type::integer);
    const std::string before = textOf(message);
    CParser* const structure = message.getElements().at(0);

    EXPECT_NE(0, parseText(message, GetParam().text));

    EXPECT_EQ(before, textOf(message));
    EXPECT_EQ(structure, message.getElements().at(0));
    EXPECT_EQ(0, message.getFault().getCode());
}

INSTANTIATE_TEST_SUITE_P(
    Grammar, NoMessage,
    testing::Values(
        NamedText{"Nothing", ""}, NamedText{"WhiteSpace", " \n "}, NamedText{"Garbage", "hello world"},
        NamedText{"Json", "{\"a\": [1]}"}, NamedText{"OtherRoot", "<html><body/></html>"},
        NamedText{"RootInCapitals", "<METHODRESPONSE>" + paramsOf(EMPTY_ARRAY) + "</METHODRESPONSE>"},
        NamedText{"ParamsAsRoot", paramsOf(EMPTY_ARRAY)}, NamedText{"ArrayAsRoot", "<array><data/></array>"},
        NamedText{"EmptyAnswer", "<methodResponse/>"}, NamedText{"EmptyAnswerOfTwoTags", responseOf("")},
        NamedText{"EmptyCall", "<methodCall/>"}, NamedText{"CallWithoutParams", callOf(NAME)},
        NamedText{"CallWithoutName", callOf(paramsOf(EMPTY_ARRAY))},
        NamedText{"CallOfNothing", callOf("<methodName/>" + paramsOf(EMPTY_ARRAY))},
        NamedText{"CallOfTwoNames", callOf(NAME + NAME + paramsOf(EMPTY_ARRAY))},
        NamedText{"CallWithTheNameLast", callOf(paramsOf(EMPTY_ARRAY) + NAME)},
        NamedText{"CallWithAFault", callOf(NAME + "<fault>" + structOf("") + "</fault>")},
        NamedText{"ElementInTheCommand",
                  callOf("<methodName><b>go</b></methodName>" + paramsOf(EMPTY_ARRAY))},
        NamedText{"NoParam", responseOf("<params/>")},
        NamedText{"ParamWithoutValue", responseOf("<params><param/></params>")},
        NamedText{"TwoParams", responseOf("<params><param>" + EMPTY_ARRAY + "</param><param>" + EMPTY_ARRAY +
                                          "</param></params>")},
        NamedText{"TwoValuesInAParam", responseOf(paramsOf(EMPTY_ARRAY + EMPTY_ARRAY))},
        NamedText{"TwoListsOfParams", responseOf(paramsOf(EMPTY_ARRAY) + paramsOf(EMPTY_ARRAY))},
        NamedText{"ParamsAndFault",
                  responseOf(paramsOf(EMPTY_ARRAY) + "<fault>" + structOf("") + "</fault>")},
        NamedText{"FaultAndParams",
                  responseOf("<fault>" + structOf("") + "</fault>" + paramsOf(EMPTY_ARRAY))}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Values, NoMessage,
    testing::Values(
        NamedText{"StringAsParam", responseOf(paramsOf("<value><string>OK</string></value>"))},
        NamedText{"UntypedStringAsParam", responseOf(paramsOf("<value>OK</value>"))},
        NamedText{"NothingAsParam", responseOf(paramsOf("<value/>"))},
        NamedText{"NilAsParam", responseOf(paramsOf("<value><nil/></value>"))},
        NamedText{"StructureAsParam", responseOf(paramsOf(structOf("")))},
        NamedText{"ArrayWithoutData", responseOf(paramsOf("<value><array/></value>"))},
        NamedText{"ArrayOfTwoDatas", responseOf(paramsOf("<value><array><data/><data/></array></value>"))},
        NamedText{"TwoArraysInAParam",
                  responseOf(paramsOf("<value><array><data/></array><array><data/></array></value>"))},
        NamedText{"ArrayOfNumbers", answerOf("<value><int>1</int></value>")},
        NamedText{"ArrayOfStrings", answerOf("<value>x</value>")},
        NamedText{"ArrayOfEmptyValues", answerOf("<value/>")},
        NamedText{"ArrayOfArrays", answerOf(EMPTY_ARRAY)},
        NamedText{"StructureOutsideAValue", answerOf("<struct/>")},
        NamedText{"TwoStructuresInAValue", answerOf("<value><struct/><struct/></value>")},
        NamedText{"StructureThenNumber", answerOf(structOf("") + "<value><int>1</int></value>")},
        NamedText{"StructureInAStructure", answerWith(structOf(""))},
        NamedText{"StructureInAnArrayMember",
                  answerWith("<value><array><data>" + structOf("") + "</data></array></value>")},
        NamedText{"ArrayInAnArrayMember",
                  answerWith("<value><array><data>" + EMPTY_ARRAY + "</data></array></value>")},
        NamedText{"TwoTypesInAValue", answerWith("<value><int>1</int><int>2</int></value>")},
        NamedText{"ArrayAndTypeInAValue", answerWith("<value><array><data/></array><int>2</int></value>")},
        NamedText{"UnknownType", answerWith("<value><float>1</float></value>")},
        NamedText{"TypeInCapitals", answerWith("<value><INT>1</INT></value>")},
        NamedText{"ElementInAType", answerWith("<value><string><b>x</b></string></value>")},
        NamedText{"TextInNil", answerWith("<value><nil>x</nil></value>")},
        NamedText{"TextBeforeAType", answerWith("<value>x<int>1</int></value>")},
        NamedText{"TextAfterAType", answerWith("<value><int>1</int>x</value>")},
        NamedText{"TextBeforeAnArray", answerWith("<value>x<array><data/></array></value>")},
        NamedText{"TextInAnArray", answerWith("<value><array>x<data/></array></value>")},
        NamedText{"TextAfterAStructure", answerOf("<value><struct/>x</value>")},
        NamedText{"TextInTheRoot", responseOf("x" + paramsOf(EMPTY_ARRAY))},
        NamedText{"ReferencedTextInTheRoot", responseOf("&#120;" + paramsOf(EMPTY_ARRAY))},
        NamedText{"CdataInTheRoot", responseOf("<![CDATA[x]]>" + paramsOf(EMPTY_ARRAY))},
        NamedText{"EmptyElementAfterParams", responseOf(paramsOf(EMPTY_ARRAY) + "<x/>")},
        NamedText{"TextAfterParams", responseOf(paramsOf(EMPTY_ARRAY) + "x")},
        NamedText{"TextInAStructure", answerOf(structOf("x"))},
        NamedText{"NonBreakingSpaceBetweenElements", answerOf("\xC2\xA0")},
        NamedText{"MemberWithoutName", answerOf(structOf("<member><value/></member>"))},
        NamedText{"MemberWithoutValue", answerOf(structOf("<member><name>m</name></member>"))},
        NamedText{"EmptyMember", answerOf(structOf("<member/>"))},
        NamedText{"MemberWithTheValueFirst", answerOf(structOf("<member><value/><name>m</name></member>"))},
        NamedText{"MemberOfTwoNames",
                  answerOf(structOf("<member><name>a</name><name>b</name><value/></member>"))},
        NamedText{"MemberOfTwoValues", answerOf(structOf("<member><name>a</name><value/><value/></member>"))},
        NamedText{"ElementInAName", answerOf(structOf("<member><name><b/></name><value/></member>"))},
        NamedText{"MemberOutsideAStructure",
                  answerOf("<value><member><name>a</name><value/></member></value>")},
        NamedText{"ValueOutsideAMember", answerOf(structOf("<value/>"))},
        NamedText{"FaultOfAString", responseOf("<fault><value>text</value></fault>")},
        NamedText{"FaultOfAnArray", responseOf("<fault>" + EMPTY_ARRAY + "</fault>")},
        NamedText{"FaultOfNothing", responseOf("<fault/>")},
        NamedText{"FaultOfAnEmptyValue", responseOf("<fault><value/></fault>")},
        NamedText{"FaultOfTwoStructures", responseOf("<fault>" + structOf("") + structOf("") + "</fault>")}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Xml, NoMessage,
    testing::Values(
        NamedText{"WrongEndTag", answerWith("<value><int>1</i4></value>")},
        NamedText{"EndTagTooMany", "</methodResponse>"},
        NamedText{"RepeatedAttribute", answerWith("<value a='' a=''/>")},
        NamedText{"AttributeWithoutQuotes", answerWith("<value a=b/>")},
        NamedText{"LessInAnAttribute", answerWith("<value a='<'/>")},
        NamedText{"EmptyTag", answerWith("<value><></></value>")},
        NamedText{"SpaceBeforeTheTag", answerWith("< value/>")},
        NamedText{"BareAmpersand", answerWith("<value>a & b</value>")},
        NamedText{"UnknownEntity", answerWith("<value>&nbsp;</value>")},
        NamedText{"EntityInCapitals", answerWith("<value>&AMP;</value>")},
        NamedText{"UnfinishedReference", answerWith("<value>&amp</value>")},
        NamedText{"ReferenceToNul", answerWith("<value>&#0;</value>")},
        NamedText{"ReferenceToAControlCharacter", answerWith("<value>&#1;</value>")},
        NamedText{"ReferenceToASurrogate", answerWith("<value>&#xD800;</value>")},
        NamedText{"ReferenceToUFFFE", answerWith("<value>&#xFFFE;</value>")},
        NamedText{"ReferenceToUFFFF", answerWith("<value>&#65535;</value>")},
        NamedText{"ReferenceBeyondUnicode", answerWith("<value>&#x110000;</value>")},
        NamedText{"ReferenceToNothing", answerWith("<value>&#;</value>")},
        NamedText{"EmptyReference", answerWith("<value>&;</value>")},
        NamedText{"CdataEndInText", answerWith("<value>]]></value>")},
        NamedText{"DashesInAComment", answerWith("<value><!-- -- --></value>")},
        NamedText{"DashBeforeTheEndOfAComment", answerWith("<value><!-- ---></value>")},
        NamedText{"CommentOfOneDash", answerWith("<value><!-x-></value>")},
        NamedText{"InstructionWithoutTarget", answerWith("<value><? x?></value>")},
        NamedText{"DeclarationInside", answerWith("<value><?xml version='1.0'?></value>")},
        NamedText{"BrokenCdata", answerWith("<value><![CDAT[x]]></value>")},
        NamedText{"ReferenceThatIsTooLongAfterCdata",
                  answerWith("<value><![CDATA[x]]>&#" + std::string(40, '0') + "65;</value>")},
        NamedText{"CdataOutsideTheRoot", "<![CDATA[ ]]>" + answerOf("")},
        NamedText{"DeclarationAfterAComment", "<!-- --><?xml version='1.0'?>" + answerOf("")},
        NamedText{"ControlCharacter", answerWith("<value>\x01</value>")},
        NamedText{"Nul", answerWith("<value>" + std::string(1, '\0') + "</value>")},
        NamedText{"NulAtTheBeginning", std::string(1, '\0') + answerOf("")},
        NamedText{"NulInAComment", answerWith("<value><!--" + std::string(1, '\0') + "--></value>")},
        NamedText{"NulInATag", answerWith("<value a='" + std::string(1, '\0') + "'/>")},
        NamedText{"InvalidUtf8", answerWith("<value>caf\xE9</value>")},
        NamedText{"InvalidUtf8InAComment", answerWith("<value><!--\xFF--></value>")},
        NamedText{"InvalidUtf8InAName", answerOf(structOf(memberOf("\xC0\xAF", "<value/>")))},
        NamedText{"OverlongUtf8", answerWith("<value>\xE0\x80\xAF</value>")},
        NamedText{"SurrogateInUtf8", answerWith("<value>\xED\xA0\x80</value>")},
        NamedText{"UFFFEInUtf8", answerWith("<value>\xEF\xBF\xBE</value>")},
        NamedText{"BeyondUnicodeInUtf8", answerWith("<value>\xF4\x90\x80\x80</value>")},
        NamedText{"BeyondAscii",
                  "<?xml version='1.0' encoding='US-ASCII'?>" + answerWith("<value>\xC3\xA4</value>")},
        NamedText{"UnknownEncoding", "<?xml version='1.0' encoding='windows-1252'?>" + answerOf("")},
        NamedText{"WronglyDeclaredUtf16", "<?xml version='1.0' encoding='UTF-16'?>" + answerOf("")}),
    nameOf);

namespace {

std::string utf16Of(const std::string& ascii, bool bigEndian)
{
    std::string text = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char character : ascii)
        text += bigEndian ? std::string{'\0', character} : std::string{character, '\0'};
    return text;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Encoding, NoMessage,
                         testing::Values(NamedText{"Utf16BigEndian", utf16Of(answerOf(""), true)},
                                         NamedText{"Utf16LittleEndian", utf16Of(answerOf(""), false)},
                                         NamedText{"Utf16WithoutAMark",
                                                   utf16Of(answerOf(""), false).substr(2)}),
                         nameOf);

TEST(MessageReading, RefusesEveryTruncationOfAMessage)
{
    const std::string messages[] = {
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<methodCall><methodName>go</methodName>" +
            paramsOf("<value><array><data>" + structOf(memberOf("m", "<value a='b'><int>5</int></value>")) +
                     "</data></array></value>") +
            "</methodCall>",
        answerWith("<value>a&amp;b<!-- c --><![CDATA[d]]><?e f?>\xE2\x82\xAC</value>"),
        faultOf(memberOf("faultCode", "<value><int>4</int></value>")),
    };
    for (const std::string& message : messages) {
        CArrayParser whole;
        ASSERT_EQ(0, parseText(whole, message));
        for (std::size_t size = 0; size < message.size(); ++size) {
            CArrayParser cut;
            EXPECT_NE(0, parseText(cut, message.substr(0, size))) << message.substr(0, size);
            EXPECT_TRUE(cut.getElements().empty());
        }
    }
}
