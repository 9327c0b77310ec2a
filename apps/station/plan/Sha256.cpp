// A digest that tells one text of a plan from another.
#include "apps/station/plan/Sha256.h"

#include <array>
#include <stdexcept>

#include <openssl/evp.h>

namespace Station {

std::string Sha256(const std::string& text)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string digits;
    for (unsigned int i = 0; i < size; ++i) {
        digits += DIGITS[digest[i] >> 4];
        digits += DIGITS[digest[i] & 0x0F];
    }
    return digits;
}

}  // namespace Station
