#include "cxfiletest.h"
#include "storage/cxtransaction.h"

#include <QRandomGenerator>
#include <QSet>
#include <QtTest>

#include <cerrno>
#include <functional>
#include <map>
#include <string>

namespace {

// A disk with a write cache: writes reach the platter only at a sync of
// their file, in any order, so a power cut keeps any subset of the writes
// since the last one. A new file's name is on the platter from its first
// sync; a removal is at once (the real one syncs the folder). A killed
// process cannot show this: the kernel still has its writes.
struct Disk
{
    struct Write
    {
        qint64 offset;
        QByteArray bytes;
        bool cut; // a truncation to `offset`
    };
    struct File
    {
        QByteArray platter;
        QByteArray view;
        QList<Write> pending;
        bool durable = false;
        qint64 id = 0;
    };

    std::map<std::string, File> files;
    qint64 nextId = 100;
    // Called at each sync and removal, before it happens.
    std::function<void()> beforeSync;
    // Write-side calls so far (writes, truncations, syncs, removals, moves,
    // creations), and the one that fails, as on a failing disk.
    int calls = 0;
    int failAt = 0;
    bool fails() { return ++calls == failAt; }

    static void apply(QByteArray& bytes, const Write& w)
    {
        if (w.cut) {
            bytes.resize(w.offset);
            return;
        }
        if (bytes.size() < w.offset + w.bytes.size())
            bytes.resize(w.offset + w.bytes.size(), '\0');
        std::memcpy(bytes.data() + w.offset, w.bytes.constData(), size_t(w.bytes.size()));
    }

    int pendingCount() const
    {
        int n = 0;
        for (const auto& f : files)
            n += int(f.second.pending.size());
        return n;
    }

    // How the one write `torn` of a cut reaches the platter: its length is
    // right but its second half, or one 512-byte sector in its middle,
    // still reads as zeros.
    enum class Tear { SecondHalf, MiddleSector };

    // The disk after a cut that kept the pending writes chosen by `mask`,
    // numbered across the files in name order.
    Disk afterCut(quint32 mask, int torn = -1, Tear how = Tear::SecondHalf) const
    {
        Disk cut;
        cut.nextId = nextId;
        int i = 0;
        for (const auto& [name, f] : files) {
            File kept;
            kept.id = f.id;
            kept.platter = f.platter;
            bool any = false;
            for (Write w : f.pending) {
                if (i == torn) {
                    const qsizetype size = w.bytes.size();
                    const qsizetype from = how == Tear::SecondHalf ? size / 2 : (w.offset + size / 2) / 512 * 512 - w.offset;
                    const qsizetype to = how == Tear::SecondHalf ? size : from + 512;
                    for (qsizetype at = qMax<qsizetype>(from, 0); at < qMin(to, size); ++at)
                        w.bytes[at] = '\0';
                }
                if (mask == ~0u || (i < 32 && (mask & (1u << i)))) {
                    apply(kept.platter, w);
                    any = true;
                }
                ++i;
            }
            if (f.durable || any) {
                kept.view = kept.platter;
                kept.durable = true;
                cut.files[name] = kept;
            }
        }
        return cut;
    }
};

class DiskIo : public CxIo
{
public:
    explicit DiskIo(Disk& disk) : m_disk(disk) {}

