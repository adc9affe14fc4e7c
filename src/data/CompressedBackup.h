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
    QCryptographicHash m_hash{QCryptographicHash::Sha256};
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

} // namespace CompressedBackup
