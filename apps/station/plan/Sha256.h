// A digest that tells one text of a plan from another.
#pragma once

#include <string>

namespace Station {

/// SHA-256 of a text (FIPS 180-4), as 64 hexadecimal digits.
/// @throws std::runtime_error when the cryptographic library does not offer it
std::string Sha256(const std::string& text);

}  // namespace Station
