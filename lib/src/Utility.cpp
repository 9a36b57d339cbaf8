// Path utilities.

#include "Utility.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <sys/stat.h>

namespace norvale::tamber::systemdata::ipseccfg::common {

namespace {

bool isKernelModule(const std::string& name)
{
    // Without a "." npos + 1 is 0: the whole name.
    return name.substr(name.rfind('.') + 1) == "ko";
}

} // namespace

std::vector<std::string>& split(const std::string& text, char separator, std::vector<std::string>& pieces)
{
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the text may be one of the pieces
    const std::string whole = text;
    // No stream, which would keep it quiet if memory ran out and give the first pieces only.
    for (std::size_t begin = 0; begin < whole.size();) {
        const std::size_t end = std::min(whole.find(separator, begin), whole.size());
        pieces.push_back(whole.substr(begin, end - begin));
        begin = end + 1;
    }
    return pieces;
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> pieces;
    split(text, separator, pieces);
    return pieces;
}

std::string findExecPath(const std::string& name)
{
    const char* const searchPath = std::getenv("PATH");
    if (searchPath == nullptr)
        return std::string();

    const bool kernelModule = isKernelModule(name);
    for (const std::string& directory : split(searchPath, ':')) {
        std::string path = directory + "/" + name;
        struct stat status = {};
        if (stat(path.c_str(), &status) != 0)
            continue;
        if (kernelModule ? S_ISREG(status.st_mode) : (status.st_mode & S_IXUSR) != 0)
            return path;
    }
    return std::string();
}

} // namespace norvale::tamber::systemdata::ipseccfg::common
