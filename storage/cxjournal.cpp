#include "storage/cxjournal.h"

#include "storage/le32.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

constexpr char Magic[16] = "VaultixJournal2";
constexpr size_t MagicSize = sizeof Magic;
constexpr size_t JrChecksum = 16;
constexpr size_t JrCount = 20;
constexpr size_t JrTotal = 24;
constexpr size_t JrOriginal = 32;
constexpr size_t JrFinal = 40;
constexpr size_t JrFileId = 48;
constexpr size_t JrSignature = 56;
constexpr size_t JrNameLength = 72;
constexpr size_t JrName = 76;
constexpr size_t EntryHead = 16;
// Disks write whole sectors or tear between them.
constexpr int64_t Sector = 512;
// Nothing the engine writes comes near this; a larger claim is garbage.
constexpr int64_t MaxJournal = int64_t(1) << 31;

// CRC-32 (the zlib polynomial). A journal covers every byte a change
// writes, megabytes for a password change, so this runs on the processor's
// carry-less multiply where it has one (64 bytes folded a step) and eight
// bytes a step from tables elsewhere. Both take and give the running value,
// before its final inversion.
uint32_t crc32Tables(uint32_t c, const unsigned char* at, size_t length)
{
    static const auto tables = [] {
        std::vector<std::array<uint32_t, 256>> t(8);
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int k = 0; k < 8; ++k)
                c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[0][i] = c;
        }
        for (size_t k = 1; k < 8; ++k) {
            for (uint32_t i = 0; i < 256; ++i)
                t[k][i] = (t[k - 1][i] >> 8) ^ t[0][t[k - 1][i] & 0xFF];
        }
        return t;
    }();
    while (length >= 8) {
        const uint32_t one = uint32_t(GetLE32(at)) ^ c;
        const uint32_t two = uint32_t(GetLE32(at + 4));
        c = tables[7][one & 0xFF] ^ tables[6][(one >> 8) & 0xFF] ^ tables[5][(one >> 16) & 0xFF]
            ^ tables[4][one >> 24] ^ tables[3][two & 0xFF] ^ tables[2][(two >> 8) & 0xFF]
            ^ tables[1][(two >> 16) & 0xFF] ^ tables[0][two >> 24];
        at += 8;
        length -= 8;
    }
    for (; length > 0; --length, ++at)
        c = tables[0][(c ^ *at) & 0xFF] ^ (c >> 8);
    return c;
}

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define VX_CRC_FOLDING 1
// Folding by carry-less multiplication, then a Barrett reduction; the
// constants are powers of x modulo the bit-reflected polynomial. `length`
// is at least 64 and a multiple of 16.
#define VX_FOLDING_TARGET __attribute__((target("pclmul,sse4.1")))

VX_FOLDING_TARGET inline __m128i load(const unsigned char* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

VX_FOLDING_TARGET inline __m128i fold(__m128i x, __m128i k, __m128i next)
{
    return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x11), _mm_clmulepi64_si128(x, k, 0x00)), next);
}

VX_FOLDING_TARGET uint32_t crc32Folding(uint32_t c, const unsigned char* at, size_t length)
{
    const __m128i k1k2 = _mm_set_epi64x(0x01c6e41596, 0x0154442bd4);
    const __m128i k3k4 = _mm_set_epi64x(0x00ccaa009e, 0x01751997d0);
    const __m128i k5 = _mm_set_epi64x(0, 0x0163cd6124);
    const __m128i poly = _mm_set_epi64x(0x01f7011641, 0x01db710641);
    __m128i x1 = _mm_xor_si128(load(at), _mm_cvtsi32_si128(int(c)));
    __m128i x2 = load(at + 16), x3 = load(at + 32), x4 = load(at + 48);
    at += 64;
    length -= 64;
    for (; length >= 64; at += 64, length -= 64) {
        x1 = fold(x1, k1k2, load(at));
        x2 = fold(x2, k1k2, load(at + 16));
        x3 = fold(x3, k1k2, load(at + 32));
        x4 = fold(x4, k1k2, load(at + 48));
    }
    x1 = fold(x1, k3k4, x2);
    x1 = fold(x1, k3k4, x3);
    x1 = fold(x1, k3k4, x4);
    for (; length >= 16; at += 16, length -= 16)
        x1 = fold(x1, k3k4, load(at));
    // 128 bits to 64, then Barrett to 32.
    const __m128i low32 = _mm_setr_epi32(-1, 0, -1, 0);
    x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), _mm_clmulepi64_si128(x1, k3k4, 0x10));
    x1 = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, low32), k5, 0x00), _mm_srli_si128(x1, 4));
    __m128i x2b = _mm_clmulepi64_si128(_mm_and_si128(x1, low32), poly, 0x10);
    x2b = _mm_clmulepi64_si128(_mm_and_si128(x2b, low32), poly, 0x00);
    return uint32_t(_mm_extract_epi32(_mm_xor_si128(x1, x2b), 1));
}
#endif

