// The order of virtual operations: a program built against an earlier library calls them by their place.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <fstream>
#include <iterator>
#include <link.h>
#include <map>
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

// What an object's file holds from a place on, as many as there are.
template <class Record>
const Record* at(const std::string& file, std::size_t place)
{
    return reinterpret_cast<const Record*>(file.data() + place);
}

std::string contentOf(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

using NamesByAddress = std::multimap<std::uintptr_t, std::string>;

// All names that an object exports. dladdr knows one for each address, but a compiler may make one function of several that
// do the same.
NamesByAddress namesIn(const Dl_info& object)
{
    const std::string file = contentOf(object.dli_fname);
    const auto* const header = at<ElfW(Ehdr)>(file, 0);
    const auto* const sections = at<ElfW(Shdr)>(file, header->e_shoff);
    NamesByAddress names;
    for (std::size_t number = 0; number < header->e_shnum; ++number) {
        const ElfW(Shdr)& section = sections[number];
        if (section.sh_type != SHT_DYNSYM)
            continue;
        const auto* const symbols = at<ElfW(Sym)>(file, section.sh_offset);
        const char* const texts = at<char>(file, sections[section.sh_link].sh_offset);
        for (std::size_t symbol = 0; symbol < section.sh_size / sizeof *symbols; ++symbol)
            names.emplace(reinterpret_cast<std::uintptr_t>(object.dli_fbase) + symbols[symbol].st_value,
                          shortened(demangled(texts + symbols[symbol].st_name)));
    }
    return names;
}

// The name of what is at an address: the expected one if that is among its names. Destructors that nobody wrote are made anew
// by each program that uses them, so that a library need not export the name of its own.
std::string nameOf(const void* address, const std::string& expected)
{
    static std::map<std::string, NamesByAddress> objects;
    Dl_info target = {};
    if (dladdr(address, &target) == 0 || target.dli_sname == nullptr)
        return expected.find("::~") != std::string::npos ? expected : "unknown";
    std::string name = shortened(demangled(target.dli_sname));
    if (name == expected)
        return name;
    auto names = objects.find(target.dli_fname);
    if (names == objects.end())
        names = objects.emplace(target.dli_fname, namesIn(target)).first;
    const auto [first, last] = names->second.equal_range(reinterpret_cast<std::uintptr_t>(address));
    const bool known =
        std::any_of(first, last, [&expected](const auto& one) { return one.second == expected; });
    return known ? expected : name;
}

// The operations in the slots of a class's virtual table, the two destructors included.
std::vector<std::string> slotsOf(const std::string& room, const std::string& className,
                                 const std::vector<std::string>& expected)
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
    for (std::size_t slot = HEAD; slot < size; ++slot)
        slots.push_back(
            nameOf(entries[slot], slots.size() < expected.size() ? expected[slots.size()] : std::string()));
    return slots;
}

void expectSlots(const std::string& room, const std::string& className,
                 const std::vector<std::string>& expected)
{
    EXPECT_EQ(expected, slotsOf(room, className, expected));
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
        expectSlots("common", className, operations("common::" + className, PAYLOAD));
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
        expectSlots("common", kind, expected);
    }
}

TEST(VirtualTable, OfTheVisitor)
{
    std::vector<std::string> visits;
    for (const char* const kind :
         {"SecurityAssociation", "Proposal", "Transform", "EncryptionAlgorithm", "KeyLength", "HashAlgorithm",
          "AuthenticationMethod", "GroupDescription", "LifeType", "LifeDuration"})
        visits.push_back(std::string("visit(common::") + kind + "&)");
    expectSlots("common", "ParseVisitor", operations("common::ParseVisitor", visits));
}

TEST(VirtualTable, OfTheBuilders)
{
    for (const std::string builder : {"SecurityAssociationBuilder", "ProposalBuilder", "TransformBuilder"})
        expectSlots("common", builder,
                    operations("common::" + builder,
                               {"buildSecurityAssociation", "buildProposal", "buildTransform",
                                "buildEncryptionAlgorithm", "buildKeyLength", "buildHashAlgorithm",
                                "buildAuthenticationMethod", "buildGroupDescription", "buildLifeType",
                                "buildLifeDuration", "addProposalToSecurityAsscosiation",
                                "addTransformToProposal", "addAttributesToTransform", "getResult"}));
}

TEST(VirtualTable, OfTheCommands)
{
    for (const std::string command :
         {"ScenarioSerializer", "ScenarioDeserializer", "SecurityAssociationSerializer",
          "SecurityAssociationDeserializer", "FilterRuleSerializer", "FilterRuleDeserializer",
          "CertificateSerializer", "CertificateDeserializer", "ResultSerializer", "ResultDeserializer"})
        expectSlots("common", command, operations("common::" + command, {"execute"}));
}

TEST(VirtualTable, OfTheSettingManager)
{
    // The class is abstract, so compilers may leave the slots of its two destructors empty.
    const std::string pure = "__cxa_pure_virtual";
    const std::string owner = "common::SettingManager::";
    const std::vector<std::string> expected = {owner + "setSettingFilePath",
                                               owner + "getSettingFilePath",
                                               pure,
                                               pure,
                                               pure,
                                               pure,
                                               owner + "deleteSettingFile",
                                               pure,
                                               pure,
                                               pure};
    std::vector<std::string> withDestructors = {"", ""};
    withDestructors.insert(withDestructors.end(), expected.begin(), expected.end());
    std::vector<std::string> slots = slotsOf("common", "SettingManager", withDestructors);
    ASSERT_EQ(12U, slots.size());
    slots.erase(slots.begin(), slots.begin() + 2);
    EXPECT_EQ(expected, slots);
}

TEST(VirtualTable, OfTheHostControl)
{
    expectSlots("server", "Module", operations("server::Module", {"doInstall_", "doRemove_"}));
    expectSlots("server", "Service",
                operations("server::Service", {"doLaunch_", "doShutdown_", "doReconfig_"}));
    expectSlots("server", "ModuleService", operations("server::ModuleService", {}));
    expectSlots("server", "Proc", operations("server::Proc", {}));
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
