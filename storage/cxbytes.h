#ifndef VAULTIX_STORAGE_CXBYTES_H
#define VAULTIX_STORAGE_CXBYTES_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

// A growable byte buffer for file contents, which hold records: whatever it
// held is wiped before its memory goes back, also when it moves to a larger
// block, and when it shrinks.
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
        if (size < 0)
            return false;
        if (size > m_capacity) {
            const int64_t capacity = std::max<int64_t>({size, m_capacity + m_capacity / 2, 4096});
            auto* bigger = new (std::nothrow) unsigned char[size_t(capacity)];
            if (!bigger)
                return false;
            const int64_t kept = m_size;
            if (kept > 0)
                std::memcpy(bigger, m_data, size_t(kept));
            release();
            m_data = bigger;
            m_capacity = capacity;
            std::memset(m_data + kept, 0, size_t(capacity - kept));
            m_size = size;
            return true;
        }
        if (size < m_size)
            std::memset(m_data + size, 0, size_t(m_size - size));
        m_size = size;
        return true;
    }

    // Appends `length` bytes; false when memory runs out.
    bool append(const unsigned char* bytes, int64_t length)
    {
        const int64_t at = m_size;
        if (!resize(m_size + length))
            return false;
        if (length > 0)
            std::memcpy(m_data + at, bytes, size_t(length));
        return true;
    }

    void clear() { resize(0); }

    // Wipes and frees.
    void release()
    {
        if (m_data) {
            std::memset(m_data, 0, size_t(m_capacity));
            delete[] m_data;
        }
        m_data = nullptr;
        m_size = m_capacity = 0;
    }

private:
    unsigned char* m_data = nullptr;
    int64_t m_size = 0;
    int64_t m_capacity = 0;
};

#endif
