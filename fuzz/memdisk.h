#ifndef VAULTIX_FUZZ_MEMDISK_H
#define VAULTIX_FUZZ_MEMDISK_H

// Files in memory for the fuzz targets: a run must not pay for real files
// and syncs on every input.
#include "storage/cxio.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

// Files by path. Ids are handed out in order of creation, so the first file
// a target puts on a fresh disk always has id 1, as in the seeds.
struct MemDisk
{
    struct File
    {
        Bytes bytes;
        int64_t id;
    };
    std::map<std::string, File> files;
    int64_t lastId = 0;

    void put(const std::string& path, Bytes bytes) { files[path] = File{std::move(bytes), ++lastId}; }
};

// One open file of a MemDisk. Syncs cost nothing; a file opened read-only
// refuses writes, so a target sees any write that should not happen.
class MemIo : public CxIo
{
public:
    explicit MemIo(MemDisk& disk) : m_disk(disk) {}

    int open(const char* path, Mode mode) override
    {
        const bool exists = m_disk.files.count(path) != 0;
        if (exists && mode == Mode::CreateNew)
            return m_error = EEXIST;
        if (!exists && (mode == Mode::ReadOnly || mode == Mode::ReadWrite))
            return m_error = ENOENT;
        if (!exists)
            m_disk.put(path, {});
        m_path = path;
        m_readOnly = mode == Mode::ReadOnly;
        return 0;
    }
    void close() override { m_path.clear(); }
    bool isOpen() const override { return !m_path.empty() && m_disk.files.count(m_path) != 0; }
    bool read(int64_t offset, void* buffer, int64_t length) override
    {
        if (!isOpen() || offset < 0 || length < 0 || offset + length > int64_t(bytes().size()))
            return failed();
        if (length > 0)
            std::memcpy(buffer, bytes().data() + offset, size_t(length));
        return true;
    }
    bool write(int64_t offset, const void* buffer, int64_t length) override
    {
        if (!isOpen() || m_readOnly || offset < 0 || length < 0 || offset + length > CxFileLimit)
            return failed();
        if (offset + length > int64_t(bytes().size()))
            bytes().resize(size_t(offset + length));
        if (length > 0)
            std::memcpy(bytes().data() + offset, buffer, size_t(length));
        return true;
    }
    int64_t size() override { return isOpen() ? int64_t(bytes().size()) : -1; }
    bool sync() override { return isOpen() || failed(); }
    bool truncate(int64_t length) override
    {
        if (!isOpen() || m_readOnly || length < 0 || length > CxFileLimit)
            return failed();
        bytes().resize(size_t(length));
        return true;
    }
    int64_t fileId() override { return isOpen() ? m_disk.files.at(m_path).id : -1; }
    bool remove(const char* path) override
    {
        m_disk.files.erase(path);
        return true;
    }
    bool rename(const char* from, const char* to) override
    {
        auto it = m_disk.files.find(from);
        if (it == m_disk.files.end() || m_disk.files.count(to))
            return failed();
        m_disk.files[to] = std::move(it->second);
        m_disk.files.erase(from);
        return true;
    }
    int lastError() const override { return m_error; }

    // Larger than any file the targets make; a write beyond it is a bug.
    static constexpr int64_t CxFileLimit = int64_t(1) << 26;

private:
    Bytes& bytes() { return m_disk.files.at(m_path).bytes; }
    bool failed()
    {
        m_error = EIO;
        return false;
    }

    MemDisk& m_disk;
    std::string m_path;
    bool m_readOnly = false;
    int m_error = 0;
};

// The names and signature the journal targets and their seeds use.
constexpr char FuzzSignature[] = "Vaultix0001";
constexpr char FuzzDataPath[] = "vault.dat";
constexpr char FuzzJournalPath[] = "vault.dat-journal";

// An input of the journal targets: an options byte, the journal's length
// (2 bytes, little-endian), the journal, then the data file. Unless option
// bit 0 is set, the journal's length and checksum fields are made right,
// so that the fuzzer spends its time past them.
struct JournalInput
{
    uint8_t options = 0;
    Bytes journal, data;

    JournalInput(const uint8_t* in, size_t size)
    {
        if (size < 3)
            return;
        options = in[0];
        const size_t n = std::min<size_t>(size_t(in[1] | in[2] << 8), size - 3);
        journal.assign(in + 3, in + 3 + n);
        data.assign(in + 3 + n, in + size);
        if ((options & 1) == 0 && journal.size() >= 24)
            seal();
    }

private:
    static void put32(unsigned char* at, uint32_t v)
    {
        for (int i = 0; i < 4; ++i)
            at[i] = uint8_t(v >> 8 * i);
    }
    void seal()
    {
        if (journal.size() >= 32) {
            put32(journal.data() + 24, uint32_t(journal.size()));
            put32(journal.data() + 28, 0);
        }
        uint32_t c = 0xFFFFFFFFu;
        for (size_t i = 20; i < journal.size(); ++i) {
            c ^= journal[i];
            for (int k = 0; k < 8; ++k)
                c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        }
        put32(journal.data() + 16, ~c);
    }
};

#endif
