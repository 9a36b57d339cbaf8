/* Preloaded into the server: adds a line to /run/slept for each pause of whole seconds, its length in microseconds. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <time.h>

unsigned int sleep(unsigned int seconds)
{
    unsigned int (*real)(unsigned int) = (unsigned int (*)(unsigned int))dlsym(RTLD_NEXT, "sleep");
    struct timespec before, after;
    clock_gettime(CLOCK_MONOTONIC, &before);
    unsigned int left = real(seconds);
    clock_gettime(CLOCK_MONOTONIC, &after);
    FILE* file = fopen("/run/slept", "a");
    if (file) {
        fprintf(file, "%ld\n", (long)((after.tv_sec - before.tv_sec) * 1000000 + (after.tv_nsec - before.tv_nsec) / 1000));
        fclose(file);
    }
    return left;
}
