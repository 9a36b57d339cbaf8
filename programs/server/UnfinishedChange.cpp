// Making and reading of the note.

#include "UnfinishedChange.h"

#include "Text.h"

#include <cerrno>
#include <stdexcept>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

constexpr const char* CHANGING = ".changing";
constexpr const char* MAKING = ".making";
constexpr const char* SUPERSEDED = ".superseded";
constexpr const char* REMOVING = ".removing";

} // namespace

UnfinishedChange::UnfinishedChange(const SettingFolder& folder)
    : folder_(folder)
{}

void UnfinishedChange::begin(const std::string& path) const
{
    end();
    try {
        const auto used = folder_.inUse();
        if (used && *used != path)
            note_(SUPERSEDED, *used);
        note_(folder_.locate(path).isThere() ? CHANGING : MAKING, path);
    } catch (...) {
        end();
        throw;
    }
}

void UnfinishedChange::beginRemoval(const std::string& path) const
{
    end();
    note_(REMOVING, path);
}

void UnfinishedChange::end() const noexcept
{
    for (const char* const name : {CHANGING, MAKING, SUPERSEDED, REMOVING})
        unlinkat(folder_.descriptor(), name, 0);
}

void UnfinishedChange::clearUp() const
{
    folder_.clearUnfinishedRecord();
    follow_(CHANGING, [this](SettingFile& file) { settle_(file, true); });
    follow_(MAKING, [this](SettingFile& file) { settle_(file, false); });
    follow_(REMOVING, [this](SettingFile& file) {
        if (folder_.inUse() == file.path())
            folder_.clearInUse();
        file.recover(false);
    });
    end();
}

// Does the step with the file that a note leads to, unless it leads nowhere by now.
template <class Step>
void UnfinishedChange::follow_(const char* name, Step step) const
{
    const std::string path = noted_(name);
    if (path.empty())
        return;
    try {
        SettingFile file = folder_.locate(path);
        step(file);
    } catch (const std::runtime_error&) { // NOLINT(bugprone-empty-catch): see above
    }
}

void UnfinishedChange::settle_(SettingFile& file, bool wasThere) const
{
    if (folder_.inUse() != file.path()) {
        file.recover(wasThere);
        return;
    }
    file.removeLeftovers();
    follow_(SUPERSEDED, [](SettingFile& superseded) { superseded.remove(); });
}

// Empty if there is no such note.
std::string UnfinishedChange::noted_(const char* name) const
{
    const std::string target = folder_.target(name);
    return target.empty() ? "" : folder_.path() + "/" + target;
}

void UnfinishedChange::note_(const char* name, const std::string& path) const
{
    if (symlinkat(path.substr(folder_.path().size() + 1).c_str(), folder_.descriptor(), name) != 0)
        throw std::runtime_error(folder_.path() + "/" + name + ": " + programs::systemText(errno));
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
