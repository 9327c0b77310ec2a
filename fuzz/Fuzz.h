// What the fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

namespace Fuzz {

/// Unless that holds, says what ought to hold and ends the program: libFuzzer then keeps the input.
inline void Expect(bool holds, const std::string& what)
{
    if (!holds) {
        std::fprintf(stderr, "expected: %s\n", what.c_str());
        std::abort();
    }
}

}  // namespace Fuzz

/// Carries one input out; libFuzzer calls it again and again. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
