#include "StoreBackup.h"

#include "modADO.h"
#include "store/CompressedBackup.h"
#include "store/DirectRows.h"
#include "store/Schema.h"
#include "store/StoreAddress.h"
#include "store/StoreError.h"
#include "store/StoreQuery.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>
#include <QUrl>
#include <QUuid>

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Pages copied per step: 4 MB at the usual page size, so progress moves and Cancel is heard often.
constexpr int stepPages = 1024;
// How often a long statement reports progress, in virtual machine steps.
constexpr int progressOps = 20000;
const QString timeFormat = QStringLiteral("yyyy-MM-dd HH-mm-ss");

// A connection of its own, on the thread that makes it; gone with the object.
class Link final
{
public:
    Link(const QString &path, const char *mode)
        : m_name(QStringLiteral("lorekeep-backup-") + QUuid::createUuid().toString(QUuid::WithoutBraces)), m_path(path)
    {
        m_db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
        m_db.setDatabaseName(QStringLiteral("file:") + QString::fromUtf8(QUrl::toPercentEncoding(path, "/")) +
                             QStringLiteral("?mode=") + QLatin1String(mode));
        m_db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_URI;QSQLITE_BUSY_TIMEOUT=5000"));
    }
    ~Link()
    {
        m_db.close();
        m_db = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_name);
    }
    Q_DISABLE_COPY_MOVE(Link)

    bool open(ErrObject *err)
    {
        if (m_db.open())
            return true;
        *err = StoreError::fromSql(m_db.lastError(), m_path);
        return false;
    }
    QSqlDatabase &db() { return m_db; }
    sqlite3 *handle() const { return SqliteHandle(m_db); }
    // What SQLite said last on this connection, as an error for the user.
    ErrObject error(int code) const
    {
        const char *text = handle() ? sqlite3_errmsg(handle()) : sqlite3_errstr(code);
        return StoreError::fromSql(
            QSqlError(QString(), QString::fromUtf8(text), QSqlError::StatementError, QString::number(code)), m_path);
    }

private:
    QString m_name;
    QString m_path;
    QSqlDatabase m_db;
};

ErrObject cancelled()
{
    return {StoreBackup::Cancelled, QStringLiteral("Cancel was selected.")};
}

