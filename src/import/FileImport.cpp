#include "FileImport.h"

#include "FileConversion.h"
#include "NativePath.h"
#include "data/GameTable.h"
#include "data/SnapshotTable.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "store/StoreQuery.h"
#include "store/StoreTransaction.h"
#include "system/NaturalOrder.h"

#include <QDir>
#include <QFileInfo>
#include <QUrl>

#include <QVector>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

namespace fs = std::filesystem;

fs::path nativePath(const QString &path)
{
    return fs::path(NativePath::ToNative(path).toStdString());
}

// The folder a browser saves beside a page for its pictures and scripts: "page_files" for
// "page.html", in some languages "page-Dateien" and the like.
bool isPageResources(const QString &folder, const QString &name)
{
    const qsizetype cut = std::max(name.lastIndexOf(QLatin1Char('_')), name.lastIndexOf(QLatin1Char('-')));
    if (cut <= 0)
        return false;
    const QString page = folder + QLatin1Char('/') + name.left(cut);
    const QStringList &suffixes = FileConversion::WebPageSuffixes();
    return std::any_of(suffixes.cbegin(), suffixes.cend(), [&](const QString &suffix) {
        std::error_code error;
        return fs::exists(nativePath(page + QLatin1Char('.') + suffix), error);
    });
}

struct Entry
{
    QString name;
    bool isDir;
    bool isLink;
};

// Listed by the system's own calls: Qt cannot name a file whose name is not UTF-8, and would leave
// it out without a word.
void collectFolder(const QString &folder, QStringList *files)
{
    std::error_code error;
    fs::directory_iterator it(nativePath(folder), error);
    QVector<Entry> entries;
    for (const fs::directory_iterator end; !error && it != end; it.increment(error)) {
        const QString name = NativePath::FromNative(QByteArray::fromStdString(it->path().filename().native()));
        std::error_code statusError;
        const bool isLink = it->is_symlink(statusError);
        const bool isDir = it->is_directory(statusError);
        entries.append({name, isDir, isLink});
    }
    std::sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) {
        // Files first, then the sub-folders, each in the order a file manager shows them.
        if (a.isDir != b.isDir)
            return b.isDir;
        return NaturalLess(a.name, b.name);
    });
    for (const Entry &entry : std::as_const(entries)) {
        if (entry.name.startsWith(QLatin1Char('.')))
            continue;
        const QString path = folder + QLatin1Char('/') + entry.name;
        if (!entry.isDir) {
            files->append(path);
        } else if (!entry.isLink && !isPageResources(folder, entry.name)) {
            // Links to folders are not followed: one could lead back up and never end.
            collectFolder(path, files);
        }
    }
}

// A file's id is a 32-bit number in the program; a store whose ids went past that (by hand) cannot
// take another file without the new id being misread.
ErrObject idsUsedUp(const QSqlDatabase &db)
{
    return {ErrNumber::StoreFailed,
            QStringLiteral("The store \"%1\" has used up the file ids Lorekeep can give (up to %2), so the file "
                           "was not saved.")
                .arg(StoreError::storePath(db))
                .arg(std::numeric_limits<qint32>::max())};
}

// The last id given, even to a file since deleted: ids are never reused.
bool lastIdGiven(const QSqlDatabase &db, qint64 *last, ErrObject *err)
{
    StoreQuery query(db);
    const bool shared = StoreAddress::IsShared(db);
    const QString lastGiven = shared
                                  ? QStringLiteral("pg_sequence_last_value(pg_get_serial_sequence('file', 'auto_id'))")
                                  : QStringLiteral("(SELECT seq FROM sqlite_sequence WHERE name = 'file')");
    bool found = false;
    if (!query.run(QStringLiteral("SELECT %1(coalesce((SELECT max(auto_id) FROM file), 0), coalesce(%2, 0))")
                       .arg(shared ? QStringLiteral("greatest") : QStringLiteral("max"), lastGiven),
                   err) ||
        !query.firstRow(&found, err))
        return false;
    *last = found ? query.value(0).toLongLong() : 0;
    return true;
}

