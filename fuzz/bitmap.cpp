// Bitmap files: what is loaded is what a plain reading of the file gives.
#include <memory>

#include "fuzz/Fuzz.h"
#include "ioctl/CFBLib.h"
#include "sim/SimBoard.h"
#include "tests/support/Bmp.h"

namespace {

constexpr std::int64_t MOST_PIXELS = 64 << 20;
constexpr std::int64_t LARGE = 1 << 20;  // beyond it images cost time, and only the largest show something new

/// A file; beyond its end it reads as zeros.
class File {
public:
    File(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(static_cast<std::int64_t>(size)) {}

    [[nodiscard]] std::uint32_t At(std::int64_t offset, int bytes) const
    {
        std::uint32_t value = 0;
        for (int i = bytes - 1; i >= 0; --i) {
            value = value << 8 | (offset + i < m_size ? m_data[offset + i] : 0);
        }
        return value;
    }
    [[nodiscard]] std::int64_t Size() const { return m_size; }

private:
    const std::uint8_t* m_data;
    std::int64_t m_size;
};

/// Pixels are looked at in the order of the file, which begins with the bottom row, and a few beyond its end.
void ExpectPixels(const IOCTL::tBMP& bmp, const File& file)
{
    const std::int64_t begin = file.At(10, 4);
    const std::int64_t rowBytes = (std::int64_t{bmp.nWidth} * 3 + 3) / 4 * 4;
    int beyond = 0;
    for (std::int64_t y = bmp.nHeight - 1; y >= 0 && beyond < 100; --y) {
        for (std::int64_t x = 0; x < bmp.nWidth && beyond < 100; ++x) {
            const std::int64_t offset = begin + (bmp.nHeight - 1 - y) * rowBytes + x * 3;
            Fuzz::Expect(bmp.pData[y * bmp.nWidth + x] == file.At(offset, 3), "pixel as in the file");
            beyond += offset >= file.Size() ? 1 : 0;
        }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const File file(data, size);
    const auto width = static_cast<std::int32_t>(file.At(18, 4));
    const auto height = static_cast<std::int32_t>(file.At(22, 4));
    const bool isEmpty = width < 1 || height < 1;
    const std::int64_t pixels = isEmpty ? 0 : std::int64_t{width} * height;
    if (pixels > LARGE && (pixels < MOST_PIXELS - LARGE || height > width)) {
        return 0;
    }
    static const Support::MemoryFile memory;
    static IOCTL::CFBLib display;
    memory.Write({data, size});
    IOCTL::tBMP bmp = {};
    bmp.nKeyMode = bmp.nBgMode = 7;
    const int result = display.CreateBitmap(&bmp, memory.Path());
    const std::unique_ptr<std::uint32_t, decltype(&std::free)> holder(bmp.pData, &std::free);
    Sim::TakeLog();

    const bool isGood = file.At(28, 2) == 24 && pixels <= MOST_PIXELS;
    Fuzz::Expect(result == (isGood ? 0 : -1), "the result of that header");
    if (isGood) {
        Fuzz::Expect(bmp.nWidth == width && bmp.nHeight == height, "the file's size");
        Fuzz::Expect(bmp.nKeyMode == 0 && bmp.nBgMode == 0, "both modes 0");
        Fuzz::Expect((bmp.pData == nullptr) == isEmpty, "a buffer unless the image is empty");
        if (!isEmpty) {
            ExpectPixels(bmp, file);
        }
    }
    return 0;
}
