#ifndef VAULTIX_CRYPTO_WIPE_H
#define VAULTIX_CRYPTO_WIPE_H

#include <cstddef>
#include <cstring>
#include <utility>

// Clears plaintext before its memory is released. explicit_bzero is a
// memset that the compiler may not drop as dead; a byte-at-a-time volatile
// loop was a tenth of an import's time.
inline void WipeBytes(void* p, std::size_t n)
{
    if (n)
        explicit_bzero(p, n);
}

// A zero-filled heap buffer for plaintext and keys, cleared before its
// memory goes back: the one owner of such bytes, so that no path can free
// them unwiped. Reads as a plain char pointer (null when empty).
class CWipedBuffer
{
public:
    CWipedBuffer() = default;
    explicit CWipedBuffer(std::size_t size)
        : m_data(size ? new char[size]() : nullptr)
        , m_size(m_data ? size : 0)
    {
    }
    ~CWipedBuffer() { reset(); }

    CWipedBuffer(const CWipedBuffer&) = delete;
    CWipedBuffer& operator=(const CWipedBuffer&) = delete;
    CWipedBuffer(CWipedBuffer&& other) noexcept
        : m_data(std::exchange(other.m_data, nullptr))
        , m_size(std::exchange(other.m_size, 0))
    {
    }
    CWipedBuffer& operator=(CWipedBuffer&& other) noexcept
    {
        if (this != &other) {
            reset();
            m_data = std::exchange(other.m_data, nullptr);
            m_size = std::exchange(other.m_size, 0);
        }
        return *this;
    }

    char* data() const { return m_data; }
    std::size_t size() const { return m_size; }
    operator char*() const { return m_data; }

    void reset()
    {
        if (m_data)
            WipeBytes(m_data, m_size);
        delete[] m_data;
        m_data = nullptr;
        m_size = 0;
    }

private:
    char* m_data = nullptr;
    std::size_t m_size = 0;
};

#endif
