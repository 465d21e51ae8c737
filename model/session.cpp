#include "model/session.h"

#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "model/categories.h"
#include "model/records.h"
#include "storage/cxfile.h"
#include "storage/cxfilecheck.h"
#include "storage/cxjournal.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

CSession::CSession(const QString& dataFile)
    : m_path(dataFile)
{
}

CSession::~CSession()
{
    close();
}

QString CSession::journalText(int state, bool done) const
{
    const QString journal = m_path + QStringLiteral("-journal");
    switch (state) {
    case CxJournal::Hot:
        return done ? QString("A change to %1 was interrupted; it has been undone.").arg(m_path)
                    : QString("A change to %1 was interrupted and is to be undone.").arg(m_path);
    case CxJournal::Torn:
        return QString("%1 is incomplete and was not used.").arg(journal);
    case CxJournal::Foreign:
        return QString("%1 belongs to another file, or to other contents than the file holds, and was not used.")
            .arg(journal);
    case CxJournal::Unsafe:
        return QString("%1 is a link, not a regular file, or another user's file: it was not used, and no change "
                       "can be saved until it is removed.")
            .arg(journal);
    default:
        return QString();
    }
}

CSession::Probe CSession::probe(QString* problem) const
{
    auto say = [problem](const QString& text) {
        if (problem)
            *problem = text;
    };
    const QFileInfo info(m_path);
    if (!info.exists() && !info.isSymLink()) {
        if (!info.absoluteDir().exists()) {
            say(QString("The folder %1 does not exist.").arg(info.absolutePath()));
            return NoFolder;
        }
        return Missing;
    }
    if (info.isDir()) {
        say(QString("%1 is a folder.").arg(m_path));
        return Unreadable;
    }
    // The file is judged as it will read once an interrupted change has
    // been rolled back; one too long to be ours is not even read.
    const CxFileImage image = CxFileImage::read(m_path, _AppSignature);
    if (image.status != CxFileImage::Read && image.status != CxFileImage::TooLarge) {
        say(QString("%1 cannot be read: %2.").arg(m_path, image.error));
        return Unreadable;
    }
    m_journalReport.clear();
    if (image.status == CxFileImage::TooLarge) {
        say(QString("%1 is not a Vaultix data file.").arg(m_path));
        return Foreign;
    }
    if (image.size == 0)
        return Empty;
    m_journalReport = journalText(image.journal, false);
    const QByteArray& current = image.bytes;

    CxFile engine(_AppSignature);
    const int code = engine.OpenReadOnly(QFile::encodeName(m_path).constData());
    engine.Close();
    if (code == -3) {
        say(QString("%1 is not a Vaultix data file.").arg(m_path));
        return Foreign;
    }
    if (code != 0) {
        say(QString("%1 cannot be opened for reading.").arg(m_path));
        return Unreadable;
    }
    CxFileCheck check(current, _AppSignature);
    if (!check.run()) {
        say(check.problems().join(u'\n'));
        return Damaged;
    }
    return Sound;
}

bool CSession::lock(QString* error)
{
    if (m_lockFd >= 0)
        return true;
    const QByteArray name = QFile::encodeName(m_path);
    const int fd = ::open(name.constData(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        if (error)
            *error = QString("%1 cannot be opened: %2.").arg(m_path, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        if (error)
            *error = QString("%1 is already in use by another Vaultix.").arg(m_path);
        return false;
    }
    m_lockFd = fd;
    return true;
}

QString CSession::saveDamagedCopy() const
{
    const QString copy = m_path + QStringLiteral(".damaged-")
                         + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    if (QFileInfo::exists(copy) || !QFile::copy(m_path, copy))
        return QString();
    // The copy must hold what the file held, byte for byte, before anyone
    // goes on writing to the original.
    QFile a(m_path), b(copy);
    if (!a.open(QIODevice::ReadOnly) || !b.open(QIODevice::ReadWrite) || a.readAll() != b.readAll())
        return QString();
    ::fsync(b.handle());
    return copy;
}

bool CSession::open(bool acceptDamaged, QString* error)
{
    if (isOpen())
        return true;
    QString problem;
    const Probe found = probe(&problem);
    m_lastProbe = found;
    const bool allowed = found == Missing || found == Empty || found == Sound || (found == Damaged && acceptDamaged);
    if (!allowed) {
        if (error)
            *error = problem;
        return false;
    }
    _AppFile = new CxFile(_AppSignature);
    const QByteArray name = QFile::encodeName(m_path);
    const bool exists = found == Sound || found == Damaged;
    // An existing file is opened here, never by the settings, which would
    // create a new file over one that failed to open.
    if (exists) {
        const int code = m_readOnly ? _AppFile->OpenReadOnly(name.constData()) : _AppFile->Open(name.constData());
        const CxJournal::State state = _AppFile->journalState();
        if (code != 0) {
            const bool hot = CxFile::InspectJournal(name.constData(), _AppSignature) == CxJournal::Hot;
            if (error)
                *error = hot ? QString("A change to %1 was interrupted, and it cannot be undone because the file "
                                       "cannot be written.")
                                   .arg(m_path)
                             : QString("%1 cannot be opened for reading and writing.").arg(m_path);
            close();
            return false;
        }
        m_journalReport = journalText(state, !m_readOnly);
        if (!_AppFile->staleJournal().empty())
            m_journalReport += QString(" It was moved to %1.").arg(QFile::decodeName(_AppFile->staleJournal().c_str()));
        if (state == CxJournal::Hot && m_readOnly)
            m_journalReport = QString("A change to %1 was interrupted; it is shown as before that change.")
                                  .arg(m_path);
    }
    _AppCfg = new CvxConfig(m_path);
    if (!_AppFile->isOpen()) {
        if (error)
            *error = exists ? QString("%1 cannot be opened for reading and writing.").arg(m_path)
                            : QString("%1 cannot be created.").arg(m_path);
        close();
        return false;
    }
    return true;
}

bool CSession::isOpen() const
{
    return _AppFile && _AppFile->isOpen() && _AppCfg;
}

void CSession::loadCollections()
{
    m_categories = std::make_unique<CCategories>();
    m_records = std::make_unique<CRecords>();
    m_categories->LoadAll();
    m_records->LoadAll(m_categories.get());
}

void CSession::close()
{
    if (m_records)
        m_records->DeleteAll();
    if (m_categories)
        m_categories->DeleteAll();
    m_records.reset();
    m_categories.reset();
    if (_AppCfg) {
        if (m_saveOnClose && !m_readOnly && _AppFile && _AppFile->isOpen())
            _AppCfg->save();
        delete _AppCfg;
        _AppCfg = nullptr;
    }
    if (_AppFile) {
        _AppFile->Close();
        delete _AppFile;
        _AppFile = nullptr;
    }
    if (m_lockFd >= 0) {
        ::close(m_lockFd);
        m_lockFd = -1;
    }
}
