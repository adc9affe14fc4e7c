#include "FileImporter.h"

#include "data/modADO.h"
#include "import/ConvertAhead.h"
#include "import/FileImport.h"
#include "import/NativePath.h"
#include "store/WorkerConnection.h"

#include <QCursor>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>

namespace {

// The work's stages, as the dialog tells them.
constexpr int collecting = 0;
constexpr int importing = 1;
// A summary longer than this would not fit on the screen; the rest are counted.
constexpr int listedSkips = 15;

QString count(qsizetype n, const char *one, const char *many)
{
    return QString::number(n) + QLatin1Char(' ') + QLatin1String(n == 1 ? one : many);
}

// How the user knows a file: by its path inside the folder it was imported with, so that two
// "readme.txt" of different sub-folders tell apart; a file chosen by itself by its name.
QString shownName(const QString &file, const QStringList &folders)
{
    for (const QString &folder : folders) {
        if (file.startsWith(folder) && file.size() > folder.size() && file.at(folder.size()) == QLatin1Char('/'))
            return file.mid(folder.size() + 1);
    }
    return QFileInfo(file).fileName();
}

} // namespace

FileImporter::FileImporter(QWidget *window, modADO *store, qint32 gameId)
    : m_window(window), m_store(store), m_gameId(gameId)
{}

bool FileImporter::importAll(const QStringList &paths, const BackgroundWork::Report &report, ErrObject *err)
{
    const WorkerConnection connection(m_store->DatabasePath(), WorkerConnection::Access::Write);
    if (!connection.Open(err))
        return false;
    FileImport import(connection.Connection(), m_gameId);
    if (!import.Begin(err))
        return false;
    QStringList folders;
    for (const QString &path : paths) {
        const QFileInfo info(path);
        if (info.isDir())
            folders << QDir::cleanPath(info.absoluteFilePath());
    }
    if (!report({collecting, 0, 0}))
        return true;
    const QStringList files = FileImport::Collect(paths);
    ConvertAhead ahead(0, m_encoding);
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QString &path = files[i];
        const QString name = NativePath::Shown(shownName(path, folders));
        {
            const QMutexLocker locked(&m_shownLock);
            m_shown = name;
        }
        if (!report({importing, i, files.size()}))
            break;
        if (import.IsKnown(path)) {
            m_skipped << name + QStringLiteral(": already in this game");
            continue;
        }
        ImportedFile file = ahead.Convert(path);
        if (i + 1 < files.size() && !import.IsKnown(files[i + 1]))
            ahead.Start(files[i + 1]);
        // A Cancel heard during a long conversion leaves that file out too.
        if (!report({importing, i, files.size()}))
            break;
        if (!file.Skipped.isEmpty()) {
            m_skipped << name + QStringLiteral(": ") + file.Skipped;
            continue;
        }
        if (!import.Store(&file, &m_storeFailure)) {
            // A store that refuses one file refuses the next as well; the user hears why once.
            m_skipped << name + QStringLiteral(": not saved");
            break;
        }
        if (file.Duplicate) {
            m_skipped << name + QStringLiteral(": ") + file.Skipped;
            continue;
        }
        m_imported.append(file.Row);
    }
    return true;
}

bool FileImporter::Run(const QStringList &paths, ErrObject *err)
{
    m_imported.clear();
    m_skipped.clear();
    m_cancelled = false;
    m_storeFailure = {};
    if (m_store->IsReadOnly()) {
        *err = m_store->ReadOnlyError();
        return false;
    }
    ErrObject workErr;
    const auto work = [&](const BackgroundWork::Report &report, QString *error) {
        const bool ok = importAll(paths, report, &workErr);
        if (!ok)
            *error = workErr.Description;
        return ok;
    };
    const auto describe = [this](const BackgroundWork::Step &step) {
        if (step.stage == collecting)
            return BackgroundWork::Shown{-1, QStringLiteral("Looking for files...")};
        const QMutexLocker locked(&m_shownLock);
        return BackgroundWork::Shown{
            int(step.done * 1000 / std::max<qint64>(step.total, 1)),
            QStringLiteral("Importing %1 of %2:\n%3").arg(step.done + 1).arg(step.total).arg(m_shown)};
    };
    QString error;
    QGuiApplication::setOverrideCursor(Qt::BusyCursor);
    const BackgroundWork::Outcome outcome =
        BackgroundWork::Run(m_window, QStringLiteral("Import Files"), work, describe, &error);
    QGuiApplication::restoreOverrideCursor();
    m_cancelled = outcome == BackgroundWork::Outcome::Cancelled;
    if (outcome == BackgroundWork::Outcome::Failed) {
        *err = workErr;
        return false;
    }
    return true;
}

QString FileImporter::Summary() const
{
    QString text;
    if (m_cancelled)
        text += QStringLiteral("The import was cancelled.\n\n");
    if (m_storeFailure.Number != 0)
        text += m_storeFailure.Description + QStringLiteral("\n\n");
    text += count(m_imported.size(), "file", "files") + QStringLiteral(" imported");
    if (m_skipped.isEmpty())
        return text + QLatin1Char('.');
    text += QStringLiteral(", ") + QString::number(m_skipped.size()) + QStringLiteral(" skipped:\n");
    for (qsizetype i = 0; i < m_skipped.size() && i < listedSkips; ++i)
        text += QLatin1Char('\n') + m_skipped[i];
    if (m_skipped.size() > listedSkips)
        text +=
            QStringLiteral("\n... and ") + QString::number(m_skipped.size() - listedSkips) + QStringLiteral(" more.");
    return text;
}