// Goes on from the running value `c` (0xFFFFFFFF at the start).
uint32_t crc32Update(uint32_t c, const unsigned char* at, size_t length)
{
#ifdef VX_CRC_FOLDING
    static const bool folding = __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
    if (folding && length >= 64) {
        const size_t whole = length & ~size_t(15);
        c = crc32Folding(c, at, whole);
        at += whole;
        length -= whole;
    }
#endif
    return crc32Tables(c, at, length);
}

uint32_t crc32(const unsigned char* at, size_t length)
{
    return crc32Update(0xFFFFFFFFu, at, length) ^ 0xFFFFFFFFu;
}

void put64(unsigned char* at, int64_t value)
{
    PutLE32(at, int32_t(uint32_t(uint64_t(value))));
    PutLE32(at + 4, int32_t(uint32_t(uint64_t(value) >> 32)));
}

int64_t get64(const unsigned char* at)
{
    return int64_t(uint64_t(uint32_t(GetLE32(at))) | uint64_t(uint32_t(GetLE32(at + 4))) << 32);
}

void append(std::vector<unsigned char>& out, const void* at, size_t length)
{
    const auto* b = static_cast<const unsigned char*>(at);
    out.insert(out.end(), b, b + length);
}

void wipe(std::vector<unsigned char>& bytes)
{
    if (!bytes.empty())
        std::memset(bytes.data(), 0, bytes.size());
}

// Cuts a written range into the journal's entries: none straddles a sector
// or the original length. `take(offset, n, kept)`, where kept says the
// entry lies within the original length and holds original bytes.
template <typename Take>
void forEachEntry(int64_t offset, int64_t length, int64_t originalLength, Take take)
{
    int64_t done = 0;
    while (done < length) {
        int64_t n = std::min(length - done, Sector - offset % Sector);
        const bool kept = offset < originalLength;
        if (kept)
            n = std::min(n, originalLength - offset);
        take(offset, done, n, kept);
        offset += n;
        done += n;
    }
}

// The head every journal starts with; the count, total length and
// checksum are filled in once the entries follow.
std::vector<unsigned char> head(const CxJournalId& id, int64_t originalLength, int64_t finalLength, size_t reserve)
{
    std::vector<unsigned char> out;
    out.reserve(JrName + id.name.size() + reserve);
    out.resize(JrName, 0);
    std::memcpy(out.data(), Magic, MagicSize);
    put64(out.data() + JrOriginal, originalLength);
    put64(out.data() + JrFinal, finalLength);
    put64(out.data() + JrFileId, id.fileId);
    std::strncpy(reinterpret_cast<char*>(out.data() + JrSignature), id.signature.c_str(), 15);
    PutLE32(out.data() + JrNameLength, int32_t(id.name.size()));
    append(out, id.name.data(), id.name.size());
    return out;
}

void seal(std::vector<unsigned char>& out, int32_t count)
{
    PutLE32(out.data() + JrCount, count);
    put64(out.data() + JrTotal, int64_t(out.size()));
    PutLE32(out.data() + JrChecksum, int32_t(crc32(out.data() + JrCount, out.size() - JrCount)));
}

} // namespace

std::string CxJournal::pathFor(const std::string& dataPath)
{
    return dataPath + "-journal";
}

std::string CxJournal::nameOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string CxJournal::stalePathFor(const std::string& journalPath)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char stamp[32] = "unknown";
    if (localtime_r(&now, &local))
        std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &local);
    return journalPath + ".stale-" + stamp;
}

void CxJournal::clear(int64_t originalLength)
{
    for (Entry& e : m_entries)
        wipe(e.bytes);
    m_entries.clear();
    m_originalLength = m_finalLength = originalLength;
}

