// Ownership of a file descriptor.
#pragma once

#include <unistd.h>

namespace Station {

/// Closes its descriptor when it goes out of scope; a negative one stands for none.
class Descriptor {
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor()
    {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int Get() const { return m_fd; }
    [[nodiscard]] bool IsValid() const { return m_fd >= 0; }

private:
    const int m_fd;
};

}  // namespace Station
