// The checksums of the serial test link.
#include "common/CChecksum.h"

namespace Common::Convertor {

unsigned char CChecksum::Checksum8(const unsigned char* data, unsigned int length)
{
    if (data == nullptr) {
        return 0;
    }
    unsigned char sum = 0;
    for (unsigned int i = 0; i < length; ++i) {
        sum = static_cast<unsigned char>(sum ^ data[i]);
    }
    return sum;
}

unsigned char CChecksum::Checksum16(const unsigned char* /*data*/, unsigned int /*length*/)
{
    return 0xFF;
}

}  // namespace Common::Convertor
