// Reading of whole files.

#include "FileText.h"

#include "Text.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::programs {

namespace {

class OpenFile {
public:
    explicit OpenFile(const std::string& path)
        : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) // NOLINT(cppcoreguidelines-pro-type-vararg)
    {
        if (descriptor_ < 0)
            throw std::runtime_error(systemText(errno));
    }
    ~OpenFile() { ::close(descriptor_); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    // The next bytes; none at the end.
    std::size_t read(char* bytes, std::size_t size)
    {
        ssize_t count = -1;
        do
            count = ::read(descriptor_, bytes, size);
        while (count < 0 && errno == EINTR);
        if (count < 0)
            throw std::runtime_error(systemText(errno));
        return static_cast<std::size_t>(count);
    }

private:
    int descriptor_;
};

} // namespace

std::string readFile(const std::string& path, std::size_t limit)
{
    OpenFile file(path);
    std::string text;
    std::array<char, 65536> buffer{};
    while (const std::size_t count = file.read(buffer.data(), buffer.size())) {
        text.append(buffer.data(), count);
        if (text.size() > limit)
            throw std::runtime_error("larger than " + std::to_string(limit) + " bytes");
    }
    return text;
}

} // namespace norvale::tamber::systemdata::ipseccfg::programs
