// Walking of paths below the setting directory, and the link to the setting file in use.

#include "SettingFolder.h"

#include "FileBeginning.h"
#include "SignalBlock.h"
#include "Text.h"
#include "Utility.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

constexpr const char* CURRENT = ".current";
constexpr const char* NEW_CURRENT = ".current.new";
constexpr const char* REASON = ".reason";

constexpr std::size_t LONGEST_REASON = 1024;

constexpr int OPEN_FOLDER = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// Empty if nobody but root and the server's user can change what lies in the folder.
std::string ownershipFault(int folder)
{
    struct stat status = {};
    if (fstat(folder, &status) != 0)
        return programs::systemText(errno);
    if (status.st_uid != 0 && status.st_uid != geteuid())
        return "belongs to another user";
    const bool othersWrite = (status.st_mode & S_IWOTH) != 0;
    const bool groupWrites = (status.st_mode & S_IWGRP) != 0 && status.st_gid != getegid();
    return othersWrite || groupWrites ? "other users may write in it" : "";
}

// What a name that could not be opened as a folder is.
std::string folderFault(int parent, const std::string& name)
{
    const int error = errno;
    struct stat status = {};
    if (fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return programs::systemText(error);
    if (S_ISLNK(status.st_mode))
        return "is a link";
    return S_ISDIR(status.st_mode) ? programs::systemText(error) : "is not a folder";
}

} // namespace

SettingFolder::SettingFolder(const std::string& path)
    : path_(path)
{
    if (mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        throw std::runtime_error(path + ": " + programs::systemText(errno));
    directory_ = Descriptor(open(path.c_str(), OPEN_FOLDER));
    if (!directory_)
        throw std::runtime_error(path + ": " + programs::systemText(errno));
    const std::string fault = ownershipFault(directory_.get());
    if (!fault.empty())
        throw std::runtime_error(path + ": " + fault);
}

SettingFile SettingFolder::locate(const std::string& path) const
{
    const std::string prefix = path_ + "/";
    if (path.compare(0, prefix.size(), prefix) != 0)
        refuse_(path, "must lie below " + path_);

    std::vector<std::string> components = common::split(path.substr(prefix.size()), '/');
    if (path.back() == '/')
        components.emplace_back();
    for (const std::string& component : components)
        if (component.empty() || component.front() == '.')
            refuse_(path, "must have no component that is empty or begins with a '.'");

    Descriptor folder(fcntl(directory_.get(), F_DUPFD_CLOEXEC, 0));
    if (!folder)
        refuse_(path, programs::systemText(errno));
    const std::string name = components.back();
    components.pop_back();
    for (const std::string& component : components) {
        Descriptor below(openat(folder.get(), component.c_str(), OPEN_FOLDER | O_NOFOLLOW));
        const std::string fault = below ? ownershipFault(below.get()) : folderFault(folder.get(), component);
        if (!fault.empty())
            refuse_(path, "the folder '" + component + "': " + fault);
        folder = std::move(below);
    }

    struct stat status = {};
    if (fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        if (S_ISLNK(status.st_mode))
            refuse_(path, "is a link");
        if (!S_ISREG(status.st_mode))
            refuse_(path, "is not a regular file");
    } else if (errno != ENOENT) {
        refuse_(path, programs::systemText(errno));
    }
    return {std::move(folder), name, path};
}

std::string SettingFolder::target(const char* name) const
{
    std::array<char, PATH_MAX> target = {};
    const ssize_t length = readlinkat(directory_.get(), name, target.data(), target.size());
    return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

std::optional<std::string> SettingFolder::inUse() const
{
    const std::string used = target(CURRENT);
    if (used.empty())
        return std::nullopt;
    return path_ + "/" + used;
}

void SettingFolder::setInUse(const std::string& path) const
{
    const SignalBlock block;
    const std::string target = path.substr(path_.size() + 1);
    unlinkat(directory_.get(), NEW_CURRENT, 0);
    if (symlinkat(target.c_str(), directory_.get(), NEW_CURRENT) == 0 &&
        renameat(directory_.get(), NEW_CURRENT, directory_.get(), CURRENT) == 0) {
        // After a power cut, too, the file is to be found and deleted once it is not in use any more.
        fsync(directory_.get());
        return;
    }
    const std::string why = programs::systemText(errno);
    unlinkat(directory_.get(), NEW_CURRENT, 0);
    throw std::runtime_error(currentPath() + ": " + why);
}

void SettingFolder::clearInUse() const
{
    unlinkat(directory_.get(), CURRENT, 0);
}

void SettingFolder::clearUnfinishedRecord() const
{
    unlinkat(directory_.get(), NEW_CURRENT, 0);
}

std::string SettingFolder::currentPath() const
{
    return path_ + "/" + CURRENT;
}

std::string SettingFolder::reasonPath() const
{
    return path_ + "/" + REASON;
}

std::string SettingFolder::reason() const
{
    const std::string content = beginningOf(directory_.get(), REASON, LONGEST_REASON);
    return content.substr(0, content.find('\n'));
}

void SettingFolder::clearReason() const
{
    unlinkat(directory_.get(), REASON, 0);
}

void SettingFolder::refuse_(const std::string& path, const std::string& why) const
{
    throw std::runtime_error("setting-file-path: " + path + ": " + why);
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
