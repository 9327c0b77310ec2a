// The files of the operator's page, which are part of the program.
#pragma once

#include <string>

namespace Station {

struct StaticFile {
    const char* path;  ///< of the request, "/bench.js"
    const char* type;  ///< of its content
    const char* begin;
    const char* end;
};

/// The file of that path, or null; "/" is the bench.
const StaticFile* FindStaticFile(const std::string& path);

}  // namespace Station
