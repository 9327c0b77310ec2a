// Benchmarks of the display: against the C library, pixman and SDL2 doing the same work on the same pixels. Where a
// peer has no such operation its closest one takes part: pixman dims with 255ths and blends black over the screen, and
// for a colour key its image has alpha channels instead; SDL2 dims with its software renderer. Before it is timed, each
// contestant draws once, and the pictures are compared. The rows of DrawBmp exclude its log lines, except the last row.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#define SDL_MAIN_HANDLED
#include <SDL.h>
#include <pixman.h>

#include "bench/Measure.h"
#include "ioctl/CFBLib.h"
#include "sim/SimBoard.h"

namespace {

using IOCTL::tBMP;

constexpr int WEIGHT = 100;  // out of 256
constexpr std::uint32_t KEY = 0x00FF00FF;

void Expect(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "bench: %s\n", what);
        std::exit(EXIT_FAILURE);
    }
}

/// Another library, doing the same work.
struct Peer {
    std::string name;
    std::function<void()> work;
    int tolerance = 0;  // how far a colour channel may be from the library's: a peer may round otherwise
};

using Picture = std::vector<std::uint32_t>;

/// Ends the program when a colour channel of the pictures differs by more than `tolerance`; top bytes do not count.
void ExpectAlike(const Picture& own, const Picture& other, int tolerance, const std::string& what)
{
    for (std::size_t i = 0; i < own.size(); ++i) {
        for (int shift = 0; shift < 24; shift += 8) {
            const auto channel = [&](std::uint32_t pixel) { return static_cast<int>(pixel >> shift & 0xFF); };
            if (std::abs(channel(own[i]) - channel(other[i])) > tolerance) {
                std::fprintf(stderr, "bench: %s differs: pixel %zu is %06X, the library's %06X\n", what.c_str(), i,
                             other[i] & 0xFFFFFF, own[i] & 0xFFFFFF);
                std::exit(EXIT_FAILURE);
            }
        }
    }
}

void Print(const std::string& name, double time, const std::vector<Peer>& peers, const std::vector<double>& peerTimes)
{
    std::printf("%-24s %8.1f us", name.c_str(), time * 1e6);
    for (std::size_t i = 0; i < peers.size(); ++i) {
        std::printf("    %-6s %8.1f us, ratio %.2f", peers[i].name.c_str(), peerTimes[i] * 1e6, time / peerTimes[i]);
    }
    std::printf("\n");
}

using PixmanImage = std::unique_ptr<pixman_image_t, decltype(&pixman_image_unref)>;
using Surface = std::unique_ptr<SDL_Surface, decltype(&SDL_FreeSurface)>;

/// A screen, an image of its size with a quarter of its pixels in the key colour, and the contestants that draw it.
class Display {
public:
    Display(int width, int height)
        : m_width(width), m_height(height), m_file(std::filesystem::temp_directory_path() / "testmode-bench.bmp")
    {
        Sim::SetScreenSize(width, height);
        WriteImage();
        Expect(m_display.Open() == 0 && m_display.SetInfo(32, 0, 0, width, height) == 0 &&
                   m_display.InitializeScreenBuffer() == 0 && m_display.CreateBitmap(&m_image, m_file.c_str()) == 0,
               "the display cannot be set up");
        m_screen = MappedScreen();
    }

    ~Display()
    {
        std::free(m_image.pData);
        std::filesystem::remove(m_file);
    }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    void Run()
    {
        std::printf("\n%d x %d\n", m_width, m_height);
        Row("ScreenClear", [&] { m_display.ScreenClear(0); }, {{"memset", [&] { std::memset(m_screen, 0, Bytes()); }}});
        BenchDim();
        BenchCopy();
        BenchKey();
        BenchBlend(false);
        BenchBlend(true);
        BenchLoad();
    }

