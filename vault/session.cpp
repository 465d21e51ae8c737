#include "vault/session.h"

#include "vault/keyplan.h"
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

namespace {

// Blocks of the record file; a new file gets version 1.0.
constexpr unsigned BlockSize = 128;

} // namespace

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
        return done ? tr("A change to %1 was interrupted; it has been undone.").arg(m_path)
                    : tr("A change to %1 was interrupted and is to be undone.").arg(m_path);
    case CxJournal::Torn:
        return tr("%1 is incomplete and was not used.").arg(journal);
    case CxJournal::Foreign:
        return tr("%1 belongs to another file, or to other contents than the file holds, and was not used.")
            .arg(journal);
    case CxJournal::Unsafe:
        return tr("%1 is a link, not a regular file, or another user's file: it was not used, and no change "
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
            say(tr("The folder %1 does not exist.").arg(info.absolutePath()));
            return NoFolder;
        }
        return Missing;
    }
    if (info.isDir()) {
        say(tr("%1 is a folder.").arg(m_path));
        return Unreadable;
    }
    // The file is judged as it will read once an interrupted change has
    // been rolled back; one too long to be ours is not even read.
    const CxFileImage image = CxFileImage::read(m_path, KeyPlan::Signature);
    if (image.status != CxFileImage::Read && image.status != CxFileImage::TooLarge) {
        say(tr("%1 cannot be read: %2.").arg(m_path, image.error));
        return Unreadable;
    }
    m_journalReport.clear();
    if (image.status == CxFileImage::TooLarge) {
        say(tr("%1 is not a Vaultix data file.").arg(m_path));
        return Foreign;
    }
    if (image.size == 0)
        return Empty;
    m_journalReport = journalText(image.journal, false);
    const QByteArray& current = image.bytes;

    CxFile engine(KeyPlan::Signature);
    const int code = engine.OpenReadOnly(QFile::encodeName(m_path).constData());
    engine.Close();
    if (code == -3) {
        say(tr("%1 is not a Vaultix data file.").arg(m_path));
        return Foreign;
    }
    if (code != 0) {
        say(tr("%1 cannot be opened for reading.").arg(m_path));
        return Unreadable;
    }
    CxFileCheck check(current, KeyPlan::Signature);
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
            *error = tr("%1 cannot be opened: %2.").arg(m_path, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        if (error)
            *error = tr("%1 is already in use by another Vaultix.").arg(m_path);
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
    m_file = std::make_unique<CxFile>(KeyPlan::Signature, m_io, m_journalIo);
    const QByteArray name = QFile::encodeName(m_path);
    const bool exists = found == Sound || found == Damaged;
    if (exists) {
        const int code = m_readOnly ? m_file->OpenReadOnly(name.constData()) : m_file->Open(name.constData());
        const CxJournal::State state = m_file->journalState();
        if (code != 0) {
            const bool hot = CxFile::InspectJournal(name.constData(), KeyPlan::Signature) == CxJournal::Hot;
            if (error)
                *error = hot ? tr("A change to %1 was interrupted, and it cannot be undone because the file "
                                  "cannot be written.")
                                   .arg(m_path)
                             : tr("%1 cannot be opened for reading and writing.").arg(m_path);
            close();
            return false;
        }
        m_journalReport = journalText(state, !m_readOnly);
        if (!m_file->staleJournal().empty())
            m_journalReport = tr("%1 It was moved to %2.")
                                  .arg(m_journalReport, QFile::decodeName(m_file->staleJournal().c_str()));
        if (state == CxJournal::Hot && m_readOnly)
            m_journalReport = tr("A change to %1 was interrupted; it is shown as before that change.").arg(m_path);
        return true;
    }
    if (m_file->Create(name.constData(), BlockSize, 1, 0) != 0) {
        if (error)
            *error = tr("%1 cannot be created.").arg(m_path);
        close();
        return false;
    }
    return true;
}

bool CSession::isOpen() const
{
    return m_file && m_file->isOpen();
}

void CSession::closeFile()
{
    if (m_file) {
        m_file->Close();
        m_file.reset();
    }
}

void CSession::close()
{
    closeFile();
    if (m_lockFd >= 0) {
        ::close(m_lockFd);
        m_lockFd = -1;
    }
}
