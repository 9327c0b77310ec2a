// The checksums of the serial test link.
#pragma once

#include "common/Export.h"

/// Checksums.
namespace Common::Convertor {

/// Checksums over blocks of bytes. Stateless: any thread may call it.
class TESTMODE_API CChecksum {
public:
    /// XOR of `length` bytes at `data`, 0 to 255; 0 for a null pointer or a length of 0.
    static unsigned char Checksum8(const unsigned char* data, unsigned int length);

    /// Always 255; ignores both arguments. The link does not use it.
    static unsigned char Checksum16(const unsigned char* data, unsigned int length);
};

}  // namespace Common::Convertor
