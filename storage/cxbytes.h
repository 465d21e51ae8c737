#ifndef VAULTIX_STORAGE_CXBYTES_H
#define VAULTIX_STORAGE_CXBYTES_H

#include <cstdint>
#include <cstring>

#include <sys/mman.h>

// A growable byte buffer for file contents, which hold records. Its memory
// is mapped directly (large pages where the system offers them, for a whole
// file read at once) and moved, not copied, when it grows, so no copy is left
// behind; what it held is wiped when it shrinks. Unmapped pages go back to
// the system, which clears them before anyone gets them again.
class CxBytes
{
public:
    CxBytes() = default;
    ~CxBytes() { release(); }
    CxBytes(const CxBytes&) = delete;
    CxBytes& operator=(const CxBytes&) = delete;

    unsigned char* data() { return m_data; }
    const unsigned char* data() const { return m_data; }
    int64_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }

    // New bytes are zero; false, with nothing changed, when memory runs out.
    bool resize(int64_t size)
    {
        if (size < 0 || !reserve(size))
            return false;
        if (size < m_size)
            std::memset(m_data + size, 0, size_t(m_size - size));
        // Fresh pages are zero already; bytes once used and cut off were
        // wiped then.
        m_size = size;
        return true;
    }

    // Appends `length` bytes; false when memory runs out.
    bool append(const unsigned char* bytes, int64_t length)
    {
        if (length <= 0)
            return length == 0;
        if (!reserve(m_size + length))
            return false;
        std::memcpy(m_data + m_size, bytes, size_t(length));
        m_size += length;
        return true;
    }

    void clear() { resize(0); }

    void release()
    {
        if (m_data)
            munmap(m_data, size_t(m_capacity));
        m_data = nullptr;
        m_size = m_capacity = 0;
    }

private:
    bool reserve(int64_t size)
    {
        if (size <= m_capacity)
            return true;
        constexpr int64_t Page = 4096;
        constexpr int64_t Large = int64_t(2) << 20;
        int64_t capacity = m_capacity + m_capacity / 2;
        if (capacity < size)
            capacity = size;
        capacity = (capacity + Page - 1) / Page * Page;
        void* at = m_data ? mremap(m_data, size_t(m_capacity), size_t(capacity), MREMAP_MAYMOVE)
                          : mmap(nullptr, size_t(capacity), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (at == MAP_FAILED)
            return false;
        if (capacity >= Large)
            madvise(at, size_t(capacity), MADV_HUGEPAGE);
        m_data = static_cast<unsigned char*>(at);
        m_capacity = capacity;
        return true;
    }

    unsigned char* m_data = nullptr;
    int64_t m_size = 0;
    int64_t m_capacity = 0;
};

#endif
