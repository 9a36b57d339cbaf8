// What every command has in common, stated once for all ten.

#include "MessageTest.h"

#include "PayloadBuilder.h"

#include <functional>
#include <new>

namespace tests {
namespace {

using memory_platform::state;

struct Kind {
    const char* name;
    std::function<std::unique_ptr<Command>()> make;
    const char* firstNumber = nullptr; // the member that a deserializer reads first and as a number
};

PayloadPtr association()
{
    return createSecurityAssociation(EncryptionAlgorithm::AES, 128, HashAlgorithm::SHA1, LifeType::SECOND,
                                     60);
}

std::unique_ptr<Command> makeAssociationSerializer()
{
    return std::make_unique<SecurityAssociationSerializer>(association(), association());
}

const Kind SERIALIZERS_THAT_TRANSLATE[] = {
    {"scenario", [] { return std::make_unique<ScenarioSerializer>(ScenarioCommand::Start, "p", true, "n"); }},
    {"filter rule",
     [] {
         const FilterSet rules = {createFilterRule(FilterRule::Use, "a", "b"), createFilterRule()};
         return std::make_unique<FilterRuleSerializer>(rules, FilterSet());
     }},
    {"certificate",
     [] {
         const std::list<CertificatePtr> certificates = {createCertificate(), createCertificate()};
         return std::make_unique<CertificateSerializer>(certificates);
     }},
    {"result", [] { return std::make_unique<ResultSerializer>(ResultCommand::Failure, "why"); }},
};

const Kind DESERIALIZERS[] = {
    {"scenario", [] { return std::make_unique<ScenarioDeserializer>(); }, "scenario"},
    {"security association", [] { return std::make_unique<SecurityAssociationDeserializer>(); }, "phase-id"},
    {"filter rule", [] { return std::make_unique<FilterRuleDeserializer>(); }, "filter-type"},
    {"certificate", [] { return std::make_unique<CertificateDeserializer>(); }, "cert-kind"},
    {"result", [] { return std::make_unique<ResultDeserializer>(); }, "status"},
};

class EverySerializer : public MessageTest {};
class EveryDeserializer : public MessageTest {};

TEST_F(EverySerializer, NeedsAnArrayBeforeItCreatesAnything)
{
    int created = 0;
    state().hooks.createParser = [&created] { ++created; };
    for (const Kind& kind : SERIALIZERS_THAT_TRANSLATE)
        EXPECT_EQ("ArrayParser is not set", textThrownBy<std::logic_error>([&] { kind.make()->execute(); }))
            << kind.name;
    EXPECT_EQ("ArrayParser is not set",
              textThrownBy<std::logic_error>([] { makeAssociationSerializer()->execute(); }));
    EXPECT_EQ(0, created);
}

TEST_F(EverySerializer, NeedsAnArrayEvenWithoutAnythingToWrite)
{
    EXPECT_EQ("ArrayParser is not set", textThrownBy<std::logic_error>([] {
                  FilterRuleSerializer(FilterSet(), FilterSet()).execute();
              }));
    EXPECT_EQ("ArrayParser is not set", textThrownBy<std::logic_error>([] {
                  CertificateSerializer(std::list<CertificatePtr>()).execute();
              }));
}

TEST_F(EverySerializer, ReportsAStructureThatCannotBeCreatedWhateverTheReason)
{
    for (const Kind& kind : SERIALIZERS_THAT_TRANSLATE) {
        state().hooks.createParser = throwingAt(1, std::bad_alloc());
        EXPECT_EQ("Failed to allocate CParser", textThrownBy<std::runtime_error>([&] { run(*kind.make()); }))
            << kind.name;
        state().hooks.createParser = throwingAt(1, 5);
        EXPECT_EQ("Failed to allocate CParser", textThrownBy<std::runtime_error>([&] { run(*kind.make()); }))
            << kind.name;
        EXPECT_EQ("", written()) << kind.name;
    }
}

TEST_F(EverySerializer, LetsStandardExceptionsPassWhileItFillsAStructure)
{
    for (const Kind& kind : SERIALIZERS_THAT_TRANSLATE) {
        state().hooks.addMember = throwingAt(2, std::length_error("too long"));
        EXPECT_EQ("too long", textThrownBy<std::length_error>([&] { run(*kind.make()); })) << kind.name;
        // Nothing is special about out_of_range on this side.
        state().hooks.addMember = throwingAt(2, std::out_of_range("too far"));
        EXPECT_EQ("too far", textThrownBy<std::out_of_range>([&] { run(*kind.make()); })) << kind.name;
    }
}

TEST_F(EverySerializer, ReplacesAnyOtherExceptionWhileItFillsAStructure)
{
    for (const Kind& kind : SERIALIZERS_THAT_TRANSLATE) {
        state().hooks.addMember = throwingAt(2, 5);
        EXPECT_EQ("Serialize error", textThrownBy<std::runtime_error>([&] { run(*kind.make()); }))
            << kind.name;
    }
}

TEST_F(EverySerializer, LeaksNothingWhenAppendingFails)
{
    for (const Kind& kind : SERIALIZERS_THAT_TRANSLATE) {
        state().hooks.addElement = throwingAt(1, std::bad_alloc());
        EXPECT_ANY_THROW(run(*kind.make())) << kind.name;
        EXPECT_EQ(0, state().liveParsers) << kind.name;
    }
    state().hooks.addElement = throwingAt(1, std::bad_alloc());
    EXPECT_THROW(run(*makeAssociationSerializer()), std::bad_alloc);
    EXPECT_EQ(0, state().liveParsers);
}

TEST_F(EverySerializer, LetsAnExceptionOfAppendingPassOnceTheStructureIsFilled)
{
    for (const Kind& kind : SERIALIZERS_THAT_TRANSLATE) {
        if (std::string(kind.name) == "filter rule")
            continue;
        state().hooks.addElement = throwingAt(1, std::length_error("full"));
        EXPECT_EQ("full", textThrownBy<std::length_error>([&] { run(*kind.make()); })) << kind.name;
        state().hooks.addElement = throwingAt(1, 5);
        EXPECT_EQ("Serialize error", textThrownBy<std::runtime_error>([&] { run(*kind.make()); }))
            << kind.name;
    }
}

TEST_F(EverySerializer, WritesTheTableIdFirstAndNeverAnOption)
{
    const char* const beginnings[] = {"{\ntable-id 3 0\n", "{\ntable-id 3 2\n", "{\ntable-id 3 3\n",
                                      "{\ntable-id 3 4\n"};
    const char* const* beginning = beginnings;
    for (const Kind& kind : SERIALIZERS_THAT_TRANSLATE) {
        array_ = std::make_unique<CArrayParser>();
        run(*kind.make());
        EXPECT_EQ(0U, written().find(*beginning++)) << kind.name << '\n' << written();
        EXPECT_EQ(std::string::npos, written().find("(option)")) << kind.name;
    }
    array_ = std::make_unique<CArrayParser>();
    run(*makeAssociationSerializer());
    EXPECT_EQ(0U, written().find("{\ntable-id 3 1\n")) << written();
    EXPECT_EQ(std::string::npos, written().find("(option)"));
}

TEST(TableId, IsAConstantOfEachKind)
{
    EXPECT_STREQ("0", ScenarioCommand::TABLE_ID_VALUE);
    EXPECT_STREQ("1", SecurityAssociationCommand::TABLE_ID_VALUE);
    EXPECT_STREQ("2", FilterRuleCommand::TABLE_ID_VALUE);
    EXPECT_STREQ("3", CertificateCommand::TABLE_ID_VALUE);
    EXPECT_STREQ("4", ResultCommand::TABLE_ID_VALUE);
}

TEST_F(EveryDeserializer, NeedsAnArray)
{
    for (const Kind& kind : DESERIALIZERS)
        EXPECT_EQ("ArrayParser is not set", textThrownBy<std::logic_error>([&] { kind.make()->execute(); }))
            << kind.name;
}

TEST_F(EveryDeserializer, ReplacesAnExceptionThatIsNotAStandardOne)
{
    memory_platform::addTo(*array_, "{\nunknown 1 x\n}\n");
    for (const Kind& kind : DESERIALIZERS) {
        state().hooks.getNextMember = throwingAt(1, 5);
        EXPECT_EQ("Deserialize error", textThrownBy<std::runtime_error>([&] { run(*kind.make()); }))
            << kind.name;
    }
}

TEST_F(EveryDeserializer, LetsAStandardExceptionPass)
{
    memory_platform::addTo(*array_, "{\nunknown 1 x\n}\n");
    for (const Kind& kind : DESERIALIZERS) {
        state().hooks.getNextMember = throwingAt(1, std::length_error("odd"));
        EXPECT_EQ("odd", textThrownBy<std::length_error>([&] { run(*kind.make()); })) << kind.name;
    }
}

TEST_F(EveryDeserializer, LeavesAStructureOfAnotherKindAfterItsFirstMember)
{
    memory_platform::addTo(
        *array_,
        "{\ntable-id 3 9\nscenario 3 x\nphase-id 3 x\nfilter-type 3 x\ncert-kind 3 x\nstatus 3 x\n}\n");
    for (const Kind& kind : DESERIALIZERS) {
        int members = 0;
        state().hooks.getNextMember = [&members] { ++members; };
        EXPECT_NO_THROW(run(*kind.make())) << kind.name;
        EXPECT_EQ(1, members) << kind.name;
    }
}

TEST_F(EveryDeserializer, ComparesTheTableIdAsText)
{
    memory_platform::addTo(*array_, "{\ntable-id 3 00\nscenario 3 x\n}\n{\ntable-id 3 04\nstatus 3 x\n}\n");
    for (const Kind& kind : DESERIALIZERS)
        EXPECT_NO_THROW(run(*kind.make())) << kind.name;
}

TEST_F(EveryDeserializer, ReadsAStructureWithoutATableIdAsOneOfItsOwn)
{
    for (const Kind& kind : DESERIALIZERS) {
        array_ = std::make_unique<CArrayParser>();
        memory_platform::addTo(*array_, std::string("{\n") + kind.firstNumber + " 3 abc\n}\n");
        EXPECT_EQ("stoi", textThrownBy<std::invalid_argument>([&] { run(*kind.make()); })) << kind.name;
    }
}

TEST_F(EveryDeserializer, IgnoresUnknownMembersAndMatchesNamesExactly)
{
    memory_platform::addTo(*array_,
                           "{\nScenario 3 x\nPHASE-ID 3 x\nfilter-typ 3 x\ncert-kinds 3 x\nstatus2 3 x\n}\n");
    for (const Kind& kind : DESERIALIZERS)
        EXPECT_NO_THROW(run(*kind.make())) << kind.name;
}

// It may have none.
TEST_F(EveryDeserializer, AsksNoUnknownMemberForItsValue)
{
    for (const Kind& kind : DESERIALIZERS) {
        array_ = std::make_unique<CArrayParser>();
        memory_platform::addTo(*array_, std::string("{\nunknown [1]\n") + kind.firstNumber + " 3 abc\n}\n");
        EXPECT_EQ("stoi", textThrownBy<std::invalid_argument>([&] { run(*kind.make()); })) << kind.name;
    }
}

} // namespace
} // namespace tests
