// Ownership of a descriptor for the length of a call.
#pragma once

#include <unistd.h>

namespace Common {

/// Closes its descriptor when it goes out of scope, unless `Close` has done so before. 0 is a descriptor like any
/// other, a negative value stands for none.
class UniqueFd {
public:
    explicit UniqueFd(int fd) : m_fd(fd) {}
    ~UniqueFd() { Close(); }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    [[nodiscard]] int Get() const { return m_fd; }
    [[nodiscard]] bool IsValid() const { return m_fd >= 0; }

    void Close()
    {
        if (m_fd >= 0) {
            close(m_fd);
            m_fd = -1;
        }
    }

private:
    int m_fd;
};

}  // namespace Common
