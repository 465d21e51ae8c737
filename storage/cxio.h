#ifndef VAULTIX_STORAGE_CXIO_H
#define VAULTIX_STORAGE_CXIO_H

#include <cstdint>

// Everything the record file asks of the file system, so that a test can
// stand in for the disk (and cut its power).
class CxIo
{
public:
    enum class Mode { ReadWrite, ReadOnly, Create };

    virtual ~CxIo() = default;
    // 0 on success, else the errno of the failure (ENOENT: no such file).
    // Create makes the file when missing and never truncates it.
    virtual int open(const char* path, Mode mode) = 0;
    virtual void close() = 0;
    virtual bool isOpen() const = 0;
    // Whole transfers only: false when fewer bytes could be moved.
    virtual bool read(int64_t offset, void* buffer, int64_t length) = 0;
    virtual bool write(int64_t offset, const void* buffer, int64_t length) = 0;
    // The file's length in bytes, -1 when it cannot be had.
    virtual int64_t size() = 0;
    virtual bool sync() = 0;
};

// The real file system: positioned reads and writes on a descriptor.
class CxPosixIo : public CxIo
{
public:
    ~CxPosixIo() override;
    int open(const char* path, Mode mode) override;
    void close() override;
    bool isOpen() const override { return m_fd >= 1; }
    bool read(int64_t offset, void* buffer, int64_t length) override;
    bool write(int64_t offset, const void* buffer, int64_t length) override;
    int64_t size() override;
    bool sync() override;

private:
    int m_fd = -1;
};

#endif
