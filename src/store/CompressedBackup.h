#pragma once

#include "system/ErrObject.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QString>

#include <functional>

// A backup kept as one zstd stream. Its first frame is a skippable one that zstd itself passes
// over: it tells the size of the store copy inside and a hash of it, so that "does the newest
// backup already hold the store?" is answered without unpacking the backup.
namespace CompressedBackup {

// The suffix a compressed backup's name ends with after ".lkb".
inline const QString Suffix = QStringLiteral(".zst");

// Told how many of `total` bytes are done; answers false to stop.
using Progress = std::function<bool(qint64 done, qint64 total)>;

struct Header
{
    qint64 PlainSize = 0;
    QByteArray Hash;
    // What the copy holds, so that listing backups does not unpack them.
    qint64 Games = 0;
    qint64 Files = 0;
    // The size of the whole compressed file: one cut short is told without reading it.
    qint64 FileSize = 0;
};

bool IsCompressed(const QString &path);

// The hash kept in the header: of the whole store file, save the header bytes that a copy of a
// store changes (journal mode, change counter, schema cookie, the version that wrote it last).
class StoreHash final
{
public:
    void add(QByteArray chunk);
    QByteArray result() const { return m_hash.result(); }

private:
    QCryptographicHash m_hash{QCryptographicHash::Blake2b_256};
    qint64 m_done = 0;
};

// Compresses the store copy at `plain`, which holds `counts`' games and files, into `target`, which
// the caller names as unfinished until it is whole. `stopped` is set when `progress` asked.
bool Compress(const QString &plain, const QString &target, const Header &counts, const Progress &progress,
              bool *stopped, ErrObject *err);

// Reads the header of the backup at `path`; a file that is not one of ours, or not of the size it
// was written with, is damaged.
bool ReadHeader(const QString &path, Header *header, ErrObject *err);

// Unpacks the backup at `path` into `plain`, checking first that the disk holds it; nothing is
// left at `plain` on failure.
bool Expand(const QString &path, const QString &plain, const Progress &progress, bool *stopped, ErrObject *err);

// The hash of the file at `path` as StoreHash takes it; empty when it cannot be read or was stopped.
QByteArray HashFile(const QString &path, const Progress &progress, bool *stopped);

// A backup made readable: a plain one is read where it is, a compressed one is unpacked beside it
// for as long as this lives.
class Readable final
{
public:
    Readable() = default;
    ~Readable();
    Q_DISABLE_COPY_MOVE(Readable)

    bool open(const QString &backup, const Progress &progress, bool *stopped, ErrObject *err);
    const QString &path() const { return m_path; }
    // A message about the unpacked copy names the backup the user knows.
    void rename(ErrObject *err) const
    {
        if (!m_temporary.isEmpty())
            err->Description.replace(m_temporary, m_backup);
    }

private:
    QString m_backup;
    QString m_path;
    QString m_temporary;
};

// Whether two store files hold the same pages, save the header bytes a copy changes.
bool SameStore(const QString &first, const QString &second, const Progress &progress, bool *stopped);

} // namespace CompressedBackup
