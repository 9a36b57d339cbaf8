// standalone: an engine that runs anywhere.

#include "Program.h"
#include "StandaloneEngine.h"

#include <exception>
#include <iostream>
#include <memory>

namespace {

namespace ipseccfg = norvale::tamber::systemdata::ipseccfg;

} // namespace

int main(int argc, char** argv)
{
    try {
        return ipseccfg::engine::runProgram(
            {"standalone",
             "An IPsec engine that needs no kernel feature and no rights; it protects no traffic.\n"
             "HUP, USR1 and USR2 have it read its settings again, TERM, INT and QUIT end it.",
             "JSON",
             {},
             [](const ipseccfg::engine::Files& files) {
                 return std::make_unique<ipseccfg::standalone::StandaloneEngine>(files);
             }},
            argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "standalone: " << error.what() << '\n';
        return 1;
    }
}
