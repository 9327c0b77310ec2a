// What the subcommands that answer questions print.
#include "apps/station/commands/Output.h"

#include <iostream>
#include <stdexcept>

namespace Station {

void WriteOut(const std::string& text)
{
    std::cout << text << std::flush;
    if (!std::cout) {
        throw std::runtime_error("standard output does not take the answer");
    }
}

}  // namespace Station
