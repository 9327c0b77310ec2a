// The touch panel of the simulated board: an input device whose events come out of a pipe.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

#include "sim/Device.h"
#include "sim/Real.h"
#include "sim/SimBoard.h"
#include "sim/devices/Operator.h"
#include "sim/devices/Screen.h"

namespace Sim {

namespace {

constexpr int LOOK_MS = 10;  // between two looks of the operator
constexpr int FINGER_SAMPLES = 3;
constexpr int FINGER_PRESSURE = 120;
constexpr int MAX_PRESSURE = 255;
constexpr int SHIFT = 40;           // pixels, for the fault touch-shifted
constexpr int HEALTHY_TOUCHES = 2;  // before the faults touch-unplugged and touch-silent

// The first request numbers of EVIOCGBIT and EVIOCGABS (linux/input.h).
constexpr unsigned int FIRST_TYPE = 0x20;
constexpr unsigned int FIRST_AXIS = 0x40;

bool HasInput(int fd)
{
    pollfd input = {fd, POLLIN, 0};
    return poll(&input, 1, 0) > 0;
}

/// The events of a sample, as the kernel's input drivers report them: a lifted finger has no position.
std::vector<input_event> Events(const TouchSample& sample, bool wasTouched)
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    std::vector<input_event> events;
    const auto add = [&](int type, int code, int value) {
        events.push_back({now, static_cast<__u16>(type), static_cast<__u16>(code), value});
    };
    const bool isTouched = sample.pressure > 0;
    if (isTouched) {
        add(EV_ABS, ABS_X, sample.x);
        add(EV_ABS, ABS_Y, sample.y);
    }
    add(EV_ABS, ABS_PRESSURE, sample.pressure);
    if (isTouched != wasTouched) {
        add(EV_KEY, BTN_TOUCH, isTouched ? 1 : 0);
    }
    add(EV_SYN, SYN_REPORT, 0);
    return events;
}

/// The panel's codes of an event type; for type 0 its event types.
std::vector<int> Codes(unsigned int type)
{
    switch (type) {
    case 0:
        return {EV_SYN, EV_KEY, EV_ABS};
    case EV_KEY:
        return {BTN_TOUCH};
    case EV_ABS:
        return {ABS_X, ABS_Y, ABS_PRESSURE};
    default:
        return {};
    }
}

/// Sets the bit of each code in a record of `size` bytes. Returns `size`.
int ReportCodes(const std::vector<int>& codes, unsigned char* bits, std::size_t size)
{
    std::fill_n(bits, size, static_cast<unsigned char>(0));
    for (const auto code : codes) {
        const auto index = static_cast<std::size_t>(code);
        if (index / 8 < size) {
            bits[index / 8] = static_cast<unsigned char>(bits[index / 8] | 1U << index % 8);
        }
    }
    return static_cast<int>(size);
}

input_absinfo Range(unsigned int axis)
{
    const Picture screen = ScreenSize();
    input_absinfo range = {};
    switch (axis) {
    case ABS_X:
        range.maximum = screen.width - 1;
        break;
    case ABS_Y:
        range.maximum = screen.height - 1;
        break;
    case ABS_PRESSURE:
        range.maximum = MAX_PRESSURE;
        break;
    default:
        break;
    }
    return range;
}

/// One program at a time can open it.
class Panel : public Node {
public:
    Panel() : Node("", "touch-missing", "the touch panel's device does not exist") {}

    std::optional<int> Request(unsigned long request, void* argument) override;
    int BeforeRead(int fd) override;
    [[nodiscard]] bool HandlesBytes() const override { return true; }
    void Close(int fd) override;
    void Reset() override;

    void Touch(const std::vector<TouchSample>& samples);
    void UseOperator();

protected:
    [[nodiscard]] std::string Path() const override;
    int OpenNode(int flags) override;

private:
    // With the mutex held:
    void End();
    void Feed();
    bool Feed(const TouchSample& sample);
    [[nodiscard]] TouchSample Misread(TouchSample sample) const;
    [[nodiscard]] bool IsWornOut() const { return m_touches >= HEALTHY_TOUCHES; }
    void LookAndTouch();

    DeviceFault m_shifted{*this, "touch-shifted", "the touch panel reads positions 40 pixels too far right"};
    DeviceFault m_mirrored{*this, "touch-mirrored", "the touch panel reads left as right"};
    DeviceFault m_unplugged{*this, "touch-unplugged", "the touch panel cannot be read after two touches"};
    DeviceFault m_silent{*this, "touch-silent", "the touch panel notices no touch after the first two"};

