// The order of virtual operations: a program built against an earlier library calls them by their place.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <memory>
#include <string>
#include <vector>

#include "ModuleService.h"
#include "ObjectXMLMapping.h"
#include "PayloadBuilder.h"
#include "Proc.h"
#include "SettingManager.h"

namespace tests {
namespace {

const std::string PREFIX = "norvale::tamber::systemdata::ipseccfg::";

std::string demangled(const char* symbol)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(symbol, nullptr, nullptr, &status), &std::free);
    return status == 0 ? name.get() : symbol;
}

// "common::Payload::accept" of "norvale::...::common::Payload::accept(norvale::...::PayloadVisitor&)"; the
// arguments of overloaded operations are kept without their namespaces.
std::string shortened(std::string name)
{
    for (std::size_t at = name.find(PREFIX); at != std::string::npos; at = name.find(PREFIX))
        name.erase(at, PREFIX.size());
    const std::string abiTag = "[abi:cxx11]";
    if (const std::size_t at = name.find(abiTag); at != std::string::npos)
        name.erase(at, abiTag.size());
    const bool overloaded = name.find("::visit(") != std::string::npos;
    return overloaded ? name : name.substr(0, name.find('('));
}

std::string mangledVirtualTable(const std::string& room, const std::string& className)
{
    return "_ZTVN7norvale6tamber10systemdata8ipseccfg" + std::to_string(room.size()) + room +
           std::to_string(className.size()) + className + "E";
}

// The operations in the slots of a class's virtual table, the two destructors included.
std::vector<std::string> slotsOf(const std::string& room, const std::string& className)
{
    void* const table = dlsym(RTLD_DEFAULT, mangledVirtualTable(room, className).c_str());
    if (table == nullptr)
        return {"no virtual table"};
    Dl_info info = {};
    const ElfW(Sym)* symbol = nullptr;
    if (dladdr1(table, &info, reinterpret_cast<void**>(const_cast<ElfW(Sym)**>(&symbol)), RTLD_DL_SYMENT) ==
        0)
        return {"no symbol"};

    constexpr std::size_t HEAD = 2; // offset to top, type information
    const std::size_t size = symbol->st_size / sizeof(void*);
    void* const* const entries = static_cast<void* const*>(table);
    std::vector<std::string> slots;
    for (std::size_t slot = HEAD; slot < size; ++slot) {
        Dl_info target = {};
        const bool known = dladdr(entries[slot], &target) != 0 && target.dli_sname != nullptr;
        slots.push_back(known ? shortened(demangled(target.dli_sname)) : "unknown");
    }
    return slots;
}

std::vector<std::string> operations(const std::string& owner, const std::vector<std::string>& names)
{
    const std::string className = owner.substr(owner.rfind(':') + 1);
    std::vector<std::string> all = {owner + "::~" + className, owner + "::~" + className};
    for (const std::string& name : names)
        all.push_back(owner + "::" + name);
    return all;
}

const std::vector<std::string> PAYLOAD = {
    "accept", "add", "remove", "getChildren", "getChild", "getNumberOfChildren", "to_string"};

TEST(VirtualTable, OfTheComposites)
{
    for (const std::string className : {"SecurityAssociation", "Proposal", "Transform"})
        EXPECT_EQ(operations("common::" + className, PAYLOAD), slotsOf("common", className));
}

TEST(VirtualTable, OfTheAttributes)
{
    for (const std::string kind : {"EncryptionAlgorithm", "KeyLength", "HashAlgorithm",
                                   "AuthenticationMethod", "GroupDescription", "LifeType", "LifeDuration"}) {
        const std::string own = "common::" + kind;
        const std::vector<std::string> expected = {own + "::~" + kind,
                                                   own + "::~" + kind,
                                                   own + "::accept",
                                                   "common::Attribute::add",
                                                   "common::Attribute::remove",
                                                   "common::Attribute::getChildren",
                                                   "common::Attribute::getChild",
                                                   "common::Attribute::getNumberOfChildren",
                                                   own + "::to_string"};
        EXPECT_EQ(expected, slotsOf("common", kind));
    }
}

TEST(VirtualTable, OfTheVisitor)
{
    std::vector<std::string> visits;
    for (const char* const kind :
         {"SecurityAssociation", "Proposal", "Transform", "EncryptionAlgorithm", "KeyLength", "HashAlgorithm",
          "AuthenticationMethod", "GroupDescription", "LifeType", "LifeDuration"})
        visits.push_back(std::string("visit(common::") + kind + "&)");
    EXPECT_EQ(operations("common::ParseVisitor", visits), slotsOf("common", "ParseVisitor"));
}

