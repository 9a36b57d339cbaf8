// Replacing, putting back and removing of a setting file.

#include "SettingFile.h"

#include "SignalBlock.h"
#include "Text.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

SettingFile::SettingFile(Descriptor folder, const std::string& name, const std::string& path)
    : folder_(std::move(folder))
    , name_(name)
    , newName_("." + name + ".new")
    , oldName_("." + name + ".old")
    , path_(path)
{}

bool SettingFile::isAt(const std::string& path) const
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos || path.substr(slash + 1) != name_)
        return false;
    struct stat there = {};
    struct stat here = {};
    return stat(path.substr(0, slash + 1).c_str(), &there) == 0 && fstat(folder_.get(), &here) == 0 &&
           there.st_dev == here.st_dev && there.st_ino == here.st_ino;
}

void SettingFile::replace(const std::string& content)
{
    const SignalBlock block;
    const bool hadContent = setAside_();
    try {
        write_(content);
        if (renameat(folder_.get(), newName_.c_str(), folder_.get(), name_.c_str()) != 0)
            fail_();
    } catch (...) {
        removeName_(newName_);
        removeName_(oldName_);
        throw;
    }
    hadContent_ = hadContent;
    replaced_ = true;
    try {
        sync_(folder_.get());
    } catch (...) {
        putBack();
        throw;
    }
}

void SettingFile::keep() noexcept
{
    if (!std::exchange(replaced_, false) || !hadContent_)
        return;
    removeName_(oldName_);
    fsync(folder_.get()); // what it held is not to come back after a power cut
}

void SettingFile::putBack() noexcept
{
    const SignalBlock block;
    if (!std::exchange(replaced_, false))
        return;
    // A new link to the old content needs no space on the disk, so this works on a full one too.
    if (hadContent_)
        renameat(folder_.get(), oldName_.c_str(), folder_.get(), name_.c_str());
    else
        removeName_(name_);
    fsync(folder_.get());
}

void SettingFile::remove()
{
    if (unlinkat(folder_.get(), name_.c_str(), 0) != 0)
        throw std::runtime_error("can't delete the file");
    fsync(folder_.get());
}

bool SettingFile::isThere() const
{
    struct stat status = {};
    return fstatat(folder_.get(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

void SettingFile::removeLeftovers() noexcept
{
    removeName_(newName_);
    removeName_(oldName_);
}

void SettingFile::recover(bool wasThere) noexcept
{
    const SignalBlock block;
    if (!wasThere)
        removeName_(name_);
    else
        renameat(folder_.get(), oldName_.c_str(), folder_.get(), name_.c_str());
    // Two names of one file stay two names.
    removeLeftovers();
    fsync(folder_.get());
}

// Keeps the present content under a second name. Says whether there is any.
bool SettingFile::setAside_()
{
    removeName_(oldName_);
    if (linkat(folder_.get(), name_.c_str(), folder_.get(), oldName_.c_str(), 0) == 0)
        return true;
    if (errno != ENOENT)
        fail_();
    return false;
}

void SettingFile::write_(const std::string& content)
{
    removeName_(newName_);
    const Descriptor file(openat(folder_.get(), newName_.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file)
        fail_();
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = write(file.get(), content.data() + written, content.size() - written);
        if (count < 0 && errno != EINTR)
            fail_();
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    sync_(file.get());
}

void SettingFile::sync_(int fd)
{
    while (fsync(fd) != 0)
        if (errno != EINTR)
            fail_();
}

void SettingFile::removeName_(const std::string& name) noexcept
{
    unlinkat(folder_.get(), name.c_str(), 0);
}

void SettingFile::fail_() const
{
    throw std::runtime_error(path_ + ": " + programs::systemText(errno));
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
