// New records take the smallest free key. The vault finds it with one walk
// instead of probing key by key, and must still leave the file exactly as
// probing would: where a key between two index blocks lands depends on the
// cursor the probes leave behind, which matters once a whole index block
// was emptied. Imports go on from the last key found.
#include "vaulttest.h"

#include "vault/keyplan.h"

#include <QRandomGenerator>

#include <set>

#include <unistd.h>

namespace {

// Durability is not what is tested here; without syncs the run is quick.
class NoSyncIo : public CxPosixIo
{
public:
    bool sync() override { return true; }
    bool remove(const char* path) override { return ::unlink(path) == 0 || errno == ENOENT; }
};

} // namespace

class TstRecordKeys : public QObject
{
    Q_OBJECT

private slots:
    void sameFileAsProbing_data()
    {
        QTest::addColumn<quint32>("seed");
        for (quint32 seed : {1u, 2u, 3u})
            QTest::newRow(qPrintable(QString::number(seed))) << seed;
    }

    void sameFileAsProbing()
    {
        QFETCH(quint32, seed);
        QTemporaryDir dir;
        const QString path = dir.filePath("app.dat");
        const QString refPath = dir.filePath("ref.dat");
        NoSyncIo io, journalIo, refIo, refJournalIo;
        CVault vault(path);
        vault.session().setIo(&io, &journalIo);
        QVERIFY(vault.session().lock() && vault.open());
        QVERIFY(QFile::copy(path, refPath));
        // The reference is opened as a vault too: a new block's unused tail
        // is written from the engine's block buffer, so both must have read
        // the same.
        CVault refVault(refPath);
        refVault.session().setIo(&refIo, &refJournalIo);
        QVERIFY(refVault.session().lock() && refVault.open());
        CxFile& ref = *refVault.session().file();

        QRandomGenerator rng(seed);
        std::set<int> keys;
        // Adds to the reference at the first key that probing finds free.
        const auto probeAdd = [&](const CRecord& record) {
            int32_t k = KeyPlan::RecordMarker;
            while (ref.FindRecord(k))
                ++k;
            const QByteArray bytes = record.Encode();
            keys.insert(k);
            return ref.AddRecord(k, bytes.constData(), int32_t(bytes.size())) ? k : -1;
        };
        for (int op = 0; op < 400; ++op) {
            const int dice = int(rng.bounded(10));
            const QString text(int(rng.bounded(40)), QChar('a' + op % 26));
            const QString texts[7] = {QString::number(op), text, QString(), text, QString(), QString(), text};
            if (keys.empty() || dice < 5) {
                int key = 0;
                QVERIFY(vault.addRecord(3, texts, &key).ok());
                QCOMPARE(probeAdd(*vault.records().find(key)), key);
            } else if (dice < 6) {
                QVector<CVault::ImportRow> rows(1 + int(rng.bounded(12)));
                for (CVault::ImportRow& row : rows) {
                    row.category = QStringLiteral("Email");
                    std::copy(std::begin(texts), std::end(texts), row.texts);
                }
                int added = 0;
                QVERIFY(vault.importRows(rows, QString(), &added, nullptr).ok());
                QCOMPARE(added, int(rows.size()));
                for (const CRecord* r = vault.records().first(); r; r = CRecords::nextOf(r)) {
                    if (!keys.count(r->key))
                        QCOMPARE(probeAdd(*r), r->key);
                }
            } else {
                // One record, or a run of them that empties whole index
                // blocks and so leaves free keys between two blocks.
                auto it = keys.begin();
                std::advance(it, rng.bounded(int(keys.size())));
                const int end = *it + (dice < 9 ? 1 : 16);
                while (it != keys.end() && *it < end) {
                    QVERIFY(vault.deleteRecord(*it).ok());
                    QVERIFY(ref.FindRecord(*it) && ref.DeleteRecord());
                    it = keys.erase(it);
                }
            }
        }
        refVault.close();
        vault.close();
        QVERIFY(fileBytes(path) == fileBytes(refPath));
    }
};

QTEST_GUILESS_MAIN(TstRecordKeys)
#include "tst_recordkeys.moc"
