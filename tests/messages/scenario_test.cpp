// The scenario message.

#include "MessageTest.h"

namespace tests {
namespace {

class ScenarioMessage : public MessageTest {};

TEST_F(ScenarioMessage, IsWrittenMemberByMember)
{
    run(ScenarioSerializer(ScenarioCommand::Restart, "/run/engine.conf", true, ""));
    EXPECT_EQ("{\n"
              "table-id 3 0\n"
              "scenario 3 3\n"
              "setting-file-path 1 /run/engine.conf\n"
              "fips-mode 3 1\n"
              "ns-name 1 \n"
              "}\n",
              written());
}

TEST_F(ScenarioMessage, CarriesEveryTypeAndAFipsModeThatIsOff)
{
    const struct {
        ScenarioCommand::Type type;
        const char* number;
    } rows[] = {{ScenarioCommand::None, "0"},
                {ScenarioCommand::Start, "1"},
                {ScenarioCommand::Shutdown, "2"},
                {ScenarioCommand::Restart, "3"}};
    for (const auto& row : rows) {
        array_ = std::make_unique<CArrayParser>();
        run(ScenarioSerializer(row.type, "p", false, "red"));
        EXPECT_EQ(std::string("{\ntable-id 3 0\nscenario 3 ") + row.number +
                      "\nsetting-file-path 1 p\nfips-mode 3 0\nns-name 1 red\n}\n",
                  written());
    }
}

TEST_F(ScenarioMessage, LeavesNothingInTheArrayWhenWritingFails)
{
    for (int member = 1; member <= 5; ++member) {
        memory_platform::state().hooks.addMember = throwingAt(member, std::runtime_error("full"));
        EXPECT_THROW(run(ScenarioSerializer(ScenarioCommand::Start, "p", true, "n")), std::runtime_error);
        EXPECT_EQ("", written());
        EXPECT_EQ(0, memory_platform::state().liveParsers);
    }
}

TEST_F(ScenarioMessage, ReadsWhatWasWritten)
{
    run(ScenarioSerializer(ScenarioCommand::Restart, "/run/engine.conf", true, "red"));
    ScenarioDeserializer scenario;
    run(scenario);
    EXPECT_EQ(ScenarioCommand::Restart, scenario.getType());
    EXPECT_EQ("/run/engine.conf", scenario.getSettingFilePath());
    EXPECT_TRUE(scenario.getFipsMode());
    EXPECT_EQ("red", scenario.getNsName());
}

TEST_F(ScenarioMessage, KeepsItsDefaultsWithoutAScenario)
{
    for (const char* const text : {"", "{\ntable-id 3 1\nscenario 3 1\nfips-mode 3 1\nns-name 1 n\n}\n"}) {
        array_ = std::make_unique<CArrayParser>();
        const auto scenario = read<ScenarioDeserializer>(text);
        EXPECT_EQ(ScenarioCommand::None, scenario.getType());
        EXPECT_EQ("", scenario.getSettingFilePath());
        EXPECT_FALSE(scenario.getFipsMode());
        EXPECT_EQ("", scenario.getNsName());
    }
}

TEST_F(ScenarioMessage, ReadsAnyNumberButZeroAsFipsModeOn)
{
    const struct {
        const char* number;
        bool mode;
    } rows[] = {{"0", false}, {"1", true}, {"2", true}, {"-1", true}, {"00", false}, {" 7", true}};
    for (const auto& row : rows) {
        array_ = std::make_unique<CArrayParser>();
        const auto scenario =
            read<ScenarioDeserializer>(std::string("{\ntable-id 3 0\nfips-mode 3 ") + row.number + "\n}\n");
        EXPECT_EQ(row.mode, scenario.getFipsMode()) << row.number;
    }
}

TEST_F(ScenarioMessage, StoresATypeOutsideTheEnumerationAsItIs)
{
    EXPECT_EQ(7, read<ScenarioDeserializer>("{\ntable-id 3 0\nscenario 3 7\n}\n").getType());
    array_ = std::make_unique<CArrayParser>();
    EXPECT_EQ(-2, read<ScenarioDeserializer>("{\ntable-id 3 0\nscenario 3 -2\n}\n").getType());
}

TEST_F(ScenarioMessage, TakesTheLastOfSeveralMemberByMember)
{
    const auto scenario = read<ScenarioDeserializer>(
        "{\ntable-id 3 0\nscenario 3 1\nsetting-file-path 1 first\nns-name 1 red\n}\n"
        "{\ntable-id 3 0\nscenario 3 3\nsetting-file-path 1 second\n}\n");
    EXPECT_EQ(ScenarioCommand::Restart, scenario.getType());
    EXPECT_EQ("second", scenario.getSettingFilePath());
    EXPECT_EQ("red", scenario.getNsName());
}

TEST_F(ScenarioMessage, RefusesANumberThatIsNoneAndKeepsWhatItRead)
{
    memory_platform::addTo(*array_, "{\ntable-id 3 0\nsetting-file-path 1 p\nscenario 3 x\nns-name 1 n\n}\n");
    ScenarioDeserializer scenario;
    EXPECT_EQ("stoi", textThrownBy<std::invalid_argument>([&] { run(scenario); }));
    EXPECT_EQ("p", scenario.getSettingFilePath());
    EXPECT_EQ("", scenario.getNsName());
}

TEST_F(ScenarioMessage, EndsTheStructureQuietlyAtANumberThatDoesNotFitAnInt)
{
    const auto scenario =
        read<ScenarioDeserializer>("{\ntable-id 3 0\nscenario 3 99999999999\nsetting-file-path 1 "
                                   "lost\n}\n{\ntable-id 3 0\nns-name 1 next\n}\n");
    EXPECT_EQ(ScenarioCommand::None, scenario.getType());
    EXPECT_EQ("", scenario.getSettingFilePath());
    EXPECT_EQ("next", scenario.getNsName());
}

} // namespace
} // namespace tests
