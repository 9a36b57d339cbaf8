// Linked into the samples of servers: what they ask of the host is written into the file that SAMPLE_HOST_ASKED names, and
// nothing is done. Files below /run lie in the folder that SAMPLE_HOST_FOLDER names instead.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void note(const std::string& asked)
{
    const auto open = reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "fopen"));
    FILE* const file = open(std::getenv("SAMPLE_HOST_ASKED"), "a");
    if (std::fputs((asked + "\n").c_str(), file) == EOF || std::fclose(file) != 0)
        std::abort();
}

std::string led(const char* path)
{
    const char* const run = "/run/";
    if (std::strncmp(path, run, std::strlen(run)) != 0)
        return path;
    return std::string(std::getenv("SAMPLE_HOST_FOLDER")) + "/" + (path + std::strlen(run));
}

FILE* openLed(const char* function, const char* path, const char* mode)
{
    const auto open = reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, function));
    return open(led(path).c_str(), mode);
}

} // namespace

extern "C" {

int system(const char* command)
{
    note(command);
    return 0;
}

// Every program runs, as process 123.
FILE* popen(const char* command, const char* /*mode*/)
{
    note(command);
    FILE* const output = std::tmpfile();
    if (std::fputs("123\n", output) == EOF)
        std::abort();
    std::rewind(output);
    return output;
}

int pclose(FILE* file)
{
    return std::fclose(file);
}

int kill(pid_t process, int signal) noexcept
{
    note("kill " + std::to_string(process) + " " + std::to_string(signal));
    return 0;
}

// The engine is ready at once.
int stat(const char* path, struct stat* status) noexcept
{
    note(std::string("stat ") + path);
    *status = {};
    return 0;
}

int remove(const char* path) noexcept
{
    note(std::string("remove ") + path);
    return 0;
}

int unlink(const char* path) noexcept
{
    note(std::string("unlink ") + path);
    return 0;
}

unsigned int sleep(unsigned int /*seconds*/)
{
    return 0;
}

int usleep(useconds_t /*microseconds*/)
{
    return 0;
}

FILE* fopen(const char* path, const char* mode)
{
    return openLed("fopen", path, mode);
}

FILE* fopen64(const char* path, const char* mode)
{
    return openLed("fopen64", path, mode);
}

} // extern "C"