TEST(VirtualTable, OfTheBuilders)
{
    for (const std::string builder : {"SecurityAssociationBuilder", "ProposalBuilder", "TransformBuilder"})
        EXPECT_EQ(operations("common::" + builder,
                             {"buildSecurityAssociation", "buildProposal", "buildTransform",
                              "buildEncryptionAlgorithm", "buildKeyLength", "buildHashAlgorithm",
                              "buildAuthenticationMethod", "buildGroupDescription", "buildLifeType",
                              "buildLifeDuration", "addProposalToSecurityAsscosiation",
                              "addTransformToProposal", "addAttributesToTransform", "getResult"}),
                  slotsOf("common", builder));
}

TEST(VirtualTable, OfTheCommands)
{
    for (const std::string command :
         {"ScenarioSerializer", "ScenarioDeserializer", "SecurityAssociationSerializer",
          "SecurityAssociationDeserializer", "FilterRuleSerializer", "FilterRuleDeserializer",
          "CertificateSerializer", "CertificateDeserializer", "ResultSerializer", "ResultDeserializer"})
        EXPECT_EQ(operations("common::" + command, {"execute"}), slotsOf("common", command));
}

TEST(VirtualTable, OfTheSettingManager)
{
    // The class is abstract, so compilers may leave the slots of its two destructors empty.
    std::vector<std::string> slots = slotsOf("common", "SettingManager");
    ASSERT_EQ(12U, slots.size());
    slots.erase(slots.begin(), slots.begin() + 2);
    const std::string pure = "__cxa_pure_virtual";
    const std::string owner = "common::SettingManager::";
    EXPECT_EQ((std::vector<std::string>{owner + "setSettingFilePath", owner + "getSettingFilePath", pure,
                                        pure, pure, pure, owner + "deleteSettingFile", pure, pure, pure}),
              slots);
}

TEST(VirtualTable, OfTheHostControl)
{
    EXPECT_EQ(operations("server::Module", {"doInstall_", "doRemove_"}), slotsOf("server", "Module"));
    EXPECT_EQ(operations("server::Service", {"doLaunch_", "doShutdown_", "doReconfig_"}),
              slotsOf("server", "Service"));
    EXPECT_EQ(operations("server::ModuleService", {}), slotsOf("server", "ModuleService"));
    EXPECT_EQ(operations("server::Proc", {}), slotsOf("server", "Proc"));
}

// The pure operations of SettingManager show no name in its own table; a caller's code shows their places.
class PlacedManager : public norvale::tamber::systemdata::ipseccfg::common::SettingManager {
public:
    void getCommand(bool, std::string&, std::string&) override { called = "getCommand"; }
    void getModuleCommand(bool, std::list<std::string>&, std::list<std::string>&) override
    {
        called = "getModuleCommand";
    }
    void getPidFilePath(bool, std::string&) override { called = "getPidFilePath"; }
    void
    writeSettingFile(const norvale::tamber::systemdata::ipseccfg::common::IPsecPolicy&,
                     const norvale::tamber::systemdata::ipseccfg::common::FilterSet&,
                     const std::list<norvale::tamber::systemdata::ipseccfg::common::CertificatePtr>&) override
    {
        called = "writeSettingFile";
    }
    void getWatchdCommand(std::string&, std::string&) override { called = "getWatchdCommand"; }
    void getWatchdPidFilePath(std::string&) override { called = "getWatchdPidFilePath"; }
    void getNetConfCommand(std::string&, std::string&) override { called = "getNetConfCommand"; }

    std::string called;
};

// Calls the operation in a slot as generated code would. The arguments are references, or a bool and
// references, which no operation of PlacedManager looks at.
void callSlot(PlacedManager& manager, std::size_t slot)
{
    using Operation = void (*)(void*, const void*, const void*, const void*);
    void** const table = *reinterpret_cast<void***>(&manager);
    const auto operation = reinterpret_cast<Operation>(table[slot]);
    operation(&manager, nullptr, nullptr, nullptr);
}

TEST(VirtualTable, PlacesThePureOperationsOfTheSettingManager)
{
    const struct {
        std::size_t slot;
        const char* operation;
    } rows[] = {{4, "getCommand"},        {5, "getModuleCommand"}, {6, "getPidFilePath"},
                {7, "writeSettingFile"},  {9, "getWatchdCommand"}, {10, "getWatchdPidFilePath"},
                {11, "getNetConfCommand"}};
    for (const auto& row : rows) {
        PlacedManager manager;
        callSlot(manager, row.slot);
        EXPECT_EQ(row.operation, manager.called);
    }
}

} // namespace
} // namespace tests
