// ipseccfgctl: a policy file in, the server's answer out.

#include "CommandLine.h"
#include "Control.h"
#include "Report.h"
#include "Text.h"

#include <exception>
#include <iostream>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::client; // NOLINT(google-build-using-namespace)

Status run(int argc, const char* const* argv)
{
    const CommandLine line = readCommandLine(argc, argv);
    if (!line.options)
        return report(line, std::cout, std::cerr, coloursOfTerminal());
    const Outcome outcome = perform(*line.options);
    report(outcome, *line.options, std::cout, std::cerr, coloursOfTerminal());
    return outcome.status;
}

} // namespace

int main(int argc, char** argv)
{
    Status status = Status::NoAnswer;
    try {
        status = run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "ipseccfgctl: "
                  << norvale::tamber::systemdata::ipseccfg::programs::printable(error.what()) << "\n";
    }
    // Whoever waits for the answer on a full disk did not get it.
    if (!std::cout.flush()) {
        std::cerr << "ipseccfgctl: cannot write to standard output\n";
        return exitCodeOf(status == Status::Success ? Status::NoAnswer : status);
    }
    return exitCodeOf(status);
}
