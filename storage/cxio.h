#ifndef VAULTIX_STORAGE_CXIO_H
#define VAULTIX_STORAGE_CXIO_H

#include <cstdint>
#include <string>

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
    virtual bool truncate(int64_t length) = 0;
    // Something that tells this file from another at the same path (a
    // replaced file gets a new one); -1 when unknown.
    virtual int64_t fileId() = 0;
    // Removes the file at `path` (which need not be open here) and makes the
    // removal durable. A missing file counts as removed.
    virtual bool remove(const char* path) = 0;
    // The errno of the last call that failed since open(), 0 when none did
    // or the stand-in cannot tell; names the cause for the user.
    virtual int lastError() const { return 0; }
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
    // The first sync of a file that open() created also syncs its
    // folder, so the file's name survives a power cut too.
    bool sync() override;
    bool truncate(int64_t length) override;
    int64_t fileId() override;
    bool remove(const char* path) override;
    int lastError() const override { return m_error; }

private:
    bool failed();

    int m_error = 0;
    int m_fd = -1;
    bool m_created = false;
    std::string m_folder;
};

#endif