    int open(const char* path, Mode mode) override
    {
        auto it = m_disk.files.find(path);
        if (it != m_disk.files.end() && mode == Mode::CreateNew)
            return EEXIST;
        if (it == m_disk.files.end() && mode != Mode::ReadOnly && mode != Mode::ReadWrite && m_disk.fails())
            return EIO;
        if (it == m_disk.files.end()) {
            if (mode != Mode::Create && mode != Mode::CreateNew)
                return ENOENT;
            it = m_disk.files.emplace(path, Disk::File()).first;
            it->second.id = ++m_disk.nextId;
        }
        m_name = path;
        m_open = true;
        return 0;
    }
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open && m_disk.files.count(m_name); }
    bool read(int64_t offset, void* buffer, int64_t length) override
    {
        if (!isOpen() || offset < 0 || offset + length > file().view.size())
            return false;
        if (length > 0)
            std::memcpy(buffer, file().view.constData() + offset, size_t(length));
        return true;
    }
    bool write(int64_t offset, const void* buffer, int64_t length) override
    {
        return isOpen() && offset >= 0 && !m_disk.fails()
               && change({offset, QByteArray(static_cast<const char*>(buffer), qsizetype(length)), false});
    }
    bool truncate(int64_t length) override
    {
        return isOpen() && !m_disk.fails() && change({length, QByteArray(), true});
    }
    int64_t size() override { return isOpen() ? file().view.size() : -1; }
    int64_t fileId() override { return isOpen() ? file().id : -1; }
    bool sync() override
    {
        if (!isOpen() || m_disk.fails())
            return false;
        if (m_disk.beforeSync)
            m_disk.beforeSync();
        file().platter = file().view;
        file().pending.clear();
        file().durable = true;
        return true;
    }
    bool remove(const char* path) override
    {
        if (m_disk.fails())
            return false;
        if (m_disk.beforeSync)
            m_disk.beforeSync();
        m_disk.files.erase(path);
        return true;
    }
    bool rename(const char* from, const char* to) override
    {
        if (!m_disk.files.count(from) || m_disk.files.count(to) || m_disk.fails())
            return false;
        if (m_disk.beforeSync)
            m_disk.beforeSync();
        m_disk.files[to] = m_disk.files.at(from);
        m_disk.files.erase(from);
        return true;
    }

private:
    Disk::File& file() { return m_disk.files.at(m_name); }
    bool change(const Disk::Write& w)
    {
        Disk::apply(file().view, w);
        file().pending << w;
        return true;
    }

    Disk& m_disk;
    std::string m_name;
    bool m_open = false;
};

// A record file on a model disk.
struct DiskFile
{
    explicit DiskFile(Disk& disk) : data(disk), journal(disk), file(TestSignature, &data, &journal) {}
    DiskIo data;
    DiskIo journal;
    CxFile file;
};

const char DataName[] = "Vaultix.Dat";
const std::string JournalName = std::string(DataName) + "-journal";

// A file of `count` records of 40 bytes, in 64-byte blocks.
void fill(DiskFile& f, int count)
{
    QCOMPARE(f.file.Create(DataName, 64, 1, 0), 0);
    for (int key = 0; key < count; ++key)
        QVERIFY(f.file.AddRecord(key, pattern(40, quint32(key)).constData(), 40));
}

// One change: a third of the records rewritten shorter, and one added.
bool rewrite(CxFile& file, int count)
{
    CxTransaction t(&file);
    for (int key = 0; key < count; key += 3) {
        if (!file.FindRecord(key) || !file.UpdateRecord("changed", 7))
            return false;
    }
    return file.AddRecord(99, "new", 3) && t.commit();
}

// What a cut at this moment may leave: the whole pending set when it is
// small, else each write alone, none, all and all but each one.
QList<quint32> cutMasks(int pending)
{
    QList<quint32> masks;
    if (pending <= 6) {
        for (quint32 m = 0; m < (1u << pending); ++m)
            masks << m;
        return masks;
    }
    const quint32 all = pending >= 32 ? ~0u : (1u << pending) - 1;
    masks << 0 << all;
    for (int i = 0; i < pending && i < 32; ++i)
        masks << (1u << i) << (all & ~(1u << i));
    return masks;
}

// Opens what a cut left, as the next run would. The data file's bytes after
// recovery, or a reason why there are none.
QByteArray recovered(Disk cut, QString* why)
{
    DiskFile reopened(cut);
    const int code = reopened.file.Open(DataName);
    if (code != 0) {
        *why = QString("the file does not open (%1)").arg(code);
        return QByteArray();
    }
    if (reopened.file.journalState() == CxJournal::Foreign)
        *why = "the journal was taken for another file's";
    else if (reopened.file.journalState() != CxJournal::Torn && cut.files.count(JournalName))
        *why = "the journal is still there";
    reopened.file.Close();
    return cut.files.at(DataName).view;
}

} // namespace

class TestCxFilePowerCut : public QObject
{
    Q_OBJECT