// Whether the game has a file from `source` among those with ids above `after`.
bool storedAlready(StoreQuery &query, qint32 gameId, const QString &source, qint64 after, bool *found, ErrObject *err)
{
    const bool ok =
        query.run(QStringLiteral("SELECT 1 FROM file WHERE game_id = ? AND auto_id > ? AND src = ? LIMIT 1"),
                  {gameId, after, source}, err) &&
        query.firstRow(found, err);
    query.finish();
    return ok;
}

bool lastFileId(const QSqlDatabase &db, qint64 *last, ErrObject *err)
{
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT coalesce(max(auto_id), 0) FROM file"), err) || !query.firstRow(&found, err))
        return false;
    *last = found ? query.value(0).toLongLong() : 0;
    return true;
}

} // namespace

FileImport::FileImport(const QSqlDatabase &db, qint32 gameId)
    : m_db(db),
      m_gameId(gameId),
      m_shared(StoreAddress::IsShared(db)),
      m_sourceQuery(db, StoreQuery::Statement::Kept),
      m_insertQuery(db, StoreQuery::Statement::Kept)
{}

QStringList FileImport::Collect(const QStringList &paths)
{
    QStringList files;
    for (const QString &path : paths) {
        const QString absolute = QDir::cleanPath(QDir(QDir::currentPath()).absoluteFilePath(path));
        std::error_code error;
        if (fs::is_directory(nativePath(absolute), error))
            collectFolder(absolute, &files);
        else
            files.append(absolute);
    }
    return files;
}

quint8 FileImport::SubCategoryFor(const QString &name)
{
    const QString lower = name.toLower();
    const auto has = [&](const char *word) {
        return lower.contains(QLatin1String(word));
    };
    if (has("cheat") || has("code") || has("hint"))
        return 2;
    if (has("preview"))
        return 4;
    if (has("review"))
        return 3;
    if (has("news"))
        return 5;
    return 1;
}

bool FileImport::ReadBytes(const QString &path, QByteArray *bytes, QString *why)
{
    // Only regular files: reading a pipe or a device could wait, or run, for ever.
    const QByteArray native = NativePath::ToNative(path);
    struct stat status;
    if (::stat(native.constData(), &status) != 0) {
        *why = QStringLiteral("not found");
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        *why = S_ISDIR(status.st_mode) ? QStringLiteral("a folder") : QStringLiteral("not a regular file");
        return false;
    }
    if (status.st_size > MaxFileSize) {
        *why = QStringLiteral("larger than 64 MB");
        return false;
    }
    const auto cannotRead = [why] {
        *why = QStringLiteral("cannot be read: ") + QString::fromLocal8Bit(std::strerror(errno));
        return false;
    };
    const int fd = ::open(native.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return cannotRead();
    // Read into a buffer of the size the file had a moment ago, one byte over so that the end is
    // seen in one go; a file that grows meanwhile is read on, as far as one byte past the limit.
    QByteArray buffer(qsizetype(status.st_size) + 1, Qt::Uninitialized);
    qsizetype length = 0;
    for (;;) {
        if (length == buffer.size()) {
            if (buffer.size() > MaxFileSize)
                break;
            buffer.resize(std::min<qsizetype>(buffer.size() * 2, MaxFileSize + 1));
        }
        const ssize_t got = ::read(fd, buffer.data() + length, size_t(buffer.size() - length));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            const int error = errno;
            ::close(fd);
            errno = error;
            return cannotRead();
        }
        if (got == 0)
            break;
        length += got;
    }
    ::close(fd);
    if (length > MaxFileSize) {
        *why = QStringLiteral("larger than 64 MB");
        return false;
    }
    buffer.truncate(length);
    *bytes = std::move(buffer);
    return true;
}

ImportedFile FileImport::Convert(const QString &path, quint8 subCat, const QString &encoding)
{
    ImportedFile file;
    file.Path = path;
    const QFileInfo info(NativePath::Shown(path));
    file.Row.src = info.filePath();
    file.Row.desc = info.completeBaseName().isEmpty() ? info.fileName() : info.completeBaseName();
    file.Row.sub_cat = subCat != 0 ? subCat : SubCategoryFor(file.Row.desc);

    QByteArray bytes;
    if (!ReadBytes(path, &bytes, &file.Skipped))
        return file;
    FileConversion::Converted converted = FileConversion::FromBytes(info.suffix(), bytes, encoding);
    file.Row.txt_rtf = std::move(converted.Rtf);
    file.Encoding = std::move(converted.Encoding);
    file.Skipped = std::move(converted.Skipped);
    return file;
}

