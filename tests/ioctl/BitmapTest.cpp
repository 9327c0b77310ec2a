// Loading of bitmaps: every file is compared with what its bytes stand for.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <random>
#include <tuple>

#include <sys/mman.h>
#include <sys/resource.h>

#include "ioctl/CFBLib.h"
#include "tests/ioctl/Board.h"
#include "tests/support/Bmp.h"

namespace {

using IOCTL::tBMP;
using Sim::Fault;
using Support::BmpFile;
using Support::BmpHeader;
using Support::Bytes;
using Support::TakeTexts;
using Support::Texts;

constexpr int MAX_PIXELS = 64 << 20;
constexpr auto START = "[D] [CreateBitmap] START";
constexpr auto NO_24BIT = "[E] [CreateBitmap] no 24bit bmp";

std::uint32_t g_earlier[1];  // the buffers that a record holds before

/// A record in which everything that loading changes can be seen.
tBMP Marked()
{
    return {-7, -8, &g_earlier[0], 9, 10, 11, 12, &g_earlier[0], 77};
}

/// What the bytes of a file stand for; those behind its end are 0.
class Decoded {
public:
    explicit Decoded(const Bytes& file) : m_file(file) {}

    [[nodiscard]] std::int32_t Width() const { return static_cast<std::int32_t>(Number(18, 4)); }
    [[nodiscard]] std::int32_t Height() const { return static_cast<std::int32_t>(Number(22, 4)); }
    [[nodiscard]] bool Is24Bit() const { return Number(28, 2) == 24; }
    [[nodiscard]] bool IsEmpty() const { return Width() < 1 || Height() < 1; }
    [[nodiscard]] bool IsTooLarge() const { return !IsEmpty() && std::int64_t{Width()} * Height() > MAX_PIXELS; }
    /// 3 bytes each, rows from the bottom up, filled up to 4 bytes.
    [[nodiscard]] std::uint32_t Pixel(std::size_t column, std::size_t row) const
    {
        const std::size_t stride = (static_cast<std::size_t>(Width()) * 3 + 3) / 4 * 4;
        return Number(
            std::uint64_t{Number(10, 4)} + (static_cast<std::size_t>(Height()) - 1 - row) * stride + column * 3, 3);
    }

private:
    [[nodiscard]] std::uint32_t Number(std::uint64_t offset, std::size_t size) const
    {
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < size; ++i) {
            number |=
                offset + i < m_file.size() ? std::uint32_t{m_file[static_cast<std::size_t>(offset) + i]} << 8 * i : 0U;
        }
        return number;
    }

    const Bytes& m_file;
};

/// Loading needs no device: the board is off.
class Bitmap : public testing::Test {
protected:
    void SetUp() override
    {
        Sim::Reset();
        Sim::TakeLog();
    }
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
        m_bmp = Marked();
    }
    int Load(const char* path)
    {
        Release();
        return m_display.CreateBitmap(&m_bmp, path);
    }
    int Load(const Bytes& file)
    {
        m_file.Write(file);
        return Load(m_file.Path());
    }

    /// All but the pixels: those are looked at elsewhere.
    void ExpectRecord(tBMP expected = Marked()) const
    {
        const auto fields = [](const tBMP& bmp) {
            return std::make_tuple(bmp.nWidth, bmp.nHeight, bmp.nKeyMode, bmp.nKeyColor, bmp.nBgMode, bmp.nBgColor,
                                   bmp.pBgData, bmp.nAlpha);
        };
        EXPECT_EQ(fields(m_bmp), fields(expected));
    }
    void ExpectSize(std::int32_t width, std::int32_t height) const
    {
        ExpectRecord({width, height, nullptr, 0, 0, 0, 12, &g_earlier[0], 77});
    }
    void ExpectPixels(const Decoded& decoded) const;
    void LoadsAsDecoded(const Bytes& file);
    /// True when the middle of the largest image has been looked at or written.
    [[nodiscard]] bool IsMiddleResident() const
    {
#ifdef __SANITIZE_THREAD__
        return false;  // its calloc writes everything
#endif
        constexpr std::uintptr_t PAGE = 4096;
        unsigned char page = 0;
        const auto middle = reinterpret_cast<std::uintptr_t>(m_bmp.pData + MAX_PIXELS / 2) / PAGE * PAGE;
        EXPECT_EQ(mincore(reinterpret_cast<void*>(middle), 1, &page), 0);
        return (page & 1) != 0;
    }

    Support::MemoryFile m_file;
    IOCTL::CFBLib m_display;
    tBMP m_bmp = Marked();
};

