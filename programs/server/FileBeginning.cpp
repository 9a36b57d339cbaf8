// Reading of small files.

#include "FileBeginning.h"

#include "Descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

std::string beginningOf(int folder, const std::string& path, std::size_t most)
{
    const Descriptor file(openat(folder, path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status = {};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::string();
    std::string content(most, '\0');
    std::size_t size = 0;
    while (size < most) {
        const ssize_t count = read(file.get(), &content[size], most - size);
        if (count == 0 || (count < 0 && errno != EINTR))
            break;
        size += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    content.resize(size);
    return content;
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