QString FileImport::LocalSource(const QString &source)
{
    const QString trimmed = source.trimmed();
    if (trimmed.startsWith(QLatin1Char('/')))
        return QDir::cleanPath(trimmed);
    const QUrl url(trimmed);
    return url.isLocalFile() ? QDir::cleanPath(url.toLocalFile()) : QString();
}

bool FileImport::Replace(const QSqlDatabase &db, const FileRow &loaded, const QString &rtf, bool *replaced,
                         ErrObject *err)
{
    FileRow row = loaded;
    row.txt_rtf = rtf;
    StoreTransaction transaction(db, StoreTransaction::Lock::Immediate);
    return transaction.begin(err) && FileTable::UpdateIfUnchanged(db, row, loaded, replaced, err) &&
           transaction.commit(err);
}

bool FileImport::Begin(ErrObject *err)
{
    // Read before the sources: a file stored after this has a higher id and is checked for at
    // each store. A server gives ids before it commits, not always in order, so there every
    // check reads all of the game's files.
    m_checkedUpTo = -1;
    if (!m_shared && !lastFileId(m_db, &m_checkedUpTo, err))
        return false;
    GameRow game;
    bool found = false;
    if (!GameTable::Read(m_db, m_gameId, &game, &found, err))
        return false;
    if (!found) {
        *err = StoreError::noRow("game", m_gameId);
        return false;
    }
    return FileTable::Sources(m_db, m_gameId, &m_sources, err);
}

bool FileImport::IsKnown(const QString &path) const
{
    return m_sources.contains(NativePath::Shown(path));
}

bool FileImport::Store(ImportedFile *file, ErrObject *err)
{
    file->Row.game_id = m_gameId;
    // Another import may be storing the same files at this moment: the write lock is taken before
    // the check, so one of them stores each file and the other finds it there.
    StoreTransaction transaction(m_db, StoreTransaction::Lock::Immediate);
    bool found = false;
    // Only the files stored since the last look need reading: the game's earlier ones are in
    // m_sources. Reading them all again made a large import slower with every file.
    const qint64 after = m_sources.contains(file->Row.src) ? -1 : m_checkedUpTo;
    if (!transaction.begin(err) || !storedAlready(m_sourceQuery, m_gameId, file->Row.src, after, &found, err))
        return false;
    m_sources.insert(file->Row.src);
    if (found) {
        file->Duplicate = true;
        file->Skipped = QStringLiteral("already in this game");
        return true;
    }
    // A file's id must fit the program's 32 bits. SQLite gives the id past the last one given, so
    // the new row's own id tells, and the transaction takes the row back when it does not fit; a
    // store that cannot give one at all fails the insert, and is told from a store failure then. A
    // server's failed statement spoils its transaction, so there the ids are looked at first.
    constexpr qint64 lastId = std::numeric_limits<qint32>::max();
    qint64 id = 0;
    if (m_shared) {
        if (!lastIdGiven(m_db, &id, err))
            return false;
        if (id >= lastId) {
            *err = idsUsedUp(m_db);
            return false;
        }
    }
    if (!FileTable::Add(m_insertQuery, file->Row, &id, err)) {
        qint64 last = 0;
        if (!m_shared && lastIdGiven(m_db, &last, nullptr) && last >= lastId)
            *err = idsUsedUp(m_db);
        return false;
    }
    if (id > lastId) {
        *err = idsUsedUp(m_db);
        return false;
    }
    qint32 snapshotId = 0;
    if ((!file->Snapshot.isEmpty() && !SnapshotTable::Add(m_db, qint32(id), file->SnapshotAddress, file->Captured,
                                                          file->Snapshot, &snapshotId, err)) ||
        !transaction.commit(err))
        return false;
    // Under the write lock nothing came between the look and this file, which has the highest id.
    if (m_checkedUpTo >= 0)
        m_checkedUpTo = id;
    file->Row.auto_id = qint32(id);
    return true;
}