void CxJournal::add(int64_t offset, const unsigned char* before, const unsigned char* after, int64_t length)
{
    forEachEntry(offset, length, m_originalLength, [&](int64_t at, int64_t done, int64_t n, bool kept) {
        Entry e{at, int32_t(n), crc32(after + done, size_t(n)), {}};
        if (kept)
            e.bytes.assign(before + done, before + done + n);
        m_entries.push_back(std::move(e));
    });
}

std::vector<unsigned char> CxJournal::encode(const CxJournalId& id) const
{
    size_t body = 0;
    for (const Entry& e : m_entries)
        body += EntryHead + e.bytes.size();
    std::vector<unsigned char> out = head(id, m_originalLength, m_finalLength, body);
    for (const Entry& e : m_entries) {
        unsigned char entry[EntryHead];
        put64(entry, e.offset);
        PutLE32(entry + 8, e.length);
        PutLE32(entry + 12, int32_t(e.written));
        append(out, entry, sizeof entry);
        append(out, e.bytes.data(), e.bytes.size());
    }
    seal(out, int32_t(m_entries.size()));
    return out;
}

bool CxJournal::write(CxIo& io, const CxJournalId& id, int64_t originalLength, int64_t finalLength,
                      const std::vector<Piece>& pieces)
{
    size_t body = 0;
    int32_t count = 0;
    for (const Piece& p : pieces) {
        forEachEntry(p.offset, p.length, originalLength, [&](int64_t, int64_t, int64_t n, bool kept) {
            body += EntryHead + (kept ? size_t(n) : 0);
            ++count;
        });
    }
    std::vector<unsigned char> top = head(id, originalLength, finalLength, 0);
    PutLE32(top.data() + JrCount, count);
    put64(top.data() + JrTotal, int64_t(top.size() + body));

    // The journal goes out a megabyte at a time through one buffer, rather
    // than as one copy of everything the change overwrites. The head holds
    // the checksum of all that follows it: a journal that fits the buffer
    // is one write; a longer one has its head written again at the end.
    constexpr size_t Chunk = size_t(1) << 20;
    std::vector<unsigned char> chunk;
    chunk.reserve(std::min(top.size() + body, Chunk) + EntryHead + size_t(Sector));
    append(chunk, top.data(), top.size());
    uint32_t c = 0xFFFFFFFFu;
    size_t covered = JrCount; // where the chunk's part of the checksum starts
    int64_t at = 0;
    bool ok = true;
    auto flush = [&](bool last) {
        c = crc32Update(c, chunk.data() + covered, chunk.size() - covered);
        covered = 0;
        if (last && at == 0)
            PutLE32(chunk.data() + JrChecksum, int32_t(c ^ 0xFFFFFFFFu));
        ok = ok && io.write(at, chunk.data(), int64_t(chunk.size()));
        at += int64_t(chunk.size());
        wipe(chunk);
        chunk.clear();
    };
    for (const Piece& p : pieces) {
        forEachEntry(p.offset, p.length, originalLength, [&](int64_t offset, int64_t done, int64_t n, bool kept) {
            if (!ok)
                return;
            unsigned char entry[EntryHead];
            put64(entry, offset);
            PutLE32(entry + 8, int32_t(n));
            PutLE32(entry + 12, int32_t(crc32(p.after + done, size_t(n))));
            append(chunk, entry, sizeof entry);
            if (kept)
                append(chunk, p.before + done, size_t(n));
            if (chunk.size() >= Chunk)
                flush(false);
        });
    }
    const bool whole = at == 0;
    if (!chunk.empty())
        flush(true);
    if (whole || !ok)
        return ok;
    PutLE32(top.data() + JrChecksum, int32_t(c ^ 0xFFFFFFFFu));
    return io.write(0, top.data(), int64_t(top.size()));
}

CxJournal::State CxJournal::load(CxIo& io, const std::string& path, const CxJournalId& id, CxIo& data)
{
    return load(io, path, id, data.size(), [&data](int64_t offset, unsigned char* buffer, int64_t length) {
        return data.read(offset, buffer, length);
    });
}

