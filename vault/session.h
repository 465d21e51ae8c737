#ifndef VAULTIX_VAULT_SESSION_H
#define VAULTIX_VAULT_SESSION_H

#include <QCoreApplication>
#include <QString>

#include <memory>

class CxFile;
class CxIo;

// The record file of one run: looked at before anything is written, locked
// against a second writer, opened (or created), closed. The vault opens its
// file through this class.
class CSession
{
    Q_DECLARE_TR_FUNCTIONS(CSession)

public:
    // What is at the path before anything is opened; nothing is written.
    enum Probe {
        Missing,    // no file: a new one may be created
        Empty,      // 0 bytes: treated like a missing file
        Sound,      // a Vaultix data file whose structure checks clean
        Damaged,    // a Vaultix data file whose structure check fails
        Foreign,    // not a Vaultix data file
        Unreadable, // cannot be opened or read, or is a folder
        NoFolder,   // the folder that should hold it does not exist
    };

    explicit CSession(const QString& dataFile);
    ~CSession();
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    const QString& dataFile() const { return m_path; }

    // Looks at the file. `problem` gets a sentence for the user when the
    // answer is neither Missing, Empty nor Sound. The file is read and
    // checked once: an open() that follows uses what was read while the
    // file is unchanged.
    Probe probe(QString* problem = nullptr) const;

    // Holds an exclusive advisory lock on the data file (creating it empty
    // when missing) until close(), so that two writers never share a file.
    // False, with `error` set, when another process holds it.
    bool lock(QString* error = nullptr);

    // A byte-for-byte copy of the data file beside it,
    // "<name>.damaged-YYYYMMDD-HHMMSS"; the copy's path, or empty on failure.
    QString saveDamagedCopy() const;

    // Opens the record file, or creates an empty one. Refuses (false,
    // nothing written) unless the probe says Missing, Empty or Sound, or
    // Damaged with `acceptDamaged`. The file is read once, checked and then
    // loaded from the same bytes.
    bool open(bool acceptDamaged = false, QString* error = nullptr);
    bool isOpen() const;
    // The probe that the last open() acted on.
    Probe lastProbe() const { return m_lastProbe; }

    // What probe() or open() found of the journal an interrupted change
    // leaves beside the data file, as a sentence for the user; empty when
    // there was none. A whole one is played back by open() (read-only, the
    // file reads as if it had been); a torn one, or one written for another
    // file, is never used.
    const QString& journalReport() const { return m_journalReport; }

    // Read-only users open an existing file for reading only, so that it
    // works on a file they may not write and nothing can be written to it;
    // a missing or empty file is still created.
    void setReadOnly(bool readOnly) { m_readOnly = readOnly; }

    // File access of the record file and its journal through stand-ins
    // (not owned; they must outlive the session), so that a test can make
    // the disk fail; null: the real file system.
    void setIo(CxIo* io, CxIo* journalIo)
    {
        m_io = io;
        m_journalIo = journalIo;
    }

    // The open record file; null before open() and after close().
    CxFile* file() const { return m_file.get(); }
    bool isReadOnly() const { return m_readOnly; }

    // Closes and frees the record file, keeping the lock (to open it again).
    void closeFile();
    // Closes and frees the record file and drops the lock. Safe to call twice.
    void close();

private:
    QString journalText(int state, bool done) const;
    Probe lookAt(QString* problem) const;
    // `standIns`: through the file access set with setIo().
    std::unique_ptr<CxFile> examine(bool readOnly, bool acceptDamaged, Probe* found, QString* problem,
                                    bool standIns) const;

    QString m_path;
    int m_lockFd = -1;
    bool m_readOnly = false;
    Probe m_lastProbe = Missing;
    mutable QString m_journalReport;
    std::unique_ptr<CxFile> m_file;
    // The file as the last probe() read it (read-only), and what it found,
    // for the open() that follows; never kept with stand-in file access.
    mutable std::unique_ptr<CxFile> m_probed;
    mutable Probe m_probedAs = Missing;
    mutable QString m_probedProblem;
    CxIo* m_io = nullptr;
    CxIo* m_journalIo = nullptr;
};

#endif
