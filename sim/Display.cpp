// "/dev/fb0" of the simulated board: a framebuffer whose pixels are in a file, so that the system itself maps them.
#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <linux/fb.h>
#include <sys/mman.h>
#include <unistd.h>

#include "sim/Devices.h"
#include "sim/Intercept.h"

namespace Sim {

namespace {

constexpr unsigned long SET_OSD_INFO = 0x4018466F;
constexpr unsigned long SET_BRIGHTNESS = 0x40044602;
constexpr int BITS_PER_PIXEL = 32;
constexpr int MAX_BRIGHTNESS = 100;

using Area = std::array<std::int32_t, 6>;  // 0, bits per pixel, width, height, x, y

void Close(int fd)
{
    static auto* const next = Next<int(int)>("close");
    next(fd);
}

/// A file that ends with its last user.
class Memory {
public:
    explicit Memory(std::size_t size) : Memory()
    {
        if (m_fd < 0 || ftruncate(m_fd, static_cast<off_t>(size)) != 0) {
            throw std::system_error(errno, std::generic_category(), "memory of the screen");
        }
    }
    ~Memory() { Close(m_fd); }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    /// Where it can be opened.
    [[nodiscard]] std::string Path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

private:
    Memory() : m_fd(memfd_create("screen", MFD_CLOEXEC)) {}

    int m_fd;
};

struct State {
    std::unique_ptr<Memory> memory;  // none while the pixels are in a file of the launcher's
    std::string path;
    int width = 0;
    int height = 0;
    std::optional<Area> area;
    int brightness = MAX_BRIGHTNESS;
};

std::mutex g_mutex;

State& TheState()
{
    static State& state = *new State;  // never destroyed: calls arrive until the very end of the process
    return state;
}

std::size_t PixelCount()
{
    return static_cast<std::size_t>(TheState().width) * static_cast<std::size_t>(TheState().height);
}

fb_var_screeninfo VariableInfo()
{
    fb_var_screeninfo info = {};
    info.xres = info.xres_virtual = static_cast<__u32>(TheState().width);
    info.yres = info.yres_virtual = static_cast<__u32>(TheState().height);
    info.bits_per_pixel = BITS_PER_PIXEL;
    info.red = {16, 8, 0};
    info.green = {8, 8, 0};
    info.blue = {0, 8, 0};
    return info;
}

fb_fix_screeninfo FixedInfo()
{
    fb_fix_screeninfo info = {};
    std::strncpy(info.id, "simboard", sizeof info.id);
    info.smem_len = static_cast<__u32>(PixelCount() * sizeof(std::uint32_t));
    info.line_length = static_cast<__u32>(TheState().width) * __u32{sizeof(std::uint32_t)};
    info.type = FB_TYPE_PACKED_PIXELS;
    info.visual = FB_VISUAL_TRUECOLOR;
    return info;
}

/// True for an area of that many pixels, from that one on, that is inside the screen.
bool IsInside(std::int32_t first, std::int32_t count, int size)
{
    return first >= 0 && count >= 1 && std::int64_t{first} + count <= size;
}

int SetArea(const Area& area)
{
    const auto [reserved, depth, width, height, x, y] = area;
    if (HasFault("display-refuses") || reserved != 0 || depth != BITS_PER_PIXEL ||
        !IsInside(x, width, TheState().width) || !IsInside(y, height, TheState().height)) {
        return -EINVAL;
    }
    TheState().area = area;
    return 0;
}

int SetBrightness(std::int32_t level)
{
    if (level < 0 || level > MAX_BRIGHTNESS) {
        return -EINVAL;
    }
    TheState().brightness = level;
    return 0;
}

class Framebuffer : public Device {
public:
    int Open(int flags) override
    {
        const std::lock_guard lock(g_mutex);
        return HasFault("display-missing") ? -ENOENT : OpenBehind(TheState().path, flags);
    }
    int Request(unsigned long request, void* argument) override
    {
        const std::lock_guard lock(g_mutex);
        switch (request) {
        case FBIOGET_VSCREENINFO:
            *static_cast<fb_var_screeninfo*>(argument) = VariableInfo();
            return 0;
        case FBIOGET_FSCREENINFO:
            *static_cast<fb_fix_screeninfo*>(argument) = FixedInfo();
            return 0;
        case SET_OSD_INFO:
            return SetArea(*static_cast<const Area*>(argument));
        case SET_BRIGHTNESS:
            return SetBrightness(*static_cast<const std::int32_t*>(argument));
        default:
            return -ENOTTY;
        }
    }
};

}  // namespace

Device& Display()
{
    static Framebuffer framebuffer;
    return framebuffer;
}

void ResetDisplay()
{
    const std::lock_guard lock(g_mutex);
    TheState() = {};
}

void SetScreenSize(int width, int height)
{
    if (width < 1 || width > MAX_SCREEN_SIDE || height < 1 || height > MAX_SCREEN_SIDE) {
        throw std::invalid_argument("a screen has 1 to " + std::to_string(MAX_SCREEN_SIDE) + " pixels each way");
    }
    const std::lock_guard lock(g_mutex);
    State& state = TheState();
    state.width = width;
    state.height = height;
    state.memory = std::make_unique<Memory>(PixelCount() * sizeof(std::uint32_t));
    state.path = state.memory->Path();
}

void UseScreenFile(const std::string& path, int width, int height)
{
    const std::lock_guard lock(g_mutex);
    TheState().width = width;
    TheState().height = height;
    TheState().memory.reset();
    TheState().path = path;
}

Picture ScreenSize()
{
    const std::lock_guard lock(g_mutex);
    return {TheState().width, TheState().height, {}};
}

Picture LookAtScreen()
{
    const std::lock_guard lock(g_mutex);
    Picture picture = {TheState().width, TheState().height, std::vector<std::uint32_t>(PixelCount())};
    const int fd = OpenBehind(TheState().path, O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {  // a file that somebody has removed shows nothing
        static_cast<void>(pread(fd, picture.pixels.data(), picture.pixels.size() * sizeof(std::uint32_t), 0));
        Close(fd);
    }
    return picture;
}

std::vector<std::uint32_t> Screen()
{
    return LookAtScreen().pixels;
}

std::optional<std::array<std::int32_t, 6>> DisplayArea()
{
    const std::lock_guard lock(g_mutex);
    return TheState().area;
}

int Brightness()
{
    const std::lock_guard lock(g_mutex);
    return TheState().brightness;
}

}  // namespace Sim