// A rename is on the disk only once its folder is.
void syncFolder(const QString &folder)
{
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

// Replaces `target` by `source` in one step, as rename(2) does and QFile::rename does not.
bool replaceFile(const QString &source, const QString &target, ErrObject *err)
{
    if (::rename(QFile::encodeName(source).constData(), QFile::encodeName(target).constData()) != 0) {
        *err = StoreError::fileFailed(QStringLiteral("write"), target, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    syncFolder(QFileInfo(target).absolutePath());
    return true;
}

// Copies a closed file to `part` and puts the copy on the disk; nothing is left on failure.
bool writeCopy(const QString &source, const QString &part, ErrObject *err)
{
    QFile in(source);
    QFile out(part);
    if (!StoreError::openForCopy(&in, &out, err))
        return false;
    QByteArray chunk;
    while (!(chunk = in.read(1 << 20)).isEmpty()) {
        if (out.write(chunk) != chunk.size()) {
            *err = StoreError::fileFailed(QStringLiteral("write"), part, out.errorString());
            out.remove();
            return false;
        }
    }
    const bool synced = out.flush() && ::fsync(out.handle()) == 0;
    out.close();
    if (in.error() != QFile::NoError || !synced) {
        *err = in.error() != QFile::NoError ? StoreError::fileFailed(QStringLiteral("read"), source, in.errorString())
                                            : StoreError::fileFailed(QStringLiteral("write"), part, out.errorString());
        QFile::remove(part);
        return false;
    }
    return true;
}

// Copies a closed file; the copy at `target` is whole or absent.
bool copyFile(const QString &source, const QString &target, ErrObject *err)
{
    const QString part = target + QStringLiteral(".part");
    if (!writeCopy(source, part, err))
        return false;
    if (!replaceFile(part, target, err)) {
        QFile::remove(part);
        return false;
    }
    return true;
}

// The first name in `folder` for a backup that is not taken: a second backup in the same second
// gets " (2)".
QString freePath(const QString &folder, const QString &storeName, const QDateTime &made, const QString &note,
                 const QString &suffix = {})
{
    const QDir dir(folder);
    const QString base = StoreBackup::FileName(storeName, made, note).chopped(4);
    QString name = base + QStringLiteral(".lkb") + suffix;
    for (int n = 2; QFileInfo::exists(dir.filePath(name)); ++n)
        name = base + QStringLiteral(" (%1).lkb").arg(n) + suffix;
    return dir.filePath(name);
}

bool makeFolder(const QString &folder, ErrObject *err)
{
    if (QDir().mkpath(folder))
        return true;
    *err =
        StoreError::fileFailed(QStringLiteral("create the backup folder"), folder, QStringLiteral("permission denied"));
    return false;
}

// Copies every page of `from` into `to` in one transaction of `to`, telling `progress` of the
// pages; SQLITE_DONE when the copy is whole.
int copyPages(sqlite3 *to, sqlite3 *from, const StoreBackup::Progress &progress, bool *stopped)
{
    sqlite3_backup *backup = sqlite3_backup_init(to, "main", from, "main");
    if (!backup)
        return sqlite3_errcode(to);
    int rc = SQLITE_OK;
    while (rc == SQLITE_OK || rc == SQLITE_BUSY || rc == SQLITE_LOCKED) {
        if (rc != SQLITE_OK)
            QThread::msleep(50);
        rc = sqlite3_backup_step(backup, stepPages);
        const int total = sqlite3_backup_pagecount(backup);
        const bool goOn = !progress || progress(total - sqlite3_backup_remaining(backup), total);
        if (!goOn && rc != SQLITE_DONE) {
            *stopped = true;
            break;
        }
    }
    // Finishing an unfinished copy rolls the destination back to what it held.
    const int finish = sqlite3_backup_finish(backup);
    return rc == SQLITE_DONE ? (finish == SQLITE_OK ? SQLITE_DONE : finish) : rc;
}

struct CheckProgress
{
    const StoreBackup::Progress *progress;
    qint64 ticks = 0;
    bool stopped = false;
};

int reportCheck(void *context)
{
    auto *check = static_cast<CheckProgress *>(context);
    if (*check->progress && !(*check->progress)(++check->ticks, 0))
        check->stopped = true;
    return check->stopped ? 1 : 0;
}

} // namespace

BackupInfo::Kind BackupInfo::kind() const
{
    if (Note.isEmpty())
        return Kind::Daily;
    if (Note == ManualNote)
        return Kind::Manual;
    if (Note == BeforeRestoreNote)
        return Kind::BeforeRestore;
    if (IsDamaged())
        return Kind::Damaged;
    return Kind::BeforeChange;
}

const QString StoreBackup::FolderName = QStringLiteral("Backups");

QString StoreBackup::Folder(const QString &home)
{
    return QDir(home).filePath(FolderName);
}

QString StoreBackup::FileName(const QString &storeName, const QDateTime &made, const QString &note)
{
    QString name = storeName + QLatin1Char(' ') + made.toString(timeFormat);
    if (!note.isEmpty())
        name += QLatin1Char(' ') + note;
    return name + QStringLiteral(".lkb");
}

bool StoreBackup::Make(const QString &storePath, const QString &folder, const QString &note, QString *made,
                       ErrObject *err, const Progress &progress)
{
    if (!makeFolder(folder, err))
        return false;
    const QString target =
        freePath(folder, modADO::NameFromPath(storePath), QDateTime::currentDateTime(), note, CompressedBackup::Suffix);
    // The plain copy, then the compressed file, each under a name that says it is not finished.
    const QString part = target.chopped(CompressedBackup::Suffix.size()) + QStringLiteral(".part");
    const QString packed = target + QStringLiteral(".part");
    QFile::remove(part);
    bool stopped = false;
    BackupContents held;
    // Copying the pages is the first half of the bar, compressing them the second.
    const Progress copying = [&progress](qint64 done, qint64 total) {
        return !progress || progress(total > 0 ? 500 * done / total : 0, 1000);
    };
    const CompressedBackup::Progress compressing = [&progress](qint64 done, qint64 total) {
        return !progress || progress(500 + (total > 0 ? 500 * done / total : 500), 1000);
    };
    {
        Link source(storePath, "ro");
        Link copy(part, "rwc");
        if (!source.open(err) || !copy.open(err))
            return false;
        // A read transaction holds the store as it is now; changes made meanwhile by the program
        // or lkimport go on beside it and are not half in the copy.
        QSqlQuery hold(source.db());
        if (!hold.exec(QStringLiteral("BEGIN")) || !hold.exec(QStringLiteral("SELECT count(*) FROM sqlite_master"))) {
            *err = StoreError::fromSql(hold.lastError(), storePath);
            return false;
        }
        hold.finish();
        const int rc = copyPages(copy.handle(), source.handle(), copying, &stopped);
        hold.exec(QStringLiteral("COMMIT"));
        if (rc != SQLITE_DONE && !stopped) {
            *err = copy.error(rc);
            err->Description = QStringLiteral("The backup of \"%1\" failed. %2").arg(storePath, err->Description);
        }
        // A backup is one file that opens anywhere, also where no log can be written beside it.
        QSqlQuery mode(copy.db());
        if (rc == SQLITE_DONE && !mode.exec(QStringLiteral("PRAGMA journal_mode = DELETE")))
            *err = StoreError::fromSql(mode.lastError(), part);
        if (rc == SQLITE_DONE && !err->isError())
            Count(copy.db(), &held, err);
    }
    if (!stopped && !err->isError())
        CompressedBackup::Compress(part, packed, {0, {}, held.Games, held.Files}, compressing, &stopped, err);
    if (stopped)
        *err = cancelled();
    if (stopped || err->isError()) {
        QFile::remove(part);
        QFile::remove(part + QStringLiteral("-journal"));
        return false;
    }
    QFile::remove(part);
    if (!replaceFile(packed, target, err)) {
        QFile::remove(packed);
        return false;
    }
    if (made)
        *made = target;
    return true;
}

bool StoreBackup::KeepDamaged(const QString &storePath, const QString &folder, QString *made, ErrObject *err)
{
    if (!makeFolder(folder, err))
        return false;
    const QString target = freePath(folder, modADO::NameFromPath(storePath), QDateTime::currentDateTime(),
                                    QString(BackupInfo::DamagedNote));
    // The log goes first: a copy of the store without it would be older than the store.
    const QString log = storePath + QStringLiteral("-wal");
    if (QFileInfo::exists(log) && !copyFile(log, target + QStringLiteral("-wal"), err))
        return false;
    if (!copyFile(storePath, target, err)) {
        QFile::remove(target + QStringLiteral("-wal"));
        return false;
    }
    if (made)
        *made = target;
    return true;
}

QVector<BackupInfo> StoreBackup::List(const QString &folder, const QString &storeName)
{
    static const QRegularExpression pattern(QStringLiteral(
        "^(.+) (\\d{4}-\\d\\d-\\d\\d \\d\\d-\\d\\d-\\d\\d)(?: (.*?))?(?: \\(\\d+\\))?\\.lkb(?:\\.zst)?$"));
    QVector<BackupInfo> backups;
    const QFileInfoList files = QDir(folder).entryInfoList(
        {QStringLiteral("*.lkb"), QStringLiteral("*.lkb") + CompressedBackup::Suffix}, QDir::Files);
    for (const QFileInfo &file : files) {
        const QRegularExpressionMatch match = pattern.match(file.fileName());
        if (!match.hasMatch() || (!storeName.isEmpty() && match.captured(1) != storeName))
            continue;
        const QDateTime made = QDateTime::fromString(match.captured(2), timeFormat);
        if (!made.isValid())
            continue;
        backups.append(
            {file.absoluteFilePath(), match.captured(1), made, match.captured(3), file.size(), file.lastModified()});
    }
    std::sort(backups.begin(), backups.end(), [](const BackupInfo &a, const BackupInfo &b) {
        return a.Made != b.Made ? a.Made > b.Made : a.Written > b.Written;
    });
    return backups;
}

bool StoreBackup::MadeOn(const QString &folder, const QString &storeName, const QDate &day)
{
    return MadeOn(List(folder, storeName), day);
}

bool StoreBackup::MadeOn(const QVector<BackupInfo> &backups, const QDate &day)
{
    return std::any_of(backups.cbegin(), backups.cend(),
                       [&day](const BackupInfo &backup) { return backup.Made.date() == day && !backup.IsDamaged(); });
}

void StoreBackup::Rotate(const QString &folder, const QString &storeName, int keep)
{
    int kept = 0;
    for (const BackupInfo &backup : List(folder, storeName)) {
        if (backup.IsDamaged())
            continue;
        if (++kept > std::max(keep, 1))
            QFile::remove(backup.Path);
    }
}

QStringList StoreBackup::RemoveLeftovers(const QString &folder)
{
    // A backup, the log of a damaged store's copy, or a compressed backup unpacked for reading,
    // written under a temporary name.
    static const QRegularExpression pattern(
        QStringLiteral("^.+ \\d{4}-\\d\\d-\\d\\d \\d\\d-\\d\\d-\\d\\d.*\\.lkb(?:\\.zst)?(?:-wal)?(?:\\.read-[0-9a-f]+)?"
                       "\\.part(?:-journal|-wal|-shm)?$"));
    QStringList removed;
    const QStringList names = QDir(folder).entryList({QStringLiteral("*.part*")}, QDir::Files | QDir::Hidden);
    for (const QString &name : names) {
        if (pattern.match(name).hasMatch() && QFile::remove(QDir(folder).filePath(name)))
            removed << name;
    }
    return removed;
}

bool StoreBackup::Inspect(const QString &path, BackupContents *contents, ErrObject *err)
{
    // A compressed backup was counted when it was made; its header is all that is read.
    CompressedBackup::Header header;
    if (CompressedBackup::IsCompressed(path)) {
        const bool ok = CompressedBackup::ReadHeader(path, &header, err);
        *contents = {header.Games, header.Files};
        return ok;
    }
    Link link(path, "ro");
    return link.open(err) && Count(link.db(), contents, err);
}

bool StoreBackup::HoldsText(const QString &backupPath, qint32 fileId, const QString &rtf)
{
    ErrObject err;
    CompressedBackup::Readable readable;
    bool stopped = false;
    if (!readable.open(backupPath, {}, &stopped, &err))
        return false;
    Link link(readable.path(), "ro");
    if (!link.open(&err))
        return false;
    StoreQuery query(link.db());
    bool found = false;
    return query.run(QStringLiteral("SELECT txt_rtf FROM file WHERE auto_id = ?"), {fileId}, &err) &&
           query.firstRow(&found, &err) && found && query.value(0).toString() == rtf;
}

bool StoreBackup::Count(const QSqlDatabase &db, BackupContents *contents, ErrObject *err)
{
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("SELECT (SELECT count(*) FROM game), (SELECT count(*) FROM file)"), err) ||
        !query.firstRow(&found, err))
        return false;
    contents->Games = query.value(0).toLongLong();
    contents->Files = query.value(1).toLongLong();
    return true;
}

