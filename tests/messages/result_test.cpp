// The result message.

#include "MessageTest.h"

namespace tests {
namespace {

class ResultMessage : public MessageTest {};

TEST_F(ResultMessage, IsOneStructureWithStatusAndDetail)
{
    run(ResultSerializer(ResultCommand::Failure, "Can't start service"));
    EXPECT_EQ("{\ntable-id 3 4\nstatus 3 1\ndetail 1 Can't start service\n}\n", written());
}

TEST_F(ResultMessage, AppendsAnotherStructureEachTime)
{
    ResultSerializer result(ResultCommand::Success, "");
    run(result);
    run(result);
    EXPECT_EQ("{\ntable-id 3 4\nstatus 3 0\ndetail 1 \n}\n{\ntable-id 3 4\nstatus 3 0\ndetail 1 \n}\n",
              written());
}

TEST_F(ResultMessage, LeavesNothingInTheArrayWhenWritingFails)
{
    memory_platform::state().hooks.addMember = throwingAt(3, 5);
    EXPECT_EQ("Serialize error", textThrownBy<std::runtime_error>(
                                     [this] { run(ResultSerializer(ResultCommand::Success, "")); }));
    EXPECT_EQ("", written());
    EXPECT_EQ(0, memory_platform::state().liveParsers);
}

TEST_F(ResultMessage, IsSuccessWithoutDetailWhenTheAnswerHoldsNoResult)
{
    for (const char* const text : {"", "{\ntable-id 3 0\nstatus 3 1\ndetail 1 of a scenario\n}\n"}) {
        array_ = std::make_unique<CArrayParser>();
        const auto result = read<ResultDeserializer>(text);
        EXPECT_EQ(ResultCommand::Success, result.getStatus());
        EXPECT_EQ("", result.getDetail());
    }
}

TEST_F(ResultMessage, TakesTheLastOfSeveralMemberByMember)
{
    const auto result = read<ResultDeserializer>(
        "{\ntable-id 3 4\nstatus 3 0\ndetail 1 first\n}\n{\ntable-id 3 4\nstatus 3 1\n}\n");
    EXPECT_EQ(ResultCommand::Failure, result.getStatus());
    EXPECT_EQ("first", result.getDetail());
}

TEST_F(ResultMessage, StoresAStatusOutsideTheEnumerationAsItIs)
{
    EXPECT_EQ(5, read<ResultDeserializer>("{\ntable-id 3 4\nstatus 3 5\n}\n").getStatus());
}

TEST_F(ResultMessage, RefusesAStatusThatIsNoNumber)
{
    EXPECT_EQ("stoi", textThrownBy<std::invalid_argument>(
                          [this] { read<ResultDeserializer>("{\ntable-id 3 4\nstatus 3 failed\n}\n"); }));
}

} // namespace
} // namespace tests
