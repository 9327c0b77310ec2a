// Bitmap files: what is loaded is what a plain reading of the file gives.
#include <memory>

#include "fuzz/Fuzz.h"
#include "ioctl/CFBLib.h"
#include "sim/SimBoard.h"
#include "tests/support/Bmp.h"
#include "tests/support/DecodedBitmap.h"

namespace {

constexpr std::int64_t LARGE = 1 << 20;  // pixels; beyond it images cost time, and only the largest show something new
constexpr std::size_t COMPARED = 20'000;

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Support::DecodedBitmap decoded({data, size});
    const std::int64_t pixels = decoded.Pixels();
    if (pixels > LARGE && (pixels < Support::DecodedBitmap::MAX_PIXELS - LARGE || decoded.Height() > decoded.Width())) {
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

    Fuzz::Expect(result == (decoded.IsLoaded() ? 0 : -1), "the result of that header");
    if (decoded.IsLoaded()) {
        Fuzz::Expect(bmp.nWidth == decoded.Width() && bmp.nHeight == decoded.Height(), "the file's size");
        Fuzz::Expect(bmp.nKeyMode == 0 && bmp.nBgMode == 0, "both modes 0");
        Fuzz::Expect((bmp.pData == nullptr) == decoded.IsEmpty(), "a buffer unless the image is empty");
        // Files begin with the bottom row.
        const auto count = static_cast<std::size_t>(pixels);
        for (std::size_t i = count; i-- > 0 && count - i <= COMPARED;) {
            Fuzz::Expect(bmp.pData[i] == decoded.Pixel(i), "pixel as in the file");
        }
    }
    return 0;
}
