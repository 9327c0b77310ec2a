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

#include "sim/Board.h"
#include "sim/Real.h"
#include "sim/SimBoard.h"
#include "sim/devices/Screen.h"

namespace Sim {

namespace {

constexpr unsigned long SET_OSD_INFO = 0x4018466F;
constexpr unsigned long SET_BRIGHTNESS = 0x40044602;
constexpr int BITS_PER_PIXEL = 32;
constexpr int MAX_BRIGHTNESS = 100;

using Area = std::array<std::int32_t, 6>;  // 0, bits per pixel, width, height, x, y

/// An unnamed file in memory, gone with its last user.
class Memory {
public:
    explicit Memory(std::size_t size) : Memory()
    {
        if (m_fd < 0 || ftruncate(m_fd, static_cast<off_t>(size)) != 0) {
            throw std::system_error(errno, std::generic_category(), "memory of the screen");
        }
    }
    ~Memory() { Real::Close(m_fd); }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    /// The path to open it by.
    [[nodiscard]] std::string Path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

private:
    Memory() : m_fd(memfd_create("screen", MFD_CLOEXEC)) {}

    int m_fd;
};

struct State {
    std::unique_ptr<Memory> memory;  // null while the launcher's file holds the pixels
    std::string path;
    int width = 0;
    int height = 0;
    std::optional<Area> area;
    int brightness = MAX_BRIGHTNESS;
};

/// True when `count` pixels from `first` on are inside a screen of `size` pixels.
bool IsInside(std::int32_t first, std::int32_t count, int size)
{
    return first >= 0 && count >= 1 && std::int64_t{first} + count <= size;
}

class Framebuffer : public Node {
public:
    Framebuffer() : Node("/dev/fb0", "display-missing", "the display's device does not exist") {}

    std::optional<int> Request(unsigned long request, void* argument) override;
    void Reset() override;
    void PowerOn() override { SetSize(800, 480); }

    void SetSize(int width, int height);
    void UseFile(const std::string& path, int width, int height);
    Picture Size();
    Picture Look();
    std::optional<Area> AcceptedArea();
    int Brightness();

protected:
    int OpenNode(int flags) override;

private:
    // With the mutex held:
    [[nodiscard]] std::size_t PixelCount() const;
    [[nodiscard]] fb_var_screeninfo VariableInfo() const;
    [[nodiscard]] fb_fix_screeninfo FixedInfo() const;
    int SetArea(const Area& area);
    int SetBrightness(std::int32_t level);

    DeviceFault m_refuses{*this, "display-refuses", "the display refuses every area"};

    std::mutex m_mutex;
    State m_state;
};

std::size_t Framebuffer::PixelCount() const
{
    return static_cast<std::size_t>(m_state.width) * static_cast<std::size_t>(m_state.height);
}

fb_var_screeninfo Framebuffer::VariableInfo() const
{
    fb_var_screeninfo info = {};
    info.xres = info.xres_virtual = static_cast<__u32>(m_state.width);
    info.yres = info.yres_virtual = static_cast<__u32>(m_state.height);
    info.bits_per_pixel = BITS_PER_PIXEL;
    info.red = {16, 8, 0};
    info.green = {8, 8, 0};
    info.blue = {0, 8, 0};
    return info;
}

fb_fix_screeninfo Framebuffer::FixedInfo() const
{
    fb_fix_screeninfo info = {};
    std::strncpy(info.id, "simboard", sizeof info.id);
    info.smem_len = static_cast<__u32>(PixelCount() * sizeof(std::uint32_t));
    info.line_length = static_cast<__u32>(m_state.width) * __u32{sizeof(std::uint32_t)};
    info.type = FB_TYPE_PACKED_PIXELS;
    info.visual = FB_VISUAL_TRUECOLOR;
    return info;
}

int Framebuffer::SetArea(const Area& area)
{
    const auto [reserved, depth, width, height, x, y] = area;
    if (m_refuses || reserved != 0 || depth != BITS_PER_PIXEL || !IsInside(x, width, m_state.width) ||
        !IsInside(y, height, m_state.height)) {
        return -EINVAL;
    }
    m_state.area = area;
    return 0;
}

int Framebuffer::SetBrightness(std::int32_t level)
{
    if (level < 0 || level > MAX_BRIGHTNESS) {
        return -EINVAL;
    }
    m_state.brightness = level;
    Meter("brightness", std::to_string(level));
    return 0;
}

int Framebuffer::OpenNode(int flags)
{
    const std::lock_guard lock(m_mutex);
    return Real::Open(m_state.path, NodeFlags(flags));
}

std::optional<int> Framebuffer::Request(unsigned long request, void* argument)
{
    const std::lock_guard lock(m_mutex);
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

void Framebuffer::Reset()
{
    const std::lock_guard lock(m_mutex);
    m_state = {};
}

void Framebuffer::SetSize(int width, int height)
{
    const std::lock_guard lock(m_mutex);
    m_state.width = width;
    m_state.height = height;
    m_state.memory = std::make_unique<Memory>(PixelCount() * sizeof(std::uint32_t));
    m_state.path = m_state.memory->Path();
}

void Framebuffer::UseFile(const std::string& path, int width, int height)
{
    const std::lock_guard lock(m_mutex);
    m_state.width = width;
    m_state.height = height;
    m_state.memory.reset();
    m_state.path = path;
}

Picture Framebuffer::Size()
{
    const std::lock_guard lock(m_mutex);
    return {m_state.width, m_state.height, {}};
}

Picture Framebuffer::Look()
{
    const std::lock_guard lock(m_mutex);
    Picture picture = {m_state.width, m_state.height, std::vector<std::uint32_t>(PixelCount())};
    const int fd = Real::Open(m_state.path, O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {  // a file that has been removed leaves the pixels black
        static_cast<void>(pread(fd, picture.pixels.data(), picture.pixels.size() * sizeof(std::uint32_t), 0));
        Real::Close(fd);
    }
    return picture;
}

std::optional<Area> Framebuffer::AcceptedArea()
{
    const std::lock_guard lock(m_mutex);
    return m_state.area;
}

int Framebuffer::Brightness()
{
    const std::lock_guard lock(m_mutex);
    return m_state.brightness;
}

Framebuffer& TheFramebuffer()
{
    static Framebuffer& framebuffer = *new Framebuffer;  // never destroyed: calls arrive until the process has ended
    return framebuffer;
}

}  // namespace

Device& Display()
{
    return TheFramebuffer();
}

void SetScreenSize(int width, int height)
{
    if (width < 1 || width > MAX_SCREEN_SIDE || height < 1 || height > MAX_SCREEN_SIDE) {
        throw std::invalid_argument("a screen has 1 to " + std::to_string(MAX_SCREEN_SIDE) + " pixels each way");
    }
    TheFramebuffer().SetSize(width, height);
}

void UseScreenFile(const std::string& path, int width, int height)
{
    TheFramebuffer().UseFile(path, width, height);
}

Picture ScreenSize()
{
    return TheFramebuffer().Size();
}

Picture LookAtScreen()
{
    return TheFramebuffer().Look();
}

std::vector<std::uint32_t> Screen()
{
    return LookAtScreen().pixels;
}

std::optional<std::array<std::int32_t, 6>> DisplayArea()
{
    return TheFramebuffer().AcceptedArea();
}

int Brightness()
{
    return TheFramebuffer().Brightness();
}

}  // namespace Sim