/// Of a large image the first and the last pixels are compared, of any other all.
void Bitmap::ExpectPixels(const Decoded& decoded) const
{
    constexpr std::size_t LARGE = 150'000;
    constexpr std::size_t SAMPLE = 1000;
    const auto width = static_cast<std::size_t>(m_bmp.nWidth);
    const std::size_t count = width * static_cast<std::size_t>(m_bmp.nHeight);
    for (std::size_t i = 0; i < count; i = i == SAMPLE && count > LARGE ? count - SAMPLE : i + 1) {
        ASSERT_EQ(m_bmp.pData[i], decoded.Pixel(i % width, i / width))
            << "row " << i / width << " column " << i % width;
    }
}

void Bitmap::LoadsAsDecoded(const Bytes& file)
{
    const Decoded decoded(file);
    const bool isRefused = !decoded.Is24Bit() || decoded.IsTooLarge();
    m_file.Write(file);
    const Sim::Recording recording;
    ASSERT_EQ(Load(m_file.Path()), isRefused ? -1 : 0);
    EXPECT_LT(recording.Calls("read").size(), file.size() / 10'000 + 10) << "reading ends where the file ends";
    ExpectSize(decoded.Width(), decoded.Height());
    const Texts lines = TakeTexts("CFBLib");
    ASSERT_EQ(lines.size(), isRefused ? 2U : 1U);
    EXPECT_EQ(lines[0], START);
    if (!decoded.Is24Bit()) {
        EXPECT_EQ(lines[1], NO_24BIT);
    }
    if (isRefused) {
        EXPECT_EQ(m_bmp.pData, &g_earlier[0]);
    } else if (decoded.IsEmpty()) {
        EXPECT_EQ(m_bmp.pData, nullptr);
    } else {
        ExpectPixels(decoded);
        if (std::int64_t{decoded.Width()} * decoded.Height() == MAX_PIXELS) {
            EXPECT_FALSE(IsMiddleResident()) << "rows behind the end of the file take no memory";
        }
    }
}

// Made by ImageMagick of 5 x 4 pixels: red 50 x, green 60 y, blue 20 x y.
TEST_F(Bitmap, RealFilesAreLoadedWhenTheyHave24BitsAndALongHeader)
{
    for (const char* const name : {"rgb24_header40", "rgb24_header124"}) {
        ASSERT_EQ(Load((std::string(IMAGES) + name + ".bmp").c_str()), 0) << name;
        ExpectSize(5, 4);
        for (std::uint32_t i = 0; i < 5 * 4; ++i) {
            const std::uint32_t x = i % 5;
            const std::uint32_t y = i / 5;
            EXPECT_EQ(m_bmp.pData[i], x * 50 << 16 | y * 60 << 8 | x * y * 20) << name << ": " << x << "," << y;
        }
    }
    for (const char* const name : {"rgb24_header12", "rgba32", "palette8", "mono1"}) {
        TakeTexts("CFBLib");
        EXPECT_EQ(Load((std::string(IMAGES) + name + ".bmp").c_str()), -1) << name;
        EXPECT_EQ(TakeTexts("CFBLib"), (Texts{START, NO_24BIT}));
        EXPECT_EQ(m_bmp.pData, &g_earlier[0]);
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
    // Rows of each remainder; around 32 KiB of a row, and of several.
    constexpr int SIZES[][2] = {{1, 3},     {2, 2},    {3, 1},    {4, 2},      {10921, 3}, {10922, 2}, {10923, 2},
                                {10924, 2}, {5461, 7}, {5462, 7}, {40'001, 3}, {1, 9000},  {2, 5000},  {300, 200}};
    for (const auto& [width, height] : SIZES) {
        SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
        const Bytes whole = BmpFile(width, height);
        LoadsAsDecoded(whole);
        LoadsAsDecoded(whole.substr(0, whole.size() * 2 / 3));
    }
}

TEST_F(Bitmap, WhatAReadDeliversInPartsIsPutTogether)
{
    const Bytes file = BmpFile(7, 5);
    for (const std::size_t size : {1U, 2U, 3U, 7U, 23U}) {
        SCOPED_TRACE("reads of " + std::to_string(size));
        m_file.Write(file);
        Sim::Inject(Fault::Limits("read", size).After(2).Times(1'000'000));  // of the pixels
        EXPECT_EQ(Load(m_file.Path()), 0);
        Sim::Reset();
        ExpectSize(7, 5);
        ExpectPixels(Decoded(file));
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
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they end the program instead
TEST_F(Bitmap, WithoutMemoryNothingIsLoaded)
{
    m_file.Write(BmpHeader(8192, 8192));
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    const rlimit small = {rlim_t{128} << 20, before.rlim_max};  // an image of this size takes 256 MiB
    ASSERT_EQ(setrlimit(RLIMIT_AS, &small), 0);
    EXPECT_EQ(Load(m_file.Path()), -1);
    ASSERT_EQ(setrlimit(RLIMIT_AS, &before), 0);
    EXPECT_EQ(m_bmp.pData, &g_earlier[0]);
    EXPECT_EQ(TakeTexts("CFBLib").size(), 2U);
}
#endif

struct Failure {
    const char* name;
    const char* call;
    int after;
    const char* line;
    std::size_t rows;  // that were read before
};

class FailingBitmap : public Bitmap, public testing::WithParamInterface<Failure> {};

TEST_P(FailingBitmap, NamesTheStepAndTheErrorAndKeepsWhatWasRead)
{
    constexpr int WIDTH = 5000;  // two rows and a bit are a block of 32 KiB
    constexpr int HEIGHT = 10;
    const Failure& failure = GetParam();
    const Bytes file = BmpFile(WIDTH, HEIGHT);
    m_file.Write(file);
    const auto before = Support::OpenDescriptors();
    Sim::Inject(Fault::Fails(failure.call, ENXIO).After(failure.after));
    EXPECT_EQ(Load(m_file.Path()), -1);
    EXPECT_EQ(Support::OpenDescriptors(), before);
    EXPECT_EQ(TakeTexts("CFBLib"), (Texts{START, std::string("[E] [CreateBitmap] ") + failure.line}));
    if (failure.rows == SIZE_MAX) {
        ExpectRecord();
        EXPECT_EQ(m_bmp.pData, &g_earlier[0]);
        return;
    }
    ExpectSize(WIDTH, HEIGHT);
    ASSERT_NE(m_bmp.pData, &g_earlier[0]);
    const Decoded decoded(file);
    for (std::size_t row = HEIGHT - failure.rows; row < HEIGHT; ++row) {
        EXPECT_EQ(m_bmp.pData[row * WIDTH], decoded.Pixel(0, row)) << "row " << row;
    }
    EXPECT_EQ(m_bmp.pData[0], 0U) << "the top row is read last";
}

static_assert(ENXIO == 6, "it is logged");

INSTANTIATE_TEST_SUITE_P(Steps, FailingBitmap,
                         testing::Values(Failure{"open", "open", 0, "BMP File Open Error", SIZE_MAX},
                                         Failure{"first_seek", "lseek", 0, "LINE(242) - lseek returned 6", SIZE_MAX},
                                         Failure{"file_header", "read", 0, "LINE(249) - read returned 6", SIZE_MAX},
                                         Failure{"info_header", "read", 1, "LINE(260) - read returned 6", SIZE_MAX},
                                         Failure{"second_seek", "lseek", 1, "LINE(280) - lseek returned 6", 0},
                                         Failure{"first_pixels", "read", 2, "LINE(292) - read returned 6", 0},
                                         Failure{"further_pixels", "read", 3, "LINE(292) - read returned 6", 2}),
                         Support::CASE_NAME);

TEST_F(Bitmap, ChangedFilesAreLoadedAsTheyAre)
{
    const int seed = testing::UnitTest::GetInstance()->random_seed();  // 0 unless tests are shuffled
    std::mt19937 random(static_cast<unsigned int>(seed));
    const auto below = [&](std::size_t end) { return std::uniform_int_distribution<std::size_t>(0, end - 1)(random); };
    const Bytes whole = BmpFile(5, 6);
    for (int round = 0; round < 3000 && !HasFailure(); ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        Bytes file = whole.substr(0, below(4) == 0 ? below(whole.size()) : whole.size());
        for (std::size_t changes = below(4); changes > 0 && !file.empty(); --changes) {
            file[below(std::min(file.size(), below(2) == 0 ? std::size_t{30} : file.size()))] =
                static_cast<unsigned char>(below(256));
        }
        const Decoded decoded(file);
        if (std::int64_t{decoded.Width()} * decoded.Height() <= 1'000'000 ||
            decoded.IsTooLarge()) {  // the rest takes long
            LoadsAsDecoded(file);
        }
    }
}

}  // namespace
