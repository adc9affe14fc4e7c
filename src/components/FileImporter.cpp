#include "FileImporter.h"

#include "import/FileImport.h"
#include "import/NativePath.h"
#include "data/modADO.h"

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QGuiApplication>
#include <QProgressDialog>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

namespace {

// Shorter work than this shows no dialog at all: it would only flash.
constexpr int progressDelayMs = 500;
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

FileImporter::~FileImporter() = default;

template <typename Result> bool FileImporter::await(const QFuture<Result> &future)
{
    QFutureWatcher<Result> watcher;
    QEventLoop loop;
    connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
    watcher.setFuture(future);
    m_loop = &loop;
    // Until the progress dialog is up nothing blocks the window, so the user's clicks wait; the
    // dialog, once shown, keeps them from the window itself and takes its own.
    while (!future.isFinished() && !m_cancelled)
        loop.exec(m_progress ? QEventLoop::AllEvents : QEventLoop::ExcludeUserInputEvents);
    m_loop = nullptr;
    return !m_cancelled;
}

void FileImporter::showProgress()
{
    m_progress = new QProgressDialog(m_window);
    m_progress->setAttribute(Qt::WA_DeleteOnClose, false);
    m_progress->setWindowTitle(QStringLiteral("Import Files"));
    m_progress->setWindowModality(Qt::WindowModal);
    m_progress->setMinimumDuration(0);
    m_progress->setAutoReset(false);
    m_progress->setAutoClose(false);
    m_progress->setMinimumWidth(420);
    m_progress->setLabelText(m_label);
    m_progress->setRange(0, m_total);
    m_progress->setValue(m_done);
    connect(m_progress, &QProgressDialog::canceled, this, [this] {
        m_cancelled = true;
        if (m_loop)
            m_loop->quit();
    });
    m_progress->show();
    // The wait under way goes on taking the user's input, now that the dialog guards the window.
    if (m_loop)
        m_loop->quit();
}

bool FileImporter::Run(const QStringList &paths, ErrObject *err)
{
    m_imported.clear();
    m_skipped.clear();
    m_label = QStringLiteral("Looking for files...");
    m_total = m_done = 0;
    m_cancelled = false;
    m_storeFailure = {};
    FileImport import(m_store->Connection(), m_gameId);
    if (!import.Begin(err))
        return false;

    QGuiApplication::setOverrideCursor(Qt::BusyCursor);
    QTimer showTimer;
    showTimer.setSingleShot(true);
    connect(&showTimer, &QTimer::timeout, this, &FileImporter::showProgress);
    showTimer.start(progressDelayMs);

    QStringList folders;
    for (const QString &path : paths) {
        const QFileInfo info(path);
        if (info.isDir())
            folders << QDir::cleanPath(info.absoluteFilePath());
    }
    const QFuture<QStringList> collected = QtConcurrent::run(&FileImport::Collect, paths);
    const QStringList files = await(collected) ? collected.result() : QStringList();
    for (qsizetype i = 0; i < files.size() && !m_cancelled; ++i) {
        const QString &path = files[i];
        const QString name = NativePath::Shown(shownName(path, folders));
        m_label = QStringLiteral("Importing %1 of %2:\n%3").arg(i + 1).arg(files.size()).arg(name);
        m_total = int(files.size());
        m_done = int(i);
        if (m_progress) {
            m_progress->setRange(0, m_total);
            m_progress->setLabelText(m_label);
            m_progress->setValue(m_done);
        }
        if (import.IsKnown(path)) {
            m_skipped << name + QStringLiteral(": already in this game");
            continue;
        }
        const QFuture<ImportedFile> converted = QtConcurrent::run(&FileImport::Convert, path, quint8(0));
        if (!await(converted))
            break;
        ImportedFile file = converted.result();
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

    showTimer.stop();
    delete m_progress;
    m_progress = nullptr;
    QGuiApplication::restoreOverrideCursor();
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
