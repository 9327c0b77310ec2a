// usage: screen_probe RESULT | wait
// Draws the first pixels of the display; then ends with that result, or waits for a signal.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

int main(int /*argc*/, char** argv)
{
    const int display = open("/dev/fb0", O_RDWR);
    void* const memory = mmap(nullptr, 3 * sizeof(std::uint32_t), PROT_READ | PROT_WRITE, MAP_SHARED, display, 0);
    if (memory == MAP_FAILED) {
        std::perror("/dev/fb0");
        return 99;
    }
    auto* const pixels = static_cast<std::uint32_t*>(memory);
    pixels[0] = 0xFF0000;
    pixels[1] = 0xFF00FF00;
    pixels[2] = 0x123456;
    if (argv[1] == std::string("wait")) {
        std::puts("waiting");
        std::fflush(stdout);
        pause();
    }
    return std::atoi(argv[1]);
}
