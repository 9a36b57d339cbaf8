// Process lookup by the host's pidof.

#include "Proc.h"

#include <cstdio>
#include <cstdlib>

namespace norvale::tamber::systemdata::ipseccfg::server {

Proc::Proc() = default;

Proc::Proc(int) {}

Proc::~Proc() = default;

int Proc::find(const std::string& name)
{
    FILE* const output = popen(("pidof " + name).c_str(), "r");
    if (output == nullptr)
        return -1;

    // Each chunk is read over the one before it, so the last one stays.
    char chunk[16] = {};
    while (std::fgets(chunk, sizeof chunk, output) != nullptr) {
    }
    pclose(output);
    return chunk[0] == '\0' ? -1 : std::atoi(chunk); // NOLINT(cert-err34-c): text that is no number is 0
}

void Proc::init_(int) {}

void Proc::read_() {}

} // namespace norvale::tamber::systemdata::ipseccfg::server