bool StoreBackup::Holds(const QString &backupPath, const QString &storePath, bool *stopped, const Progress &progress)
{
    *stopped = false;
    ErrObject err;
    // A compressed backup is compared by the size and hash of the copy it holds, without unpacking it.
    const bool compressed = CompressedBackup::IsCompressed(backupPath);
    CompressedBackup::Header header;
    if (compressed && !CompressedBackup::ReadHeader(backupPath, &header, &err))
        return false;
    const qint64 backupSize = compressed ? header.PlainSize : QFileInfo(backupPath).size();
    Link reader(storePath, "ro");
    if (!reader.open(&err))
        return false;
    // The store's pages as committed now, held still while they are compared.
    QSqlQuery hold(reader.db());
    qint64 pages = 0;
    qint64 pageSize = 0;
    if (!hold.exec(QStringLiteral("BEGIN")) || !hold.exec(QStringLiteral("SELECT count(*) FROM sqlite_master")) ||
        !hold.exec(QStringLiteral("PRAGMA page_count")) || !hold.next())
        return false;
    pages = hold.value(0).toLongLong();
    if (!hold.exec(QStringLiteral("PRAGMA page_size")) || !hold.next())
        return false;
    pageSize = hold.value(0).toLongLong();
    hold.finish();
    if (pages * pageSize != backupSize)
        return false;
    // Committed pages may still wait in the write-ahead log; the file alone holds the store only
    // once every one of them is copied in. The reader above keeps newer ones out of the file.
    {
        Link writer(storePath, "rw");
        if (!writer.open(&err))
            return false;
        QSqlQuery checkpoint(writer.db());
        if (!checkpoint.exec(QStringLiteral("PRAGMA wal_checkpoint(PASSIVE)")) || !checkpoint.next() ||
            checkpoint.value(0).toInt() != 0 || checkpoint.value(1).toLongLong() != checkpoint.value(2).toLongLong())
            return false;
    }
    const bool same = QFileInfo(storePath).size() == backupSize &&
                      (compressed ? CompressedBackup::HashFile(storePath, progress, stopped) == header.Hash
                                  : CompressedBackup::SameStore(storePath, backupPath, progress, stopped));
    hold.exec(QStringLiteral("COMMIT"));
    return same;
}

