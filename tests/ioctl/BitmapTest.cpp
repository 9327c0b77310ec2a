// Loading of bitmaps: every loaded image is compared with a slow decoding of the file.
#include <climits>
#include <cstdlib>
#include <tuple>

#include "ioctl/CFBLib.h"
#include "tests/ioctl/Board.h"
#include "tests/support/Bmp.h"
#include "tests/support/DecodedBitmap.h"

namespace {

using IOCTL::tBMP;
using Sim::Fault;
using Support::BmpFile;
using Support::BmpHeader;
using Support::Bytes;
using Decoded = Support::DecodedBitmap;
using Support::TakeTexts;
using Support::Texts;

constexpr int MAX_PIXELS = Decoded::MAX_PIXELS;
constexpr auto START = "[D] [CreateBitmap] START";
constexpr auto NO_24BIT = "[E] [CreateBitmap] no 24bit bmp";
constexpr auto NO_MEMORY = "[E] [CreateBitmap] Bitmap Memory error";

std::uint32_t g_earlier[1];  // the buffers that a record holds before

/// Loading needs no device: the board is off.
class Bitmap : public testing::Test {
protected:
    void TearDown() override
    {
        Release();
        Sim::Reset();
    }

    void Release()
    {
        if (m_bmp.pData != &g_earlier[0]) {
            std::free(m_bmp.pData);
        }
        m_bmp = {-7, -8, &g_earlier[0], 9, 10, 11, 12, &g_earlier[0], 77};
    }
    int Load(const char* path)
    {
        Release();
        Sim::TakeLog();
        return m_display.CreateBitmap(&m_bmp, path);
    }
    /// Loads the file and compares the record: of a large image the first and the last pixels, of any other all.
    void LoadsAsDecoded(const Bytes& file)
    {
        constexpr std::int64_t LARGE = 150'000;
        constexpr std::int64_t SAMPLE = 1000;
        const Decoded decoded(file);
        const bool isRefused = !decoded.IsLoaded();
        m_file.Write(file);
        const Sim::Recording recording;
        ASSERT_EQ(Load(m_file.Path()), isRefused ? -1 : 0);
        EXPECT_LT(recording.Calls("read").size(), file.size() / 10'000 + 10) << "reading ends where the file ends";
        EXPECT_EQ(std::make_tuple(m_bmp.nWidth, m_bmp.nHeight, m_bmp.nKeyMode, m_bmp.nKeyColor, m_bmp.nBgMode),
                  std::make_tuple(decoded.Width(), decoded.Height(), 0, 0U, 0));
        EXPECT_EQ(std::make_tuple(m_bmp.nBgColor, m_bmp.pBgData, m_bmp.nAlpha),
                  std::make_tuple(12U, &g_earlier[0], 77));
        Texts lines = {START};
        if (isRefused) {
            lines.emplace_back(decoded.Is24Bit() ? NO_MEMORY : NO_24BIT);
        }
        EXPECT_EQ(TakeTexts("CFBLib"), lines);
        if (isRefused || decoded.IsEmpty()) {
            ASSERT_EQ(m_bmp.pData, isRefused ? &g_earlier[0] : nullptr);
            return;
        }
        for (std::int64_t i = 0; i < decoded.Pixels(); ++i) {
            const auto index = static_cast<std::size_t>(i);
            ASSERT_EQ(m_bmp.pData[index], decoded.Pixel(index)) << "pixel " << i;
            if (i == SAMPLE && decoded.Pixels() > LARGE) {
                i = decoded.Pixels() - SAMPLE;
            }
        }
    }

    Support::MemoryFile m_file;
    IOCTL::CFBLib m_display;
    tBMP m_bmp = {0, 0, &g_earlier[0], 0, 0, 0, 0, nullptr, 0};
};

// Made by ImageMagick of 5 x 4 pixels: red 50 x, green 60 y, blue 20 x y.
TEST_F(Bitmap, RealFilesAreLoadedWhenTheyHave24BitsAndALongHeader)
{
    for (const char* const name : {"rgb24_header40", "rgb24_header124"}) {
        ASSERT_EQ(Load((std::string(IMAGES) + name + ".bmp").c_str()), 0) << name;
        ASSERT_EQ(std::pair(m_bmp.nWidth, m_bmp.nHeight), std::pair(5, 4));
        for (std::uint32_t i = 0; i < 5 * 4; ++i) {
            const std::uint32_t x = i % 5;
            const std::uint32_t y = i / 5;
            EXPECT_EQ(m_bmp.pData[i], x * 50 << 16 | y * 60 << 8 | x * y * 20) << name << ": " << x << "," << y;
        }
    }
    for (const char* const name : {"rgb24_header12", "rgba32", "palette8", "mono1"}) {
        EXPECT_EQ(Load((std::string(IMAGES) + name + ".bmp").c_str()), -1) << name;
        EXPECT_EQ(TakeTexts("CFBLib"), (Texts{START, NO_24BIT}));
    }
}

TEST_F(Bitmap, AFileThatIsCutAnywhereKeepsWhatItHas)
{
    const Bytes whole = BmpFile(3, 3);
    for (std::size_t size = 0; size <= whole.size() && !HasFailure(); ++size) {
        SCOPED_TRACE("cut after " + std::to_string(size) + " bytes");
        LoadsAsDecoded(whole.substr(0, size));
    }
}

TEST_F(Bitmap, RowsAreFilledUpToFourBytesAndReadInBlocks)
{
    // Rows with each padding; single rows, and several rows, of around 32 KiB.
    constexpr int SIZES[][2] = {{1, 3},     {2, 2},    {3, 1},    {4, 2},      {10921, 3}, {10922, 2}, {10923, 2},
                                {10924, 2}, {5461, 7}, {5462, 7}, {40'001, 3}, {1, 9000},  {2, 5000},  {300, 200}};
    for (const auto& [width, height] : SIZES) {
        SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
        const Bytes whole = BmpFile(width, height);
        LoadsAsDecoded(whole);
        LoadsAsDecoded(whole.substr(0, whole.size() * 2 / 3));
    }
    for (const std::size_t size : {1U, 2U, 3U, 7U, 23U}) {
        SCOPED_TRACE("reads of " + std::to_string(size));
        const Bytes file = BmpFile(7, 5);
        m_file.Write(file);
        Sim::Inject(Fault::Limits("read", size).After(2).Times(1'000'000));  // reads of pixels
        EXPECT_EQ(Load(m_file.Path()), 0);
        Sim::Reset();
        for (std::size_t i = 0; i < 7 * 5; ++i) {
            EXPECT_EQ(m_bmp.pData[i], Decoded(file).Pixel(i));
        }
    }
}

TEST_F(Bitmap, SizesGoFromNoneToTheLargest)
{
    const auto sides = {INT_MIN, -65536, -3, 0, 1, 3, 65536, MAX_PIXELS, MAX_PIXELS + 1, INT_MAX};
    for (const int width : sides) {
        for (const int height : sides) {
            SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
            LoadsAsDecoded(BmpHeader(width, height) + Bytes(100, 0x11));
        }
    }
    const Bytes whole = BmpFile(3, 3);
    for (std::size_t at = 0; at < 30; ++at) {
        for (const int change : {0x01, 0x7F}) {
            SCOPED_TRACE("byte " + std::to_string(at) + " changed");
            Bytes file = whole;
            file[at] = static_cast<unsigned char>(file[at] ^ change);
            LoadsAsDecoded(file);
        }
    }
}

}  // namespace