    std::mutex m_mutex;
    std::atomic<int> m_fd = -1;         // the program's end of the pipe, while it has the panel open
    int m_feed = -1;                    // the other end
    std::deque<TouchSample> m_samples;  // not in the pipe yet
    bool m_isTouched = false;
    int m_touches = 0;  // completed since the panel was opened
    bool m_hasOperator = false;
    Operator m_operator;
};

std::string Panel::Path() const
{
    const char* const path = std::getenv("TSLIB_TSDEVICE");
    return path != nullptr ? path : "/dev/touchscreen/ucb1x00";
}

int Panel::OpenNode(int flags)
{
    const std::lock_guard lock(m_mutex);
    if (m_fd >= 0) {
        return -EBUSY;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return -errno;
    }
    fcntl(ends[0], F_SETFL, flags & O_NONBLOCK);
    fcntl(ends[0], F_SETFD, (flags & O_CLOEXEC) != 0 ? FD_CLOEXEC : 0);
    m_fd = ends[0];
    m_feed = ends[1];
    m_operator.Remember();
    Feed();
    return ends[0];
}

std::optional<int> Panel::Request(unsigned long request, void* argument)
{
    const auto number = static_cast<unsigned int>(_IOC_NR(request));
    if (request == EVIOCGVERSION) {
        *static_cast<int*>(argument) = EV_VERSION;
        return 0;
    }
    if (request == EVIOCGID) {
        *static_cast<input_id*>(argument) = {BUS_HOST, 0, 0, 0};
        return 0;
    }
    if (request == EVIOCGRAB) {
        return 0;  // nobody else has it
    }
    if (_IOC_TYPE(request) == 'E' && number >= FIRST_AXIS && number < FIRST_AXIS + ABS_CNT) {
        *static_cast<input_absinfo*>(argument) = Range(number - FIRST_AXIS);
        return 0;
    }
    if (_IOC_TYPE(request) == 'E' && number >= FIRST_TYPE && number < FIRST_TYPE + EV_CNT) {
        return ReportCodes(Codes(number - FIRST_TYPE), static_cast<unsigned char*>(argument), _IOC_SIZE(request));
    }
    return -ENOTTY;
}

void Panel::Close(int fd)
{
    const std::lock_guard lock(m_mutex);
    if (fd == m_fd) {
        End();
    }
}

void Panel::End()
{
    if (m_fd >= 0) {
        Real::Close(m_feed);
        m_fd = -1;
    }
    m_samples.clear();
    m_isTouched = false;
    m_touches = 0;
}

void Panel::Touch(const std::vector<TouchSample>& samples)
{
    const std::lock_guard lock(m_mutex);
    m_samples.insert(m_samples.end(), samples.begin(), samples.end());
    Feed();
}

void Panel::UseOperator()
{
    const std::lock_guard lock(m_mutex);
    m_hasOperator = true;
}

void Panel::Reset()
{
    const std::lock_guard lock(m_mutex);
    End();
    m_hasOperator = false;
}

/// Fills the pipe.
void Panel::Feed()
{
    while (m_fd >= 0 && !m_samples.empty() && Feed(m_samples.front())) {
        m_samples.pop_front();
    }
}

/// False when the pipe is full.
bool Panel::Feed(const TouchSample& sample)
{
    if (IsWornOut() && (m_silent || m_unplugged)) {
        return true;  // the sample is lost
    }
    const std::vector<input_event> events = Events(Misread(sample), m_isTouched);
    const std::size_t size = events.size() * sizeof(input_event);
    if (Real::Write(m_feed, events.data(), size) < 0) {  // all of it or nothing, see pipe(7)
        return false;
    }
    const bool isTouched = sample.pressure > 0;
    m_touches += m_isTouched && !isTouched ? 1 : 0;
    m_isTouched = isTouched;
    return true;
}

/// The sample as the panel reports it, with its faults.
TouchSample Panel::Misread(TouchSample sample) const
{
    if (m_shifted) {
        sample.x += SHIFT;
    }
    if (m_mirrored) {
        sample.x = ScreenSize().width - 1 - sample.x;
    }
    return sample;
}

void Panel::LookAndTouch()
{
    if (const auto target = m_operator.Look()) {
        m_samples.insert(m_samples.end(), FINGER_SAMPLES, {target->x, target->y, FINGER_PRESSURE});
        m_samples.push_back({target->x, target->y, 0});
        Feed();
    }
}

/// Lets the operator look and touch until there is something to read.
int Panel::BeforeRead(int fd)
{
    while (fd == m_fd) {
        {
            const std::lock_guard lock(m_mutex);
            Feed();
            if (HasInput(fd)) {
                return 0;
            }
            if (IsWornOut() && m_unplugged) {
                return -ENODEV;
            }
            if (m_hasOperator) {
                LookAndTouch();
            }
            if (!m_hasOperator || (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0) {
                return 0;
            }
        }
        pollfd input = {fd, POLLIN, 0};
        if (const int result = poll(&input, 1, LOOK_MS); result != 0) {
            return result < 0 ? -errno : 0;
        }
    }
    return 0;
}

Panel& ThePanel()
{
    static Panel& panel = *new Panel;  // never destroyed: calls arrive until the very end of the process
    return panel;
}

}  // namespace

Device& TouchPanel()
{
    return ThePanel();
}

void Touch(const std::vector<TouchSample>& samples)
{
    ThePanel().Touch(samples);
}

void UseOperator()
{
    ThePanel().UseOperator();
}

}  // namespace Sim
