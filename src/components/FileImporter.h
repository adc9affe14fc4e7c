#pragma once

#include "data/FileTable.h"
#include "system/ErrObject.h"

#include <QObject>
#include <QPointer>
#include <QSqlDatabase>
#include <QStringList>

template <typename T> class QFuture;
class QEventLoop;
class QProgressDialog;
class QWidget;
class modADO;

// Files from disk into one game with the window kept alive: each file is read and converted on a
// worker thread and stored on the caller's, one transaction per file. Once the work has taken half a
// second a progress dialog names the file at hand and offers Cancel; at the end Summary() sums up
// what was imported and what was left out, and why.
class FileImporter final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FileImporter)

public:
    // `window` parents the progress dialog; `store` is written on this thread.
    FileImporter(QWidget *window, modADO *store, qint32 gameId);
    ~FileImporter() override;

    // Imports `paths` (files and folders); returns when done or cancelled. False, with `err`, when
    // the game cannot take files at all (it is gone, or the store cannot be read).
    bool Run(const QStringList &paths, ErrObject *err);

    // The rows stored, in the order of the import, with their new ids.
    const QVector<FileRow> &Imported() const { return m_imported; }
    // "name: reason" for every file left out; a file found in a folder is named by its path there,
    // "guides/readme.txt".
    const QStringList &Skipped() const { return m_skipped; }
    bool Cancelled() const { return m_cancelled; }
    // Why the store refused a file, when it did (locked, read-only, full); the import stopped there,
    // since the files after it would have fared no better.
    const ErrObject &StoreFailure() const { return m_storeFailure; }
    // "37 files imported, 2 skipped:" and the files left out, one per line.
    QString Summary() const;

private:
    // Runs the event loop until the worker's `future` is done; false when the user cancelled first.
    template <typename Result> bool await(const QFuture<Result> &future);
    void showProgress();

    QPointer<QWidget> m_window;
    modADO *m_store;
    qint32 m_gameId;
    QProgressDialog *m_progress = nullptr;
    QEventLoop *m_loop = nullptr;
    bool m_cancelled = false;
    // What the dialog shows, kept for when it first appears.
    QString m_label;
    int m_total = 0;
    int m_done = 0;
    QVector<FileRow> m_imported;
    QStringList m_skipped;
    ErrObject m_storeFailure;
};