    // Cuts the power at every sync and removal while `change` runs; each
    // cut must recover to the file's bytes before the change or after it.
    static QString cutDuring(Disk& disk, const std::function<void()>& change)
    {
        const QByteArray before = disk.files.at(DataName).platter;
        QList<QByteArray> outcomes;
        QString failure;
        disk.beforeSync = [&]() {
            QSet<QByteArray> tried;
            for (quint32 mask : cutMasks(disk.pendingCount())) {
                const Disk cut = disk.afterCut(mask);
                const QByteArray key = cut.files.at(DataName).platter + "|" + cut.files.count(JournalName);
                if (!failure.isEmpty() || tried.contains(key))
                    continue;
                tried.insert(key);
                QString why;
                const QByteArray bytes = recovered(cut, &why);
                if (!why.isEmpty())
                    failure = why;
                outcomes << bytes;
            }
        };
        change();
        disk.beforeSync = nullptr;
        if (!failure.isEmpty())
            return failure;
        if (disk.pendingCount() != 0 || disk.files.count(JournalName))
            return "the change ended with unsynced writes or its journal";
        const QByteArray after = disk.files.at(DataName).platter;
        for (const QByteArray& bytes : outcomes) {
            if (bytes != before && bytes != after)
                return QString("a cut left neither the old nor the new file: %1")
                    .arg(structureProblem(bytes).isEmpty() ? "sound, other bytes" : structureProblem(bytes));
        }
        return QString();
    }

private slots:
    void cutEverywhere_data()
    {
        QTest::addColumn<unsigned>("blockSize");
        QTest::addColumn<int>("keyRange");
        QTest::addColumn<bool>("rising");
        QTest::newRow("64 random") << 64u << 40 << false;
        QTest::newRow("64 rising") << 64u << 0 << true;
        QTest::newRow("128 random") << 128u << 200 << false;
        QTest::newRow("128 rising") << 128u << 0 << true;
    }

    // Adds, updates and deletes, one at a time and in groups of several
    // under one transaction.
    void cutEverywhere()
    {
        QFETCH(unsigned, blockSize);
        QFETCH(int, keyRange);
        QFETCH(bool, rising);
        QRandomGenerator rng(blockSize * 31 + quint32(keyRange));
        Disk disk;
        DiskFile f(disk);
        QCOMPARE(f.file.Create(DataName, blockSize, 1, 0), 0);
        std::map<int32_t, QByteArray> model;
        int op = 0;
        auto oneChange = [&]() {
            const int32_t key = rising ? int32_t(op / 2 + rng.bounded(4)) : int32_t(rng.bounded(keyRange));
            const bool store = model.count(key) == 0 || rng.bounded(10) < 6;
            const QByteArray data = pattern(int(rng.bounded(rng.bounded(5) ? 60 : 300)), rng.generate());
            ++op;
            if (store && !f.file.AddRecord(key, data.constData(), int32_t(data.size())))
                QVERIFY(f.file.UpdateRecord(data.constData(), int32_t(data.size())));
            if (!store)
                QVERIFY(f.file.FindRecord(key) && f.file.DeleteRecord());
            if (store)
                model[key] = data;
            else
                model.erase(key);
        };
        while (op < 300) {
            const int group = rng.bounded(8) == 0 ? 2 + int(rng.bounded(12)) : 1;
            const QString failure = cutDuring(disk, [&]() {
                CxTransaction t(&f.file);
                for (int i = 0; i < group; ++i)
                    oneChange();
                QVERIFY(t.commit());
            });
            QVERIFY2(failure.isEmpty(), qPrintable(QString("change %1: %2").arg(op).arg(failure)));
            QCOMPARE(structureProblem(disk.files.at(DataName).platter), QString());
        }
        for (const auto& [key, data] : model) {
            QVERIFY(f.file.FindRecord(key));
            QCOMPARE(readCurrent(f.file), data);
        }
    }

    // A commit whose write-side call fails, each in turn, returns false and
    // leaves the file as before at once; the object then reads it as it is
    // and takes the next change.
    void failedCommit()
    {
        for (int at = 1;; ++at) {
            Disk disk;
            DiskFile f(disk);
            fill(f, 20);
            const QByteArray before = disk.files.at(DataName).view;
            disk.calls = 0;
            disk.failAt = at;
            const bool committed = rewrite(f.file, 20);
            disk.failAt = 0;
            if (disk.calls < at) {
                QVERIFY(committed);
                break;
            }
            QVERIFY2(!committed && f.file.lastError() != 0, qPrintable(QString("call %1").arg(at)));
            QVERIFY2(disk.files.at(DataName).view == before, qPrintable(QString("call %1").arg(at)));
            QVERIFY(f.file.FindRecord(3));
            QCOMPARE(readCurrent(f.file), pattern(40, 3));
            QVERIFY(!f.file.FindRecord(99) && f.file.AddRecord(99, "new", 3));
            QCOMPARE(structureProblem(disk.files.at(DataName).view), QString());
        }
    }

