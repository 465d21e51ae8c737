#ifndef VAULTIX_STORAGE_CXIO_H
#define VAULTIX_STORAGE_CXIO_H

#include <cerrno>
#include <cstdint>
#include <string>

// Everything the record file asks of the file system, so that a test can
// stand in for the disk (and cut its power).
class CxIo
{
public:
    enum class Mode {
        ReadWrite,
        ReadOnly,
        // Makes the file when missing and never truncates it.
        Create,
        // Makes a new file, readable by its owner only; EEXIST when anything
        // (a file, a folder, a link) is at the path already.
        CreateNew,
    };

    virtual ~CxIo() = default;
    // 0 on success, else the errno of the failure (ENOENT: no such file).
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
    // Moves the file at `from` (which need not be open here) to `to`, never
    // over an existing file, and makes the move durable.
    virtual bool rename(const char* from, const char* to) = 0;
    // The errno of the last call that failed.
    virtual int lastError() const { return EIO; }
};

// The real file system: positioned reads and writes on a descriptor.
class CxPosixIo : public CxIo
{
public:
    // `ownFilesOnly`, for files that only this program makes (the journal):
    // a path that is a symbolic link, not a regular file, or another user's
    // file is never opened (ELOOP, EINVAL or EPERM), so nothing is ever read
    // from or written through it. Otherwise (the data file) a link is
    // followed, and a file opened for writing that others may read is
    // made readable by its owner only.
    explicit CxPosixIo(bool ownFilesOnly = false) : m_ownFilesOnly(ownFilesOnly) {}
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
    bool rename(const char* from, const char* to) override;
    int lastError() const override { return m_error; }

private:
    bool failed();

    bool m_ownFilesOnly;
    int m_fd = -1;
    int m_error = 0;
    bool m_created = false;
    std::string m_folder;
};

#endif