    /// An image as large as a target of the touch test, with the log lines, which go to a file.
    void RunTarget()
    {
        std::printf("\n40 x 40, with its log lines\n");
        Sim::LogToFile("/dev/null");
        constexpr int SIDE = 40;
        constexpr int PLACE = 10;
        tBMP image = m_image;
        image.nWidth = SIDE;
        image.nHeight = SIDE;
        const auto copyRows = [&] {
            for (int row = 0; row < SIDE; ++row) {
                std::memcpy(m_screen + (PLACE + row) * m_width + PLACE, image.pData + row * SIDE, SIDE * 4);
            }
        };
        Row("DrawBmp, copy", [&] { m_display.DrawBmp(PLACE, PLACE, image); }, {{"memcpy", copyRows}});
        std::printf("%-24s %8.1f us\n", "its log lines alone",
                    Bench::Compare({[&] { m_display.DrawBmp(m_width, 0, image); }})[0] * 1e6);
    }

private:
    /// Where the library has mapped the screen: all draw through the same pages.
    static std::uint32_t* MappedScreen()
    {
        std::ifstream maps("/proc/self/maps");
        for (std::string line; std::getline(maps, line);) {
            if (line.find("memfd:screen") != std::string::npos) {
                return reinterpret_cast<std::uint32_t*>(std::stoull(line, nullptr, 16));
            }
        }
        Expect(false, "the screen is not mapped");
        return nullptr;
    }

