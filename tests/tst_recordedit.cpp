#include "dialogtest.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/records.h"
#include "vault/session.h"
#include "platform/dialogdecoration.h"
#include "vault/password.h"
#include "storage/cxfile.h"
#include "storage/cxfilecheck.h"
#include "ui/application.h"
#include "ui/dlgrecordedit.h"
#include "ui/noteedit.h"
#include "ui/vxlistview.h"

#include <QClipboard>
#include <QComboBox>
#include <QFile>
#include <QFileInfo>
#include <QTimeZone>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>

#include <cstring>
#include <memory>

namespace {

const QString Pwd = QStringLiteral("sesame");
const QDateTime Old(QDate(2001, 2, 3), QTime(4, 5, 6), QTimeZone::utc());
const int Bank = 0;     // protected; labels Bank, Account #, PIN
const int WebLogin = 7; // plain
const QString EditRefused = "Edit Record|Unable to edit an\nencrypted record.\nPlease unlock the data first.";

int addRecord(int category, const QStringList& t)
{
    CRecord r;
    r.category = category;
    r.encrypted = category == Bank && _AppCfg->hasPassword();
    r.SetDataText(t.value(0), t.value(1), t.value(2), t.value(3), t.value(4), t.value(5), t.value(6));
    r.WriteRecord(false);
    return r.key;
}

// The record as the file holds it; `raw` gets its stored bytes.
bool stored(int key, CRecord& out, QByteArray* raw = nullptr)
{
    int32_t size = 0;
    if (!_AppFile->FindRecord(key) || !_AppFile->ReadRecordSize(size))
        return false;
    QByteArray bytes(size, '\0');
    _AppFile->ReadRecord(bytes.data(), size);
    out.Decode(bytes.constData(), size);
    if (raw)
        *raw = bytes;
    return true;
}

QStringList texts(const CRecord& r)
{
    QStringList out;
    for (int i = 0; i < CRecord::TextCount; ++i) {
        QString t;
        r.GetDataText(i, t);
        out << t;
    }
    return out;
}

template <class T> T* child(QDialog* d, const char* name)
{
    T* w = d->findChild<T*>(QString::fromLatin1(name));
    if (!w)
        qWarning("no control %s", name);
    return w;
}

void click(QDialog* d, const char* button)
{
    QTest::mouseClick(child<QPushButton>(d, button), Qt::LeftButton);
}

void tapOk(QDialog* d)
{
    CDialogDecoration* deco = CDialogDecoration::of(d);
    QVERIFY(deco);
    QTest::mouseClick(deco, Qt::LeftButton, {}, deco->okRect().center());
}

void tapClose(QDialog* d)
{
    CDialogDecoration* deco = CDialogDecoration::of(d);
    QVERIFY(deco);
    QTest::mouseClick(deco, Qt::LeftButton, {}, deco->closeRect().center());
}

// Enabled states: combo, edit button, delete button, fields and note.
QString states(QDialog* d)
{
    QString s;
    for (QWidget* w : {static_cast<QWidget*>(child<QComboBox>(d, "category")),
                       static_cast<QWidget*>(child<QPushButton>(d, "edit")),
                       static_cast<QWidget*>(child<QPushButton>(d, "delete"))})
        s += w->isEnabled() ? '1' : '0';
    bool all = true, none = true;
    for (int i = 1; i <= 6; ++i) {
        const bool on = child<QLineEdit>(d, QStringLiteral("field%1").arg(i).toLatin1())->isEnabled();
        all = all && on;
        none = none && !on;
    }
    s += all ? '1' : none ? '0' : '?';
    s += child<CNoteEdit>(d, "note")->isEnabled() ? '1' : '0';
    return s;
}

} // namespace

