#include "FileImport.h"

#include "FileConversion.h"
#include "GameTable.h"
#include "StoreError.h"
#include "StoreTransaction.h"
#include "platform/NaturalOrder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace {

// The folder a browser saves beside a page for its pictures and scripts: "page_files" for
// "page.html", in some languages "page-Dateien" and the like.
bool isPageResources(const QFileInfo &folder)
{
    const QString name = folder.fileName();
    const qsizetype cut = std::max(name.lastIndexOf(QLatin1Char('_')), name.lastIndexOf(QLatin1Char('-')));
    if (cut <= 0)
        return false;
    const QString page = folder.absolutePath() + QLatin1Char('/') + name.left(cut);
    const QStringList &suffixes = FileConversion::WebPageSuffixes();
    return std::any_of(suffixes.cbegin(), suffixes.cend(),
                       [&](const QString &suffix) { return QFileInfo::exists(page + QLatin1Char('.') + suffix); });
}

void collectFolder(const QString &folder, QStringList *files)
{
    QFileInfoList entries =
        QDir(folder).entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::System, QDir::NoSort);
    std::sort(entries.begin(), entries.end(), [](const QFileInfo &a, const QFileInfo &b) {
        // Files first, then the sub-folders, each in the order a file manager shows them.
        if (a.isDir() != b.isDir())
            return b.isDir();
        return NaturalLess(a.fileName(), b.fileName());
    });
    for (const QFileInfo &entry : std::as_const(entries)) {
        if (entry.fileName().startsWith(QLatin1Char('.')))
            continue;
        if (!entry.isDir()) {
            files->append(entry.absoluteFilePath());
        } else if (!entry.isSymLink() && !isPageResources(entry)) {
            // Links to folders are not followed: one could lead back up and never end.
            collectFolder(entry.absoluteFilePath(), files);
        }
    }
}

} // namespace

FileImport::FileImport(const QSqlDatabase &db, qint32 gameId) : m_db(db), m_gameId(gameId) {}

QStringList FileImport::Collect(const QStringList &paths)
{
    QStringList files;
    for (const QString &path : paths) {
        const QFileInfo info(path);
        const QString absolute = QDir::cleanPath(info.absoluteFilePath());
        if (info.isDir())
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

ImportedFile FileImport::Convert(const QString &path, quint8 subCat)
{
    ImportedFile file;
    file.Path = path;
    const QFileInfo info(path);
    file.Row.src = path;
    file.Row.desc = info.completeBaseName().isEmpty() ? info.fileName() : info.completeBaseName();
    file.Row.sub_cat = subCat != 0 ? subCat : SubCategoryFor(file.Row.desc);

    // Only regular files: reading a pipe or a device could wait, or run, for ever.
    std::error_code error;
    const auto status = std::filesystem::status(std::filesystem::path(QFile::encodeName(path).toStdString()), error);
    if (error || !std::filesystem::exists(status)) {
        file.Skipped = QStringLiteral("not found");
        return file;
    }
    if (!std::filesystem::is_regular_file(status)) {
        file.Skipped =
            std::filesystem::is_directory(status) ? QStringLiteral("a folder") : QStringLiteral("not a regular file");
        return file;
    }
    if (info.size() > MaxFileSize) {
        file.Skipped = QStringLiteral("larger than 64 MB");
        return file;
    }
    QFile source(path);
    if (!source.open(QIODevice::ReadOnly)) {
        file.Skipped = QStringLiteral("cannot be read: ") + source.errorString();
        return file;
    }
    const QByteArray bytes = source.read(MaxFileSize + 1);
    if (source.error() != QFileDevice::NoError) {
        file.Skipped = QStringLiteral("cannot be read: ") + source.errorString();
        return file;
    }
    if (bytes.size() > MaxFileSize) {
        file.Skipped = QStringLiteral("larger than 64 MB");
        return file;
    }

    FileConversion::Converted converted = FileConversion::FromBytes(info.suffix(), bytes);
    file.Row.txt_rtf = std::move(converted.Rtf);
    file.Encoding = std::move(converted.Encoding);
    file.Skipped = std::move(converted.Skipped);
    return file;
}

bool FileImport::Begin(ErrObject *err)
{
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

bool FileImport::Store(ImportedFile *file, ErrObject *err)
{
    file->Row.game_id = m_gameId;
    StoreTransaction transaction(m_db);
    qint32 id = 0;
    if (!transaction.begin(err) || !FileTable::Add(m_db, file->Row, &id, err) || !transaction.commit(err))
        return false;
    file->Row.auto_id = id;
    m_sources.insert(file->Path);
    return true;
}
