// Members, structures, faults and arrays as values in memory.

#include "Exceptions.h"
#include "parser_support.h"

#include <gtest/gtest.h>

using namespace tests;

TEST(MessageMember, OfAScalarHasOneValue)
{
    CParser structure;
    structure.addMember("name", "value", Type::string, false);
    const CMember& member = structure.getNextMember();
    EXPECT_EQ("name", member.getName());
    EXPECT_EQ("value", member.getValue());
    EXPECT_EQ(Values({"value"}), member.getValues());
}

TEST(MessageMember, OfAScalarMayBeMadeOfAListOfItsOneValue)
{
    const CMember member("name", Type::string, Values({"value"}), false, false);
    EXPECT_EQ("value", member.getValue());
    EXPECT_EQ(Values({"value"}), member.getValues());
    const CMember empty("name", Type::string, Values(), false, false);
    EXPECT_EQ("", empty.getValue());
    EXPECT_EQ(Values({""}), empty.getValues());
}

TEST(MessageMember, OfAnArrayHasItsValuesInOrderAndTheFirstAsItsValue)
{
    CParser structure;
    structure.addArrayMember("ids", {"3", "1", "2"}, Type::integer, false);
    const CMember& member = structure.getNextMember();
    EXPECT_EQ("3", member.getValue());
    EXPECT_EQ(Values({"3", "1", "2"}), member.getValues());
}

TEST(MessageMember, OfAnEmptyArrayHasAnEmptyValue)
{
    CParser structure;
    structure.addArrayMember("ids", {}, Type::integer, false);
    const CMember& member = structure.getNextMember();
    EXPECT_EQ("", member.getValue());
    EXPECT_EQ(Values(), member.getValues());
}

TEST(MessageStructure, GivesItsMembersInTheOrderOfAddingAndThenThrows)
{
    CParser structure;
    structure.addMember("b", "1", Type::integer, false);
    structure.addArrayMember("a", {"2"}, Type::integer, true);
    structure.addMember("b", "3", Type::integer, false);
    EXPECT_EQ("b", structure.getNextMember().getName());
    EXPECT_EQ("a", structure.getNextMember().getName());
    EXPECT_EQ("3", structure.getNextMember().getValue());
    EXPECT_EQ("No more member", textThrownBy<std::out_of_range>([&] { structure.getNextMember(); }));
    EXPECT_EQ("No more member", textThrownBy<std::out_of_range>([&] { structure.getNextMember(); }));
}

TEST(MessageStructure, TellsWhetherAMemberIsLeft)
{
    CParser structure;
    EXPECT_FALSE(structure.hasNextMember());
    structure.addMember("a", "1", Type::integer, false);
    EXPECT_TRUE(structure.hasNextMember());
    structure.getNextMember();
    EXPECT_FALSE(structure.hasNextMember());
    structure.positionToFirstMember();
    EXPECT_TRUE(structure.hasNextMember());
}

TEST(MessageStructure, WithoutMembersThrowsAtOnce)
{
    CParser structure;
    EXPECT_EQ("No more member", textThrownBy<std::out_of_range>([&] { structure.getNextMember(); }));
}

TEST(MessageStructure, StartsOverWhenPositionedToItsFirstMember)
{
    CParser structure;
    structure.addMember("a", "1", Type::integer, false);
    structure.addMember("b", "2", Type::integer, false);
    structure.getNextMember();
    structure.getNextMember();
    structure.positionToFirstMember();
    EXPECT_EQ("a", structure.getNextMember().getName());
}

TEST(MessageStructure, GivesAMemberThatWasAddedAfterItsEndWasReached)
{
    CParser structure;
    EXPECT_THROW(structure.getNextMember(), std::out_of_range);
    structure.addMember("late", "1", Type::integer, false);
    EXPECT_EQ("late", structure.getNextMember().getName());
}

TEST(MessageFault, IsNoFaultAtFirst)
{
    const CFault fault;
    EXPECT_EQ(0, fault.getCode());
    EXPECT_EQ("", fault.getString());
}

TEST(MessageFault, KeepsItsCodeAndText)
{
    const CFault fault(FaultCode::syntaxError, "line 3");
    EXPECT_EQ(6, fault.getCode());
    EXPECT_EQ("line 3", fault.getString());
}

TEST(MessageEnumerations, HaveTheNumbersOfTheInterface)
{
    EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4, 5, 6}),
              (std::vector<int>{Type::none, Type::string, Type::boolean, Type::integer, Type::flowtingPoint,
                                Type::dateTime, Type::base64}));
    EXPECT_EQ(
        (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}),
        (std::vector<int>{FaultCode::ok, FaultCode::unsupportedOperation, FaultCode::operationNotAvailable,
                          FaultCode::invalidAttribute, FaultCode::invalidAttributeValue,
                          FaultCode::conflictingAttributes, FaultCode::syntaxError, FaultCode::otherError}));
}

TEST(MessageArray, HasNothingAtFirst)
{
    CArrayParser message;
    EXPECT_TRUE(message.getElements().empty());
    EXPECT_EQ(0, message.getFault().getCode());
}

TEST(MessageArray, GivesTheVeryStructuresThatWereAdded)
{
    CArrayParser message;
    addScalar(message, "a", "1", Type::integer);
    addScalar(message, "b", "2", Type::integer);
    ASSERT_EQ(2U, message.getElements().size());
    message.getElements()[1]->addMember("c", "3", Type::integer, false);
    EXPECT_EQ((Structures{{{"a", {"1"}}}, {{"b", {"2"}}, {"c", {"3"}}}}), structuresOf(message));
}

TEST(MessageArray, RefusesNoStructure)
{
    CArrayParser message;
    EXPECT_EQ("CArrayParser: no structure",
              textThrownBy<std::invalid_argument>([&] { message.addElement(nullptr); }));
    EXPECT_TRUE(message.getElements().empty());
}