bool StoreBackup::Check(const QString &path, QStringList *problems, ErrObject *err, const Progress &progress)
{
    if (CompressedBackup::IsCompressed(path)) {
        CompressedBackup::Readable readable;
        bool stopped = false;
        const bool ok = readable.open(path, progress, &stopped, err) && Check(readable.path(), problems, err, progress);
        if (stopped)
            *err = cancelled();
        readable.rename(err);
        return ok;
    }
    Link link(path, "ro");
    if (!link.open(err) || !modADO::CheckVersion(link.db(), path, err) || !Schema::Verify(link.db(), path, err))
        return false;
    CheckProgress check{&progress};
    if (progress)
        sqlite3_progress_handler(link.handle(), progressOps, &reportCheck, &check);
    StoreQuery query(link.db());
    QStringList found;
    ErrObject failure;
    const bool ran = query.run(QStringLiteral("PRAGMA integrity_check(100)"), &failure) &&
                     query.forEachRow([&] { found << query.text(0); }, &failure);
    sqlite3_progress_handler(link.handle(), 0, nullptr, nullptr);
    if (check.stopped) {
        *err = cancelled();
        return false;
    }
    if (found == QStringList{QStringLiteral("ok")})
        found.clear();
    if (!ran) {
        // A check that stops on a broken page still tells what it met before.
        if (problems)
            *problems = found;
        *err = failure;
        return false;
    }
    if (problems)
        *problems = found;
    if (found.isEmpty())
        return true;
    *err = {ErrNumber::StoreDamaged, QStringLiteral("The store \"%1\" is damaged: %2").arg(path, found.constFirst())};
    return false;
}

