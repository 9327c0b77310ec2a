// Ownership of a file descriptor.
#pragma once

#include <unistd.h>

namespace TestApp {

/// Closes its descriptor when it takes another and when it goes out of scope; a negative one stands for none.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    ~Descriptor() { Reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int Get() const { return m_fd; }
    [[nodiscard]] bool IsValid() const { return m_fd >= 0; }

    void Reset(int fd = -1)
    {
        if (m_fd >= 0) {
            close(m_fd);
        }
        m_fd = fd;
    }

private:
    int m_fd;
};

}  // namespace TestApp
