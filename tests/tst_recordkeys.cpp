// New records take the smallest free key. The model finds it with one walk
// instead of probing key by key, and must still leave the file exactly as
// probing would: where a key between two index blocks lands depends on the
// cursor the probes leave behind.

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/keyplan.h"
#include "vault/record.h"
#include "vault/session.h"
#include "storage/cxfile.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <set>

class TstRecordKeys : public QObject
{
    Q_OBJECT

private slots:
    void sameFileAsProbing_data()
    {
        QTest::addColumn<quint32>("seed");
        for (quint32 seed : {1u, 2u, 3u, 4u, 5u, 6u})
            QTest::newRow(qPrintable(QString::number(seed))) << seed;
    }

    void sameFileAsProbing()
    {
        QFETCH(quint32, seed);
        QTemporaryDir dir;
        const QString appPath = dir.filePath("app.dat");
        const QString refPath = dir.filePath("ref.dat");
        CSession session(appPath);
        QVERIFY(session.open());
        session.setSaveOnClose(false); // the reference file never sees a settings write
        QVERIFY(QFile::copy(appPath, refPath));
        CxFile ref(_AppSignature);
        QCOMPARE(ref.Open(refPath.toLocal8Bit().constData()), 0);

        QRandomGenerator rng(seed);
        std::set<int> keys;
        for (int op = 0; op < 400; ++op) {
            if (keys.empty() || rng.bounded(10) < 6) {
                CRecord record;
                record.category = 3;
                const QString text(int(rng.bounded(40)), QChar('a' + op % 26));
                record.SetDataText(QString::number(op), text, QString(), text, QString(), QString(), text);
                record.WriteRecord(false);

                int32_t k = KeyPlan::RecordMarker;
                while (ref.FindRecord(k))
                    ++k;
                const QByteArray bytes = record.Encode();
                QVERIFY(ref.AddRecord(k, bytes.constData(), int32_t(bytes.size())));
                QCOMPARE(record.key, k);
                keys.insert(k);
            } else {
                auto it = keys.begin();
                std::advance(it, rng.bounded(int(keys.size())));
                QVERIFY(_AppFile->FindRecord(*it) && _AppFile->DeleteRecord());
                QVERIFY(ref.FindRecord(*it) && ref.DeleteRecord());
                keys.erase(it);
            }
        }
        ref.Close();
        session.close();

        QFile a(appPath), b(refPath);
        QVERIFY(a.open(QIODevice::ReadOnly) && b.open(QIODevice::ReadOnly));
        QVERIFY(a.readAll() == b.readAll());
    }
};

QTEST_GUILESS_MAIN(TstRecordKeys)
#include "tst_recordkeys.moc"
