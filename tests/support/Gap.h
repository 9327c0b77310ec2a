// A place in memory for a mapping that a test watches.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include <sys/mman.h>

namespace Support {

/// A gap of address space that the system gives to the next mapping of its size, between inaccessible pages.
class Gap {
public:
    explicit Gap(std::size_t size) : m_size((size + PAGE - 1) / PAGE * PAGE)
    {
        m_pages = Reserve(m_size + 2 * PAGE);
        munmap(m_pages + PAGE, m_size);
        unsigned char* place = Reserve(m_size);
        for (; place != m_pages + PAGE; place = Reserve(m_size)) {
            m_filled.push_back(place);  // a gap that the system prefers: filled
        }
        munmap(place, m_size);
    }
    ~Gap()
    {
        munmap(m_pages, PAGE);
        munmap(m_pages + PAGE + m_size, PAGE);
        std::for_each(m_filled.begin(), m_filled.end(), [&](unsigned char* filled) { munmap(filled, m_size); });
    }
    Gap(const Gap&) = delete;
    Gap& operator=(const Gap&) = delete;

    /// True when all its pages are mapped.
    [[nodiscard]] bool IsMapped() const { return msync(m_pages + PAGE, m_size, MS_ASYNC) == 0; }
    /// What is mapped there, the rest of the last page included.
    [[nodiscard]] std::uint32_t* Words() const { return reinterpret_cast<std::uint32_t*>(m_pages + PAGE); }
    [[nodiscard]] std::size_t WordCount() const { return m_size / sizeof(std::uint32_t); }

private:
    static constexpr std::size_t PAGE = 4096;

    static unsigned char* Reserve(std::size_t size)
    {
        void* const pages = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) {
            throw std::bad_alloc();
        }
        return static_cast<unsigned char*>(pages);
    }

    std::size_t m_size;
    unsigned char* m_pages;
    std::vector<unsigned char*> m_filled;
};

}  // namespace Support
