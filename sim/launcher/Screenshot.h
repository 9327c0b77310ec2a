// Pictures of the simulated board's screen, for its launcher.
#pragma once

#include <string>

namespace Screenshot {

/// Makes sure that the picture can be written when the time comes; throws std::system_error when it cannot.
void CheckWritable(const std::string& path);

/// Writes a picture as PNG, 8 bits for each of red, green and blue. `screen` is the file with the pixels, 0x00RRGGBB
/// row by row; the size is in pixels. Throws std::runtime_error when that fails.
void Write(const std::string& path, const std::string& screen, int width, int height);

}  // namespace Screenshot