class TstRecordEdit : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<CSession> m_session;
    std::unique_ptr<CvxListView> m_list;
    std::unique_ptr<DialogDriver> m_driver;
    int m_files = 0;

    QByteArray fileBytes() const
    {
        QFile f(m_session->dataFile());
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    // Dates the file far back: any write afterwards shows in its time,
    // even one that puts back the same bytes.
    void backdate() const
    {
        QFile f(m_session->dataFile());
        QVERIFY(f.open(QIODevice::ReadWrite));
        QVERIFY(f.setFileTime(Old, QFileDevice::FileModificationTime));
    }
    bool untouched() const { return QFileInfo(m_session->dataFile()).lastModified() == Old; }
    bool fileSound() const
    {
        CxFileCheck check(fileBytes(), _AppSignature);
        return check.run();
    }
    // The list, loaded from the file as it now stands.
    void makeList(int filter = -1)
    {
        m_list = std::make_unique<CvxListView>(nullptr);
        m_list->setGeometry(0, 40, 240, 250);
        m_list->show();
        m_list->slotShowFilteredByCategory(filter);
    }
    QStringList rows() const
    {
        QStringList out;
        for (int i = 0; i < m_list->topLevelItemCount(); ++i)
            out << m_list->topLevelItem(i)->text(1);
        return out;
    }
    // Taps the row whose first field reads `first`; its dialog runs the next action.
    void tapRow(const QString& first)
    {
        for (int i = 0; i < m_list->topLevelItemCount(); ++i) {
            QTreeWidgetItem* item = m_list->topLevelItem(i);
            if (item->text(1) == first) {
                QTest::mouseClick(m_list->viewport(), Qt::LeftButton, {}, m_list->visualItemRect(item).center());
                return;
            }
        }
        QFAIL("no such row");
    }
    void usePassword()
    {
        EncryptAddNewPwd(Pwd);
        _AppCfg->locked = true;
    }
    // The password dialog's answer: the right password, or cancel.
    static std::function<void(QDialog*)> answerUnlock(bool right)
    {
        return [right](QDialog* d) {
            if (!right) {
                tapClose(d);
                return;
            }
            QTest::keyClicks(child<QLineEdit>(d, "password"), Pwd);
            tapOk(d);
        };
    }

private slots:
    void initTestCase()
    {
        CSession first(m_dir.filePath("template.dat"));
        QVERIFY(first.open());
    }
    void init()
    {
        const QString path = m_dir.filePath(QString("r%1.dat").arg(m_files++));
        QVERIFY(QFile::copy(m_dir.filePath("template.dat"), path));
        m_session = std::make_unique<CSession>(path);
        QVERIFY(m_session->open());
        m_driver = std::make_unique<DialogDriver>();
    }
    void cleanup()
    {
        m_driver.reset();
        m_list.reset();
        m_session->close();
        QVERIFY(fileSound());
        m_session.reset();
    }

    // Layout, captions, enabled states, labels following the category.
    void threeStates()
    {
        addRecord(WebLogin, {"shop", "https://x", "me", "pw"});
        makeList();
        m_driver->actions.push_back([](QDialog* d) {
            QCOMPARE(d->windowTitle(), QStringLiteral("View Record"));
            QCOMPARE(child<QPushButton>(d, "edit")->geometry(), QRect(139, 3, 25, 27));
            QCOMPARE(child<QPushButton>(d, "delete")->geometry(), QRect(165, 3, 25, 27));
            QVERIFY(child<QPushButton>(d, "edit")->text().isEmpty());
            for (const char* b : {"edit", "delete"}) {
                const QIcon icon = child<QPushButton>(d, b)->icon();
                const QSize s(20, 20);
                QVERIFY(icon.pixmap(s, QIcon::Normal).toImage() != icon.pixmap(s, QIcon::Disabled).toImage());
            }
            QCOMPARE(child<QComboBox>(d, "category")->geometry(), QRect(60, 36, 130, 20));
            QCOMPARE(child<QLineEdit>(d, "field6")->geometry(), QRect(65, 156, 125, 18));
            QCOMPARE(child<QLabel>(d, "label6")->geometry(), QRect(5, 156, 58, 16));
            QCOMPARE(child<CNoteEdit>(d, "note")->geometry(), QRect(5, 194, 185, 72));
            QCOMPARE(child<QComboBox>(d, "category")->currentText(), QStringLiteral("Web Login"));
            QCOMPARE(child<QLabel>(d, "label2")->text(), QStringLiteral("URL"));
            QCOMPARE(child<QLineEdit>(d, "field4")->text(), QStringLiteral("pw"));
            QCOMPARE(states(d), QStringLiteral("01100"));
            click(d, "edit");
            QCOMPARE(d->windowTitle(), QStringLiteral("Edit Record"));
            // The category of a stored record stays as it is.
            QCOMPARE(states(d), QStringLiteral("00011"));
            tapClose(d);
        });
        tapRow("shop");

        // New: the filter's category first; the labels follow the combo.
        m_list->slotShowFilteredByCategory(Bank);
        m_driver->actions.push_back([](QDialog* d) {
            QCOMPARE(d->windowTitle(), QStringLiteral("New Record"));
            QCOMPARE(states(d), QStringLiteral("10011"));
            auto* combo = child<QComboBox>(d, "category");
            QCOMPARE(combo->currentText(), QStringLiteral("Bank"));
            QCOMPARE(child<QLabel>(d, "label2")->text(), QStringLiteral("Account #"));
            QTest::keyClick(combo, Qt::Key_Down);
            QCOMPARE(combo->currentText(), QStringLiteral("Calling Card"));
            QCOMPARE(child<QLabel>(d, "label2")->text(), QStringLiteral("Access #"));
            tapClose(d);
        });
        m_list->slotNewRecord();
        QCOMPARE(m_driver->shown, 2);
    }

    // OK writes only what changed, and then the whole record.
    void okWritesChangesOnly_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("after");
        const QStringList before = {"shop", "url", "me", "", "", "", "line one"};
        QTest::newRow("nothing changed") << QString() << QString() << before;
        QTest::newRow("edit pressed, nothing changed") << "field4" << QString() << before;
        QTest::newRow("note only") << "note" << "\nline two"
                                   << QStringList{"shop", "url", "me", "", "", "", "line one\nline two"};
        QTest::newRow("an empty field") << "field5" << "x" << QStringList{"shop", "url", "me", "", "x", "", "line one"};
        QTest::newRow("not Latin-1") << "field2" << QString::fromUtf8("/\u20ac\U0001F600\u00e9")
                                     << QStringList{"shop", "url/??\u00e9", "me", "", "", "", "line one"};
    }
    void okWritesChangesOnly()
    {
        QFETCH(QString, control);
        QFETCH(QString, typed);
        QFETCH(QStringList, after);
        const int key = addRecord(WebLogin, {"shop", "url", "me", "", "", "", "line one"});
        makeList();
        const QByteArray before = fileBytes();
        backdate();
        m_driver->actions.push_back([&](QDialog* d) {
            if (!control.isEmpty()) {
                click(d, "edit");
                QWidget* w = d->findChild<QWidget*>(control);
                w->setFocus();
                if (auto* note = qobject_cast<CNoteEdit*>(w))
                    note->moveCursor(QTextCursor::End);
                if (qobject_cast<QLineEdit*>(w)) {
                    // Pasted: a key press carries no character outside the basic plane.
                    QApplication::clipboard()->setText(typed);
                    QTest::keyClick(w, Qt::Key_V, Qt::ControlModifier);
                } else {
                    // Return inside the note is a new line, not OK.
                    const QStringList parts = typed.split('\n');
                    for (int i = 0; i < parts.size(); ++i) {
                        if (i > 0)
                            QTest::keyClick(w, Qt::Key_Return);
                        QTest::keyClicks(w, parts[i]);
                    }
                }
                QVERIFY(d->isVisible());
            }
            tapOk(d);
        });
        tapRow("shop");
        QCOMPARE(m_driver->shown, 1);
        const bool same = after == QStringList{"shop", "url", "me", "", "", "", "line one"};
        QCOMPARE(untouched(), same);
        QCOMPARE(fileBytes() == before, same);
        CRecord r;
        QVERIFY(stored(key, r));
        QCOMPARE(texts(r), after);
        QCOMPARE(texts(*m_list->records()->first()), after);
    }

    // Locked: an enciphered record cannot be edited; unlocked it can, and
    // the change reaches the file enciphered.
    void editLockedRecord()
    {
        usePassword();
        const int key = addRecord(Bank, {"my bank", "12-34", "9876"});
        makeList();
        m_driver->answers = {QMessageBox::Ok};
        m_driver->actions.push_back([](QDialog* d) {
            QCOMPARE(child<QLineEdit>(d, "field2")->text(), QStringLiteral("******"));
            click(d, "edit");
            QCOMPARE(d->windowTitle(), QStringLiteral("View Record"));
            QCOMPARE(states(d), QStringLiteral("01100"));
            tapOk(d);
        });
        backdate();
        tapRow("my bank");
        QCOMPARE(m_driver->boxes, QStringList{EditRefused});
        QVERIFY(untouched());

        QVERIFY(CheckValidPwd(Pwd));
        _AppCfg->locked = false;
        m_driver->actions.push_back([](QDialog* d) {
            QCOMPARE(child<QLineEdit>(d, "field2")->text(), QStringLiteral("12-34"));
            click(d, "edit");
            QCOMPARE(states(d), QStringLiteral("00011"));
            auto* pin = child<QLineEdit>(d, "field3");
            pin->clear();
            QTest::keyClicks(pin, "1111");
            tapOk(d);
        });
        tapRow("my bank");
        CRecord r;
        QByteArray raw;
        QVERIFY(stored(key, r, &raw));
        QVERIFY(!raw.contains("1111") && !raw.contains("12-34"));
        r.encrypted = true;
        QCOMPARE(texts(r).mid(0, 3), (QStringList{"my bank", "12-34", "1111"}));
    }

    void deleteRecord_data()
    {
        QTest::addColumn<bool>("secret");
        QTest::addColumn<bool>("yes");
        QTest::addColumn<int>("unlock"); // -1 not asked, 0 cancelled, 1 right password
        QTest::addColumn<bool>("gone");
        QTest::newRow("No") << false << false << -1 << false;
        QTest::newRow("Yes") << false << true << -1 << true;
        QTest::newRow("locked, unlock cancelled") << true << true << 0 << false;
        QTest::newRow("locked, unlocked") << true << true << 1 << true;
    }
    void deleteRecord()
    {
        QFETCH(bool, secret);
        QFETCH(bool, yes);
        QFETCH(int, unlock);
        QFETCH(bool, gone);
        if (secret)
            usePassword();
        addRecord(WebLogin, {"keep"});
        const int key = addRecord(secret ? Bank : WebLogin, {"old", "x"});
        makeList();
        backdate();
        m_driver->answers = {yes ? QMessageBox::Yes : QMessageBox::No};
        m_driver->actions.push_back([&](QDialog* d) {
            click(d, "delete");
            if (unlock == 0) {
                // Still open, the request withdrawn: OK now only saves.
                QVERIFY(d->isVisible());
                tapOk(d);
            } else if (!yes) {
                QVERIFY(d->isVisible());
                tapClose(d);
            }
        });
        if (unlock >= 0)
            m_driver->actions.push_back(answerUnlock(unlock == 1));
        tapRow("old");
        QCOMPARE(m_driver->boxes.value(0), QStringLiteral("Delete Record?|Are you sure you want to delete\nthe: old\nrecord ?"));
        QCOMPARE(m_driver->shown, unlock >= 0 ? 2 : 1);
        CRecord r;
        QCOMPARE(stored(key, r), !gone);
        QCOMPARE(rows(), gone ? QStringList{"keep"} : (QStringList{"keep", "old"}));
        QCOMPARE(m_list->records()->count, gone ? 1 : 2);
        QCOMPARE(untouched(), !gone);
    }

    void newRecord_data()
    {
        QTest::addColumn<int>("category");
        QTest::addColumn<bool>("password");
        QTest::addColumn<int>("unlock"); // -1 not asked, 0 cancelled, 1 right password
        QTest::addColumn<bool>("enciphered");
        QTest::newRow("plain category") << WebLogin << true << -1 << false;
        QTest::newRow("protected, no password") << Bank << false << -1 << false;
        QTest::newRow("protected, unlocked") << Bank << true << 1 << true;
        QTest::newRow("protected, unlock cancelled") << Bank << true << 0 << false;
    }
    void newRecord()
    {
        QFETCH(int, category);
        QFETCH(bool, password);
        QFETCH(int, unlock);
        QFETCH(bool, enciphered);
        if (password)
            usePassword();
        addRecord(WebLogin, {"first"});
        addRecord(WebLogin, {"gap"});
        addRecord(WebLogin, {"third"});
        CRecord gap;
        QVERIFY(stored(1002, gap));
        QVERIFY(_AppFile->DeleteRecord());
        makeList(category);
        backdate();
        m_driver->actions.push_back([&](QDialog* d) {
            QTest::keyClicks(child<QLineEdit>(d, "field1"), "new one");
            QTest::keyClicks(child<QLineEdit>(d, "field2"), "secret-2");
            auto* note = child<CNoteEdit>(d, "note");
            QTest::keyClicks(note, "n1");
            QTest::keyClick(note, Qt::Key_Return);
            QTest::keyClicks(note, "n2");
            tapOk(d);
            if (unlock == 0) {
                QVERIFY(d->isVisible());
                tapClose(d);
            }
        });
        if (unlock >= 0)
            m_driver->actions.push_back(answerUnlock(unlock == 1));
        m_list->slotNewRecord();
        QCOMPARE(m_driver->shown, unlock >= 0 ? 2 : 1);
        CRecord r;
        QByteArray raw;
        if (unlock == 0) {
            QVERIFY(untouched());
            QVERIFY(!stored(1002, r));
            QCOMPARE(m_list->records()->count, 2);
            return;
        }
        // The smallest free key.
        QVERIFY(stored(1002, r, &raw));
        QCOMPARE(r.category, category);
        QCOMPARE(raw.contains("secret-2"), !enciphered);
        r.encrypted = enciphered;
        QCOMPARE(texts(r), (QStringList{"new one", "secret-2", "", "", "", "", "n1\nn2"}));
        QCOMPARE(m_list->records()->count, 3);
        QVERIFY(rows().contains("new one"));
        QCOMPARE(static_cast<CRecord*>(m_list->records()->tail)->encrypted, enciphered);
    }

    // Nothing longer than the record holds can come in, typed or pasted.
    void limits()
    {
        makeList(WebLogin);
        m_driver->actions.push_back([](QDialog* d) {
            auto* field = child<QLineEdit>(d, "field2");
            QTest::keyClicks(field, QString(64, 'a'));
            QTest::keyClicks(field, "b");
            QCOMPARE(field->text(), QString(64, 'a'));

            auto* note = child<CNoteEdit>(d, "note");
            note->setFocus();
            QTest::keyClicks(note, QString(250, 'n'));
            QApplication::clipboard()->setText("12345\r\n7890");
            QTest::keyClick(note, Qt::Key_V, Qt::ControlModifier);
            // Five characters and one line break fit; the rest is refused.
            QCOMPARE(note->toPlainText(), QString(250, 'n') + "12345\n");
            QTest::keyClicks(note, "x");
            QTest::keyClick(note, Qt::Key_Return);
            QCOMPARE(note->toPlainText().size(), 256);
            QVERIFY(d->isVisible());
            // A selection makes room for what replaces it.
            note->selectAll();
            QTest::keyClick(note, Qt::Key_V, Qt::ControlModifier);
            QCOMPARE(note->toPlainText(), QStringLiteral("12345\n7890"));
            tapOk(d);
        });
        m_list->slotNewRecord();
        CRecord r;
        QVERIFY(stored(1001, r));
        QCOMPARE(r.fieldLength[0], 64);
        QCOMPARE(texts(r).value(6), QStringLiteral("12345\n7890"));
    }
};

int main(int argc, char** argv)
{
    qputenv("QPEDIR", VX_TEST_SOURCE_DIR);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    CApplication app(argc, argv);
    TstRecordEdit test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_recordedit.moc"
