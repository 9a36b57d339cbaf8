// The pre-shared key of a transform.

#include "PreSharedKey.h"

#include "FileText.h"
#include "Text.h"
#include "Values.h"
#include "Wording.h"

#include <algorithm>
#include <cerrno>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

constexpr std::size_t LONGEST_KEY = 4096;

// On the wire a byte is hexadecimal text without padding, of the signed byte: below 0x10 and above 0x7F it is
// read back as something else. Control characters would arrive, but the server refuses them.
bool isCarried(char byte)
{
    return byte >= 0x20 && byte <= 0x7E;
}

std::string inHexadecimal(char byte)
{
    std::ostringstream text;
    text << "0x" << std::hex << std::uppercase << std::setw(2) << std::setfill('0')
         << static_cast<unsigned>(static_cast<unsigned char>(byte));
    return text.str();
}

// What is wrong with a key, in words that follow where it comes from; empty for a good one.
std::string faultOfKey(const std::string& key)
{
    if (key.empty())
        return "the pre-shared key is empty";
    if (key.size() > LONGEST_KEY)
        return "the pre-shared key is longer than " + std::to_string(LONGEST_KEY) + " bytes";
    const auto bad = std::find_if_not(key.begin(), key.end(), isCarried);
    if (bad == key.end())
        return std::string();
    return "byte " + std::to_string(bad - key.begin() + 1) + " of the pre-shared key is " +
           inHexadecimal(*bad) + ", only 0x20 to 0x7E (printable ASCII) reach the engine unchanged";
}

// The mode's permissions as chmod takes them.
std::string inOctal(mode_t mode)
{
    std::ostringstream text;
    text << std::oct << std::setw(4) << std::setfill('0') << (mode & 07777U);
    return text.str();
}

std::string readKeyFile(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        throw std::runtime_error(programs::systemText(errno));
    if (!S_ISREG(status.st_mode))
        throw std::runtime_error("not a regular file");
    if ((status.st_mode & S_IRWXO) != 0)
        throw std::runtime_error("open to everybody, mode " + inOctal(status.st_mode) + "; use chmod o-rwx");
    // One more for the line end.
    std::string key = programs::readFile(path, LONGEST_KEY + 1);
    if (!key.empty() && key.back() == '\n')
        key.pop_back();
    return key;
}

std::string keyOfFile(const PolicyTable& transform)
{
    const auto path = transform.text("psk-file");
    if (!path)
        return std::string();
    if (!isAbsolutePath(*path)) {
        transform.refuseValue("psk-file", quoted(*path));
        return std::string();
    }
    try {
        std::string key = readKeyFile(*path);
        const std::string fault = faultOfKey(key);
        if (fault.empty())
            return key;
        transform.refuse("psk-file", quoted(*path) + ": " + fault);
    } catch (const std::runtime_error& error) {
        transform.refuse("psk-file", quoted(*path) + " cannot be used: " + error.what());
    }
    return std::string();
}

std::string keyInPolicy(const PolicyTable& transform)
{
    const auto key = transform.text("psk");
    if (!key)
        return std::string();
    const std::string fault = faultOfKey(*key);
    if (fault.empty())
        return *key;
    transform.refuse("psk", fault);
    return std::string();
}

} // namespace

std::string preSharedKeyOf(const PolicyTable& transform)
{
    if (transform.has("psk") && transform.has("psk-file"))
        transform.refuse("psk-file", "the key is there already as psk, only one of the two may be given");
    else if (transform.has("psk-file"))
        return keyOfFile(transform);
    else if (transform.has("psk"))
        return keyInPolicy(transform);
    else
        transform.refuse("authentication", "'PSK' needs the key, as psk or psk-file");
    return std::string();
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
