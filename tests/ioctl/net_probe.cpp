// Runs one check of the network: prints what it found, and how long a ping took.
#include <chrono>
#include <cstdio>
#include <string>

#include "ioctl/CNetTest.h"

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: net_probe ping ADDRESS | address INTERFACE\n", stderr);
        return 2;
    }
    IOCTL::CNetTest check;
    if (argv[1] == std::string("address")) {
        const char* const address = check.GetIP(argv[2]);
        std::puts(address != nullptr ? address : "none");
        return 0;
    }
    const auto start = std::chrono::steady_clock::now();
    const int result = check.PingTest(argv[2]);
    const auto took = std::chrono::steady_clock::now() - start;
    std::printf("%d %d\n", result,
                static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(took).count()));
    return 0;
}
