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
#include <QFile>
#include <QFileInfo>
#include <QUrl>

#include <QVector>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <limits>
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
bool idsLeft(const QSqlDatabase &db, ErrObject *err)
{
    StoreQuery query(db);
    // The last id given, even to a file since deleted: ids are never reused.
    const bool shared = StoreAddress::IsShared(db);
    const QString lastGiven = shared
                                  ? QStringLiteral("pg_sequence_last_value(pg_get_serial_sequence('file', 'auto_id'))")
                                  : QStringLiteral("(SELECT seq FROM sqlite_sequence WHERE name = 'file')");
    if (!query.run(QStringLiteral("SELECT %1(coalesce((SELECT max(auto_id) FROM file), 0), coalesce(%2, 0))")
                       .arg(shared ? QStringLiteral("greatest") : QStringLiteral("max"), lastGiven),
                   err))
        return false;
    bool found = false;
    if (!query.firstRow(&found, err))
        return false;
    const qint64 last = found ? query.value(0).toLongLong() : 0;
    if (last < std::numeric_limits<qint32>::max())
        return true;
    *err = {ErrNumber::StoreFailed,
            QStringLiteral("The store \"%1\" has used up the file ids Lorekeep can give (up to %2), so the file "
                           "was not saved.")
                .arg(StoreError::storePath(db))
                .arg(std::numeric_limits<qint32>::max())};
    return false;
}

// Whether the game has a file from `source` among those with ids above `after`.
bool storedAlready(const QSqlDatabase &db, qint32 gameId, const QString &source, qint64 after, bool *found,
                   ErrObject *err)
{
    StoreQuery query(db);
    return query.run(QStringLiteral("SELECT 1 FROM file WHERE game_id = ? AND auto_id > ? AND src = ? LIMIT 1"),
                     {gameId, after, source}, err) &&
           query.firstRow(found, err);
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

FileImport::FileImport(const QSqlDatabase &db, qint32 gameId) : m_db(db), m_gameId(gameId) {}

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
    std::error_code error;
    const fs::path native = nativePath(path);
    const auto status = fs::status(native, error);
    if (error || !std::filesystem::exists(status)) {
        *why = QStringLiteral("not found");
        return false;
    }
    if (!std::filesystem::is_regular_file(status)) {
        *why =
            std::filesystem::is_directory(status) ? QStringLiteral("a folder") : QStringLiteral("not a regular file");
        return false;
    }
    if (fs::file_size(native, error) > quint64(MaxFileSize) && !error) {
        *why = QStringLiteral("larger than 64 MB");
        return false;
    }
    QFile source;
    const int fd = ::open(native.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *why = QStringLiteral("cannot be read: ") + QString::fromLocal8Bit(std::strerror(errno));
        return false;
    }
    if (!source.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        *why = QStringLiteral("cannot be read: ") + source.errorString();
        return false;
    }
    *bytes = source.read(MaxFileSize + 1);
    if (source.error() != QFileDevice::NoError) {
        *why = QStringLiteral("cannot be read: ") + source.errorString();
        return false;
    }
    if (bytes->size() > MaxFileSize) {
        *why = QStringLiteral("larger than 64 MB");
        return false;
    }
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
    if (!StoreAddress::IsShared(m_db) && !lastFileId(m_db, &m_checkedUpTo, err))
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
    if (!transaction.begin(err) || !storedAlready(m_db, m_gameId, file->Row.src, after, &found, err))
        return false;
    m_sources.insert(file->Row.src);
    if (found) {
        file->Duplicate = true;
        file->Skipped = QStringLiteral("already in this game");
        return true;
    }
    qint32 id = 0;
    qint32 snapshotId = 0;
    if (!idsLeft(m_db, err) || !FileTable::Add(m_db, file->Row, &id, err) ||
        (!file->Snapshot.isEmpty() &&
         !SnapshotTable::Add(m_db, id, file->SnapshotAddress, file->Captured, file->Snapshot, &snapshotId, err)) ||
        !transaction.commit(err))
        return false;
    // Under the write lock nothing came between the look and this file, which has the highest id.
    if (m_checkedUpTo >= 0)
        m_checkedUpTo = id;
    file->Row.auto_id = id;
    return true;
}