CxJournal::State CxJournal::load(CxIo& io, const std::string& path, const CxJournalId& id, int64_t dataLength,
                                 const Reader& read)
{
    clear();
    if (const int error = io.open(path.c_str(), CxIo::Mode::ReadOnly)) {
        if (error == ENOENT)
            return Absent;
        // A journal we could not have made; anything else may hide one we
        // cannot read.
        return error == ELOOP || error == EPERM || error == EINVAL ? Unsafe : Torn;
    }
    const int64_t size = io.size();
    std::vector<unsigned char> raw;
    State state = Torn;
    // An empty journal is torn: it was cut before its header got out.
    if (size > 0 && size <= MaxJournal) {
        raw.resize(size_t(size));
        if (io.read(0, raw.data(), size))
            state = decode(raw, id, dataLength, read);
    }
    io.close();
    wipe(raw);
    return state;
}

CxJournal::State CxJournal::decode(const std::vector<unsigned char>& raw, const CxJournalId& id, int64_t dataLength,
                                   const Reader& read)
{
    clear();
    const unsigned char* b = raw.data();
    if (raw.size() < JrName || std::memcmp(b, Magic, MagicSize) != 0 || get64(b + JrTotal) != int64_t(raw.size())
        || uint32_t(GetLE32(b + JrChecksum)) != crc32(b + JrCount, raw.size() - JrCount))
        return Torn;

    const int64_t original = get64(b + JrOriginal);
    const int64_t final = get64(b + JrFinal);
    const size_t nameLength = size_t(uint32_t(GetLE32(b + JrNameLength)));
    const int32_t count = GetLE32(b + JrCount);
    if (nameLength > raw.size() - JrName || count < 0 || original < 0 || final < original)
        return Torn;

    std::vector<Entry> entries;
    size_t at = JrName + nameLength;
    for (int32_t i = 0; i < count; ++i) {
        if (raw.size() - at < EntryHead)
            return Torn;
        const int64_t offset = get64(b + at);
        const int32_t length = GetLE32(b + at + 8);
        const uint32_t written = uint32_t(GetLE32(b + at + 12));
        at += EntryHead;
        // Within the original length with its bytes, or wholly past it
        // without; inside one sector, inside the final length.
        const bool kept = offset < original;
        // The bound comes before any sum, which a huge offset would overflow.
        if (offset < 0 || length <= 0 || length > Sector || offset > final - length
            || offset / Sector != (offset + length - 1) / Sector || (kept && offset + length > original)
            || (kept && size_t(length) > raw.size() - at))
            return Torn;
        Entry e{offset, length, written, {}};
        if (kept) {
            e.bytes.assign(b + at, b + at + length);
            at += size_t(length);
        }
        entries.push_back(std::move(e));
    }
    if (at != raw.size())
        return Torn;

    char signature[17] = {};
    std::memcpy(signature, b + JrSignature, 16);
    const std::string name(reinterpret_cast<const char*>(b + JrName), nameLength);
    m_originalLength = original;
    m_finalLength = final;
    m_entries.swap(entries);
    for (Entry& e : entries)
        wipe(e.bytes);
    // During the change the file only ever grows from its original length
    // towards its final one; any other length means another file.
    const bool ours = get64(b + JrFileId) == id.fileId && name == id.name && id.signature == signature
                      && dataLength >= original && dataLength <= final && fits(dataLength, read);
    if (!ours) {
        clear();
        return Foreign;
    }
    return Hot;
}

// Each piece holds its original bytes or the written ones; an appended
// piece may also be missing (the file is shorter) or still zero-filled.
bool CxJournal::fits(int64_t dataLength, const Reader& read) const
{
    unsigned char now[Sector];
    bool fit = true;
    for (const Entry& e : m_entries) {
        const bool kept = !e.bytes.empty();
        if (!kept && e.offset + e.length > dataLength)
            continue;
        fit = read(e.offset, now, e.length);
        if (fit && crc32(now, size_t(e.length)) != e.written)
            fit = kept ? std::memcmp(now, e.bytes.data(), e.bytes.size()) == 0
                       : std::all_of(now, now + e.length, [](unsigned char c) { return c == 0; });
        if (!fit)
            break;
    }
    std::memset(now, 0, sizeof now);
    return fit;
}

bool CxJournal::playBack(CxIo& data) const
{
    bool ok = data.isOpen();
    for (const Entry& e : m_entries)
        ok = ok && (e.bytes.empty() || data.write(e.offset, e.bytes.data(), int64_t(e.bytes.size())));
    return ok && data.truncate(m_originalLength) && data.sync();
}
