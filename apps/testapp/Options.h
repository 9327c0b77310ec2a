// The test application's options.
#pragma once

#include <optional>
#include <string>

#include "apps/testapp/Line.h"

namespace TestApp {

struct Options {
    LineSettings line;
    int boardType = 1;
    std::string images;  ///< the folder of the touch test's images
};

/// Reads the options from the command line. Returns the exit code when the program ends here: 0 after --help, 2 after
/// wrong options, with a message on standard error.
std::optional<int> Parse(int argc, char** argv, Options& options);

/// An empty text, or why one of the images in a folder cannot be read.
std::string CheckImages(const std::string& folder);

}  // namespace TestApp