bool StoreBackup::QuickCheck(const QSqlDatabase &db, ErrObject *err)
{
    // A server keeps its own pages whole.
    if (StoreAddress::IsShared(db))
        return true;
    StoreQuery query(db);
    bool found = false;
    if (!query.run(QStringLiteral("PRAGMA quick_check(1)"), err) || !query.firstRow(&found, err))
        return false;
    if (found && query.text(0) == QLatin1String("ok"))
        return true;
    *err = StoreError::damagedStore(StoreError::storePath(db));
    return false;
}

bool StoreBackup::Restore(const QString &backupPath, const QString &storePath, ErrObject *err, const Progress &progress)
{
    if (CompressedBackup::IsCompressed(backupPath)) {
        CompressedBackup::Readable readable;
        bool stopped = false;
        if (!readable.open(backupPath, progress, &stopped, err)) {
            if (stopped)
                *err = cancelled();
            else
                err->Description = QStringLiteral("The backup cannot be restored. %1").arg(err->Description);
            return false;
        }
        const bool ok = Restore(readable.path(), storePath, err, progress);
        readable.rename(err);
        return ok;
    }
    if (!Check(backupPath, nullptr, err, progress)) {
        if (err->Number != Cancelled)
            err->Description = QStringLiteral("The backup cannot be restored. %1").arg(err->Description);
        return false;
    }
    {
        Link backup(backupPath, "ro");
        Link store(storePath, "rw");
        if (!backup.open(err))
            return false;
        if (store.open(err)) {
            bool stopped = false;
            const int rc = copyPages(store.handle(), backup.handle(), progress, &stopped);
            if (stopped) {
                *err = cancelled();
                return false;
            }
            if (rc == SQLITE_DONE)
                return true;
            *err = store.error(rc);
        }
    }
    // Only a store too broken to take the pages is replaced as a file; a locked, read-only or
    // full one reports why and stays as it was.
    if (err->Number != ErrNumber::StoreDamaged && err->Number != ErrNumber::StoreNotADatabase)
        return false;
    err->Clear();
    const QString fresh = storePath + QStringLiteral(".restore");
    if (!writeCopy(backupPath, fresh, err))
        return false;
    // The damaged store's log and shared memory would be laid over the restored file.
    QFile::remove(storePath + QStringLiteral("-wal"));
    QFile::remove(storePath + QStringLiteral("-shm"));
    if (!replaceFile(fresh, storePath, err)) {
        QFile::remove(fresh);
        return false;
    }
    return true;
}
