// Comparison of the kernel's modules before and after, and the note about them.

#include "KernelModules.h"

#include "FileText.h"
#include "Module.h"
#include "Undo.h"
#include "Utility.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

constexpr const char* LISTING = "/proc/modules"; // a line each, the name first
constexpr std::size_t LARGEST_LISTING = 4194304;
constexpr std::size_t LONGEST_BOOT_ID = 64;
constexpr const char* NOTE = ".modules";

using Names = std::set<std::string>;

// The name under which the kernel lists a module: it does not tell '-' from '_'.
std::string listedName(const std::string& path)
{
    const std::string file = path.substr(path.rfind('/') + 1);
    std::string name = file.substr(0, file.find('.'));
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

Names loaded()
{
    Names names;
    struct stat status = {};
    if (stat(LISTING, &status) != 0 && errno == ENOENT) // a kernel without modules
        return names;
    for (const std::string& line : common::split(programs::readFile(LISTING, LARGEST_LISTING), '\n'))
        names.insert(line.substr(0, line.find(' ')));
    return names;
}

// Another one after each boot.
std::string bootId()
{
    const std::string line = programs::readFile("/proc/sys/kernel/random/boot_id", LONGEST_BOOT_ID);
    return line.substr(0, line.find('\n'));
}

// What a killed server of this boot has left in the kernel, or was about to remove from it.
Names noted(const SettingFolder& folder)
{
    const std::string note = folder.target(NOTE);
    if (note.empty())
        return {};
    const std::vector<std::string> words = common::split(note, ' ');
    if (words.front() != bootId())
        return {};
    return {std::next(words.begin()), words.end()};
}

Names loadedByOthers(const SettingFolder& folder)
{
    Names names = loaded();
    for (const std::string& name : noted(folder))
        names.erase(name);
    return names;
}

} // namespace

KernelModules::KernelModules(const std::list<Configuration::Module>& modules, const SettingFolder& folder)
    : KernelModules(modules, folder, loadedByOthers(folder))
{}

KernelModules::KernelModules(const std::list<Configuration::Module>& modules, const SettingFolder& folder,
                             const Names& others)
    : folder_(folder)
{
    std::copy_if(
        modules.begin(), modules.end(), std::back_inserter(modules_),
        [&](const Configuration::Module& module) { return others.count(listedName(module.path)) == 0; });
}

KernelModules KernelModules::ofRunningEngine(const std::list<Configuration::Module>& modules,
                                             const SettingFolder& folder)
{
    return {modules, folder, Names()};
}

bool KernelModules::areNoted(const SettingFolder& folder)
{
    return !folder.target(NOTE).empty();
}

void KernelModules::note() const noexcept
{
    dropNote();
    if (modules_.empty())
        return;
    attempt([this] {
        std::string text = bootId();
        for (const Configuration::Module& module : modules_)
            text += " " + listedName(module.path);
        symlinkat(text.c_str(), folder_.descriptor(), NOTE);
    });
}

void KernelModules::dropNote() const noexcept
{
    unlinkat(folder_.descriptor(), NOTE, 0);
}

void KernelModules::dropNoteOfRemoved() const
{
    if (present_().empty())
        dropNote();
}

void KernelModules::removeAdded() const
{
    const std::list<Configuration::Module> present = present_();
    for (auto module = present.rbegin(); module != present.rend(); ++module)
        // The failure that made the start go back is what the client is told; the other modules are still tried.
        attempt([&] { server::createModule(module->path)->remove(module->removeOption); });
    dropNoteOfRemoved();
}

std::list<Configuration::Module> KernelModules::present_() const
{
    const Names names = loaded();
    std::list<Configuration::Module> present;
    std::copy_if(
        modules_.begin(), modules_.end(), std::back_inserter(present),
        [&](const Configuration::Module& module) { return names.count(listedName(module.path)) != 0; });
    return present;
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