    [[nodiscard]] std::size_t Pixels() const
    {
        return static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height);
    }
    [[nodiscard]] std::size_t Bytes() const { return Pixels() * sizeof(std::uint32_t); }

    void WriteImage() const
    {
        const Surface image(SDL_CreateRGBSurfaceWithFormat(0, m_width, m_height, 24, SDL_PIXELFORMAT_BGR24),
                            SDL_FreeSurface);
        auto* const bytes = static_cast<unsigned char*>(image->pixels);
        std::uint32_t value = 1;
        for (int i = 0; i < m_height * image->pitch; ++i) {
            value = value * 1664525 + 1013904223;
            bytes[i] = static_cast<unsigned char>(value >> 24);
        }
        for (int x = 0; x < m_width; x += 64) {
            const SDL_Rect bar = {x, 0, 16, m_height};
            SDL_FillRect(image.get(), &bar, SDL_MapRGB(image->format, KEY >> 16, KEY >> 8 & 0xFF, KEY & 0xFF));
        }
        Expect(SDL_SaveBMP(image.get(), m_file.c_str()) == 0, "the image cannot be written");
    }

    [[nodiscard]] PixmanImage Pixman(std::uint32_t* pixels, pixman_format_code_t format = PIXMAN_x8r8g8b8) const
    {
        return {pixman_image_create_bits(format, m_width, m_height, pixels, m_width * 4), pixman_image_unref};
    }

    static PixmanImage Solid(std::uint32_t alpha)
    {
        const pixman_color_t colour = {0, 0, 0, static_cast<std::uint16_t>(alpha << 8)};
        return {pixman_image_create_solid_fill(&colour), pixman_image_unref};
    }

    [[nodiscard]] Surface Sdl(std::uint32_t* pixels) const
    {
        return {SDL_CreateRGBSurfaceWithFormatFrom(pixels, m_width, m_height, 32, m_width * 4, SDL_PIXELFORMAT_RGB888),
                SDL_FreeSurface};
    }

    void Composite(pixman_op_t operation, pixman_image_t* image, pixman_image_t* mask, pixman_image_t* screen) const
    {
        pixman_image_composite32(operation, image, mask, screen, 0, 0, 0, 0, 0, 0, m_width, m_height);
    }

    void BenchDim()
    {
        const PixmanImage screen = Pixman(m_screen);
        const PixmanImage black = Solid(256 - WEIGHT);
        const Surface surface = Sdl(m_screen);
        const std::unique_ptr<SDL_Renderer, decltype(&SDL_DestroyRenderer)> renderer(
            SDL_CreateSoftwareRenderer(surface.get()), SDL_DestroyRenderer);
        SDL_SetRenderDrawBlendMode(renderer.get(), SDL_BLENDMODE_BLEND);
        SDL_SetRenderDrawColor(renderer.get(), 0, 0, 0, 256 - WEIGHT);
        const auto fill = [&] {
            SDL_RenderFillRect(renderer.get(), nullptr);
            SDL_RenderFlush(renderer.get());
        };
        Row("setAlpha", [&] { m_display.setAlpha(WEIGHT); },
            {{"pixman", [&] { Composite(PIXMAN_OP_OVER, black.get(), nullptr, screen.get()); }, 2}, {"SDL2", fill, 2}});
    }

    /// What the screen shows after the work, which always begins with the same picture.
    [[nodiscard]] Picture DrawnBy(const std::function<void()>& work) const
    {
        for (std::size_t i = 0; i < Pixels(); ++i) {
            m_screen[i] = static_cast<std::uint32_t>(i * 0x9E3779B1) >> 8;
        }
        work();
        return {m_screen, m_screen + Pixels()};
    }

    /// Seconds of each work, the library's first. First compares what the peers draw.
    [[nodiscard]] std::vector<double> Times(const std::string& name, std::vector<std::function<void()>> works,
                                            const std::vector<Peer>& peers) const
    {
        const Picture own = DrawnBy(works[0]);
        for (const Peer& peer : peers) {
            ExpectAlike(own, DrawnBy(peer.work), peer.tolerance, name + " by " + peer.name);
            works.push_back(peer.work);
        }
        return Bench::Compare(works);
    }

    void Row(const std::string& name, const std::function<void()>& own, const std::vector<Peer>& peers) const
    {
        const std::vector<double> times = Times(name, {own}, peers);
        Print(name, times[0], peers, {times.begin() + 1, times.end()});
    }

    /// Draws the image over the whole screen. The log lines stay in memory, and their time is subtracted. Drawing
    /// off-screen, which only writes the log lines, measures that time. It comes after the first peer's work, which
    /// leaves the caches as drawing does.
    void DrawRow(const std::string& name, const tBMP& image, const std::vector<Peer>& peers)
    {
        const auto draw = [&](int x) {
            m_display.DrawBmp(x, 0, image);
            Sim::TakeLog();
        };
        const auto peerAndLines = [&] {
            peers[0].work();
            draw(m_width);
        };
        const std::vector<double> times = Times(name, {[&] { draw(0); }, peerAndLines}, peers);
        Print(name, times[0] - (times[1] - times[2]), peers, {times.begin() + 2, times.end()});
    }

    void BenchCopy()
    {
        const PixmanImage screen = Pixman(m_screen);
        const PixmanImage image = Pixman(m_image.pData);
        const Surface target = Sdl(m_screen);
        const Surface source = Sdl(m_image.pData);
        SDL_SetSurfaceBlendMode(source.get(), SDL_BLENDMODE_NONE);
        DrawRow("DrawBmp, copy", m_image,
                {{"memcpy", [&] { std::memcpy(m_screen, m_image.pData, Bytes()); }},
                 {"pixman", [&] { Composite(PIXMAN_OP_SRC, image.get(), nullptr, screen.get()); }},
                 {"SDL2", [&] { SDL_BlitSurface(source.get(), nullptr, target.get(), nullptr); }}});
    }

    /// The image with alpha channels: 0 for the key colour.
    [[nodiscard]] std::vector<std::uint32_t> WithAlpha() const
    {
        std::vector<std::uint32_t> pixels(m_image.pData, m_image.pData + Pixels());
        for (std::uint32_t& pixel : pixels) {
            pixel = pixel == KEY ? 0 : pixel | 0xFF000000;
        }
        return pixels;
    }

    void BenchKey()
    {
        tBMP image = m_image;
        image.nKeyMode = 1;
        image.nKeyColor = KEY;
        image.nAlpha = 256;
        const PixmanImage screen = Pixman(m_screen);
        std::vector<std::uint32_t> pixels = WithAlpha();
        const PixmanImage keyed = Pixman(pixels.data(), PIXMAN_a8r8g8b8);
        const Surface target = Sdl(m_screen);
        const Surface source = Sdl(m_image.pData);
        SDL_SetSurfaceBlendMode(source.get(), SDL_BLENDMODE_NONE);
        SDL_SetColorKey(source.get(), SDL_TRUE, KEY);
        DrawRow("DrawBmp, colour key", image,
                {{"pixman", [&] { Composite(PIXMAN_OP_OVER, keyed.get(), nullptr, screen.get()); }},
                 {"SDL2", [&] { SDL_BlitSurface(source.get(), nullptr, target.get(), nullptr); }}});
    }

    void BenchBlend(bool isKeyed)
    {
        tBMP image = m_image;
        image.nKeyMode = isKeyed ? 1 : 0;
        image.nKeyColor = KEY;
        image.nBgMode = isKeyed ? 0 : 2;
        image.pBgData = m_screen;
        image.nAlpha = WEIGHT;
        const PixmanImage screen = Pixman(m_screen);
        std::vector<std::uint32_t> pixels = WithAlpha();
        const PixmanImage picture = isKeyed ? Pixman(pixels.data(), PIXMAN_a8r8g8b8) : Pixman(m_image.pData);
        const PixmanImage mask = Solid(WEIGHT);
        const Surface target = Sdl(m_screen);
        const Surface source = Sdl(m_image.pData);
        SDL_SetSurfaceBlendMode(source.get(), SDL_BLENDMODE_BLEND);
        SDL_SetSurfaceAlphaMod(source.get(), WEIGHT);
        SDL_SetColorKey(source.get(), isKeyed ? SDL_TRUE : SDL_FALSE, KEY);
        DrawRow(isKeyed ? "DrawBmp, key and blend" : "DrawBmp, blend", image,
                {{"pixman", [&] { Composite(PIXMAN_OP_OVER, picture.get(), mask.get(), screen.get()); }, 2},
                 {"SDL2", [&] { SDL_BlitSurface(source.get(), nullptr, target.get(), nullptr); }, 2}});
    }

    void BenchLoad()
    {
        const auto load = [&] {
            tBMP image = {};
            Expect(m_display.CreateBitmap(&image, m_file.c_str()) == 0, "the image cannot be loaded");
            std::free(image.pData);
        };
        const auto loadWithSdl = [&] {
            const Surface loaded(SDL_LoadBMP(m_file.c_str()), SDL_FreeSurface);
            return Surface(SDL_ConvertSurfaceFormat(loaded.get(), SDL_PIXELFORMAT_RGB888, 0), SDL_FreeSurface);
        };
        const Surface loaded = loadWithSdl();
        const auto* const pixels = static_cast<const std::uint32_t*>(loaded->pixels);
        ExpectAlike({m_image.pData, m_image.pData + Pixels()}, {pixels, pixels + Pixels()}, 0, "CreateBitmap by SDL2");
        std::vector<char> buffer(std::filesystem::file_size(m_file));
        const auto read = [&] {
            std::ifstream file(m_file, std::ios::binary);
            file.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
            Expect(file.good(), "the image cannot be read");
        };
        const std::vector<double> times = Bench::Compare({load, loadWithSdl});
        Print("CreateBitmap", times[0], {{"SDL2", loadWithSdl}}, {times[1]});
        std::printf("%-24s %8.1f us   the bytes alone\n", "reading the file", Bench::Compare({read})[0] * 1e6);
    }

    int m_width;
    int m_height;
    std::filesystem::path m_file;
    IOCTL::CFBLib m_display;
    tBMP m_image = {};
    std::uint32_t* m_screen = nullptr;
};

}  // namespace

int main()
{
    Sim::PowerOn();
    Display(800, 480).Run();
    Display(1920, 1080).Run();
    Display(800, 480).RunTarget();
}