    // A journal that is cut short, garbled, or made for another file or
    // for other contents than the file holds is never played back, and
    // says so; one that is whole but does not fit is moved aside.
    void journalFound_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<int>("state");
        QTest::newRow("whole") << "" << int(CxJournal::Hot);
        QTest::newRow("cut short") << "short" << int(CxJournal::Torn);
        QTest::newRow("byte flipped in an entry") << "flip" << int(CxJournal::Torn);
        QTest::newRow("written half") << "half" << int(CxJournal::Torn);
        QTest::newRow("sector zeroed") << "sector" << int(CxJournal::Torn);
        QTest::newRow("empty") << "empty" << int(CxJournal::Torn);
        QTest::newRow("other file") << "other file" << int(CxJournal::Foreign);
        QTest::newRow("other name") << "other name" << int(CxJournal::Foreign);
        QTest::newRow("file put in its place") << "replaced" << int(CxJournal::Foreign);
    }

    void journalFound()
    {
        QFETCH(QString, change);
        QFETCH(int, state);
        Disk disk;
        DiskFile f(disk);
        fill(f, 60);
        const QByteArray before = disk.files.at(DataName).platter;

        // The power goes out once the new bytes are on the platter, or, for
        // a torn journal, while the journal's first write (all of it, or
        // its first megabyte) is torn.
        const bool tear = change == "half" || change == "sector";
        Disk hot;
        disk.beforeSync = [&]() {
            const bool journalPending = disk.files.count(JournalName) && !disk.files.at(JournalName).pending.isEmpty();
            if (tear && journalPending && disk.pendingCount() == disk.files.at(JournalName).pending.size())
                hot = disk.afterCut(~0u, 0, change == "half" ? Disk::Tear::SecondHalf : Disk::Tear::MiddleSector);
            if (!tear && disk.files.count(JournalName) && disk.files.at(DataName).pending.size() > 0)
                hot = disk.afterCut(~0u);
        };
        QVERIFY(rewrite(f.file, 60));
        disk.beforeSync = nullptr;
        QVERIFY(hot.files.count(JournalName));
        QByteArray& journal = hot.files.at(JournalName).platter;
        QVERIFY(journal.size() > 1024);
        if (change == "short")
            journal.chop(1);
        else if (change == "flip")
            journal[journal.size() - 100] = char(journal[journal.size() - 100] ^ 1);
        else if (change == "empty")
            journal.clear();
        else if (change == "other file")
            hot.files.at(DataName).id += 1;
        else if (change == "replaced")
            qToLittleEndian<qint32>(9, hot.files.at(DataName).platter.data() + HdVersionMinor);
        const QByteArray half = hot.files.at(DataName).platter;
        QCOMPARE(half != before, !tear);
        std::string name = DataName;
        if (change == "other name") {
            // Both moved beside each other under a new name.
            name = "Other.Dat";
            hot.files[name] = hot.files.at(DataName);
            hot.files[name + "-journal"] = hot.files.at(JournalName);
            hot.files.erase(DataName);
            hot.files.erase(JournalName);
        }
        for (auto& entry : hot.files)
            entry.second.view = entry.second.platter;

        DiskFile reopened(hot);
        QCOMPARE(reopened.file.Open(name.c_str()), 0);
        QCOMPARE(int(reopened.file.journalState()), state);
        QCOMPARE(hot.files.at(name).view, state == CxJournal::Hot ? before : half);
        QCOMPARE(hot.files.count(name + "-journal"), size_t(state == CxJournal::Torn ? 1 : 0));
        const std::string aside = reopened.file.staleJournal();
        QCOMPARE(aside.rfind(name + "-journal.stale-", 0) == 0 && hot.files.count(aside), state == CxJournal::Foreign);

        // The next change replaces a torn journal, and keeps it aside.
        QVERIFY(reopened.file.AddRecord(500, "next", 4));
        QCOMPARE(hot.files.count(name + "-journal"), size_t(0));
    }
};

QTEST_GUILESS_MAIN(TestCxFilePowerCut)
#include "tst_cxfile_powercut.moc"
