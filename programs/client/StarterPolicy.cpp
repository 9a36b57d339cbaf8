// Making and writing of a new policy; its text is made from starter-policy.toml by the build.

#include "StarterPolicy.h"

#include "Text.h"
#include "Wording.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

constexpr std::string_view PLACEHOLDER = "@psk@";

std::string randomKey()
{
    constexpr std::size_t BYTES = 32;
    constexpr char DIGITS[] = "0123456789abcdef";
    std::array<unsigned char, BYTES> bytes{};
    if (::getentropy(bytes.data(), bytes.size()) != 0)
        throw std::runtime_error("cannot make a random key: " + programs::systemText(errno));
    std::string key;
    for (const unsigned char byte : bytes) {
        key += DIGITS[byte >> 4U];
        key += DIGITS[byte & 0x0FU];
    }
    return key;
}

// Zero, or the error's number.
int writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t size = ::write(descriptor, text.data(), text.size());
        if (size < 0 && errno != EINTR)
            return errno;
        text.remove_prefix(size > 0 ? static_cast<std::size_t>(size) : 0);
    }
    return 0;
}

std::runtime_error unwritten(const std::string& path, int error)
{
    return std::runtime_error("cannot write " + quoted(path) + ": " + programs::systemText(error));
}

} // namespace

std::string starterPolicy()
{
    std::string text = STARTER_TEXT;
    return text.replace(text.find(PLACEHOLDER), PLACEHOLDER.size(), randomKey());
}

void writeNewFile(const std::string& path, const std::string& text)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg)
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0 && errno == EEXIST)
        throw std::runtime_error(quoted(path) +
                                 " is there already, nothing was written; name a new file, or '-' to see it");
    if (descriptor < 0)
        throw unwritten(path, errno);
    const int written = writeAll(descriptor, text);
    const int closed = ::close(descriptor) == 0 ? 0 : errno;
    if (written != 0 || closed != 0) {
        ::unlink(path.c_str());
        throw unwritten(path, written != 0 ? written : closed);
    }
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
