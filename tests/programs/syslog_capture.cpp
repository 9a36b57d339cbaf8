// A library that is loaded before a program's others: what the program tells the system's log goes to the
// file that the environment variable SYSLOG_CAPTURE names.

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <syslog.h>

namespace {

// Read when the library is loaded: a program may leave its environment.
std::string captureFile()
{
    const char* const file = std::getenv("SYSLOG_CAPTURE");
    return file == nullptr ? "/dev/null" : file;
}

const std::string CAPTURE = captureFile();

// The C library keeps the pointer, too, and looks at the name only with each line.
const char* ident = "?";
int identFacility = 0;

} // namespace

extern "C" {

void openlog(const char* name, int /*option*/, int facility)
{
    ident = name;
    identFacility = facility;
}

void vsyslog(int priority, const char* format, std::va_list arguments)
{
    char line[4096];
    if (std::vsnprintf(line, sizeof line, format, arguments) >= 0)
        std::ofstream(CAPTURE, std::ios::app) << ident << (identFacility == LOG_DAEMON ? "(daemon) " : "(?) ")
                                              << priority << ": " << line << '\n';
}

void syslog(int priority, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}

// What the two above become where the C library checks its callers.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
__attribute__((format(printf, 3, 4))) void __syslog_chk(int priority, int /*flag*/, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}

} // extern "C"
