// Comparison of the kernel's modules before and after.

#include "KernelModules.h"

#include "FileText.h"
#include "Module.h"
#include "Utility.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <sys/stat.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

constexpr std::size_t LARGEST_LISTING = 4194304;

// The name under which the kernel lists a module: it does not tell '-' from '_'.
std::string listedName(const std::string& path)
{
    const std::string file = path.substr(path.rfind('/') + 1);
    std::string name = file.substr(0, file.find('.'));
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

} // namespace

KernelModules::KernelModules(const std::list<Configuration::Module>& modules, const std::string& listing)
    : modules_(modules)
    , listing_(listing)
    , before_(loaded_())
{}

void KernelModules::removeAdded() const
{
    const std::set<std::string> now = loaded_();
    for (auto module = modules_.rbegin(); module != modules_.rend(); ++module) {
        const std::string name = listedName(module->path);
        if (now.count(name) == 0 || before_.count(name) != 0)
            continue;
        try {
            server::createModule(module->path)->remove(module->removeOption);
        } catch (const std::exception&) {
            // The failure that made the start go back is what the client is told; the other modules are still
            // tried.
            continue;
        }
    }
}

std::set<std::string> KernelModules::loaded_() const
{
    std::set<std::string> names;
    struct stat status = {};
    if (stat(listing_.c_str(), &status) != 0 && errno == ENOENT) // a kernel without modules
        return names;
    for (const std::string& line : common::split(programs::readFile(listing_, LARGEST_LISTING), '\n'))
        names.insert(line.substr(0, line.find(' ')));
    return names;
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
