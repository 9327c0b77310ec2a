// The pauses of the C library, taken out: linked into a program in front of it, or preloaded.
#include <unistd.h>

extern "C" __attribute__((visibility("default"))) unsigned int sleep(unsigned int /*seconds*/)
{
    return 0;
}

extern "C" __attribute__((visibility("default"))) int usleep(useconds_t /*microseconds*/)
{
    return 0;
}
