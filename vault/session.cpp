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

// What the path tells before the file is read: Missing, NoFolder,
// Unreadable (a folder), or Sound for a file to be read.
CSession::Probe CSession::lookAt(QString* problem) const
{
    const QFileInfo info(m_path);
    if (!info.exists() && !info.isSymLink()) {
        if (!info.absoluteDir().exists()) {
            *problem = tr("The folder %1 does not exist.").arg(info.absolutePath());
            return NoFolder;
        }
        return Missing;
    }
    if (info.isDir()) {
        *problem = tr("%1 is a folder.").arg(m_path);
        return Unreadable;
    }
    return Sound;
}

// Opens the file at the path, reading it once: its structure is checked on
// the bytes read, as they read once an interrupted change is undone, and
// nothing is written unless it is sound (or damaged, and `acceptDamaged`).
// Returns the open file, or null with `found` and `problem` saying
// why; a file that is empty after all is Empty.
std::unique_ptr<CxFile> CSession::examine(bool readOnly, bool acceptDamaged, Probe* found, QString* problem,
                                          bool standIns) const
{
    auto file = standIns ? std::make_unique<CxFile>(KeyPlan::Signature, m_io, m_journalIo)
                         : std::make_unique<CxFile>(KeyPlan::Signature);
    Probe verdict = Sound;
    QString findings;
    auto inspect = [&](const unsigned char* bytes, int64_t size) {
        CxFileCheck check(QByteArray::fromRawData(reinterpret_cast<const char*>(bytes), qsizetype(size)),
                          KeyPlan::Signature);
        verdict = check.run() ? Sound : Damaged;
        findings = verdict == Sound ? QString() : check.problems().join(u'\n');
        return verdict == Sound || acceptDamaged;
    };
    const QByteArray name = QFile::encodeName(m_path);
    const int code = readOnly ? file->OpenReadOnly(name.constData(), inspect) : file->Open(name.constData(), inspect);
    m_journalReport = journalText(file->journalState(), false);
    *problem = findings;
    *found = verdict;
    switch (code) {
    case 0:
        return file;
    case -4:
        break;
    case -1:
        m_journalReport.clear();
        *found = Missing;
        break;
    case -3:
        if (QFileInfo(m_path).size() == 0) {
            m_journalReport.clear();
            *found = Empty;
        } else {
            *problem = tr("%1 is not a Vaultix data file.").arg(m_path);
            *found = Foreign;
        }
        break;
    default:
        *problem = tr("%1 cannot be read: %2.").arg(m_path, QString::fromLocal8Bit(std::strerror(file->lastError())));
        *found = Unreadable;
        break;
    }
    return nullptr;
}

CSession::Probe CSession::probe(QString* problem) const
{
    m_probed.reset();
    QString text;
    Probe found = lookAt(&text);
    if (found == Sound) {
        // Kept open, read-only, for the open() that follows.
        std::unique_ptr<CxFile> file = examine(true, true, &found, &text, false);
        if (file && !m_io) {
            m_probed = std::move(file);
            m_probedAs = found;
            m_probedProblem = text;
        }
    }
    if (problem && found != Missing && found != Empty && found != Sound)
        *problem = text;
    return found;
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
    std::unique_ptr<CxFile> probed = std::move(m_probed);
    if (isOpen())
        return true;
    QString problem;
    Probe found = probed ? m_probedAs : lookAt(&problem);
    if (probed)
        problem = m_probedProblem;
    const bool exists = found == Sound || found == Damaged;
    const bool wanted = found == Sound || acceptDamaged;
    std::unique_ptr<CxFile> file;
    if (exists && wanted && probed && m_readOnly) {
        // What the probe read is what the file holds; a change reads the
        // file again once it holds the lock.
        file = std::move(probed);
    } else if (exists && wanted) {
        probed.reset();
        file = examine(m_readOnly, acceptDamaged, &found, &problem, true);
        if (!file && found == Unreadable && !m_readOnly) {
            // Readable, but not for writing: said as such.
            QString readable;
            Probe asRead = Sound;
            if (examine(true, acceptDamaged, &asRead, &readable, false) || asRead == Damaged) {
                found = asRead;
                const QByteArray name = QFile::encodeName(m_path);
                const bool hot = CxFile::InspectJournal(name.constData(), KeyPlan::Signature) == CxJournal::Hot;
                problem = asRead == Damaged && !acceptDamaged ? readable
                          : hot ? tr("A change to %1 was interrupted, and it cannot be undone because the file "
                                     "cannot be written.")
                                      .arg(m_path)
                                : tr("%1 cannot be opened for reading and writing.").arg(m_path);
                m_lastProbe = found;
                if (error)
                    *error = problem;
                return false;
            }
            found = asRead;
            problem = readable;
        }
    }
    probed.reset();
    m_lastProbe = found;
    const bool allowed = found == Missing || found == Empty || found == Sound || (found == Damaged && acceptDamaged);
    if (!allowed || (found != Missing && found != Empty && !file)) {
        if (error)
            *error = problem;
        return false;
    }
    if (file) {
        m_file = std::move(file);
        const CxJournal::State state = m_file->journalState();
        m_journalReport = journalText(state, !m_readOnly);
        if (!m_file->staleJournal().empty())
            m_journalReport = tr("%1 It was moved to %2.")
                                  .arg(m_journalReport, QFile::decodeName(m_file->staleJournal().c_str()));
        if (state == CxJournal::Hot && m_readOnly)
            m_journalReport = tr("A change to %1 was interrupted; it is shown as before that change.").arg(m_path);
        return true;
    }
    if (found == Empty)
        m_journalReport.clear();
    m_file = std::make_unique<CxFile>(KeyPlan::Signature, m_io, m_journalIo);
    const QByteArray name = QFile::encodeName(m_path);
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
    m_probed.reset();
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
