#pragma once

#include "BackgroundWork.h"
#include "data/FileTable.h"
#include "system/ErrObject.h"

#include <QMutex>
#include <QPointer>
#include <QStringList>
#include <QWidget>

class modADO;

// Files from disk into one game with the window kept alive: the files are read, converted and
// stored on a worker thread (BackgroundWork, on a connection of its own), one transaction per file.
// Once the work has taken half a second a progress dialog names the file at hand and offers
// Cancel; at the end Summary() sums up what was imported and what was left out, and why.
class FileImporter final
{
    Q_DISABLE_COPY_MOVE(FileImporter)

public:
    // `window` parents the progress dialog; `store` is the open store the files go into.
    FileImporter(QWidget *window, modADO *store, qint32 gameId);

    // Plain-text files are read in `encoding` (a name TextEncodings lists); empty, the default,
    // detects each file's own.
    void setEncoding(const QString &encoding) { m_encoding = encoding; }

    // Imports `paths` (files and folders); returns when done or cancelled. False, with `err`, when
    // the game cannot take files at all (it is gone, or the store cannot be read or written).
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
    // The worker's part: everything but the dialog.
    bool importAll(const QStringList &paths, const BackgroundWork::Report &report, ErrObject *err);

    QPointer<QWidget> m_window;
    modADO *m_store;
    qint32 m_gameId;
    QString m_encoding;
    bool m_cancelled = false;
    // The file at hand, as the dialog names it; written by the worker, read by the window.
    mutable QMutex m_shownLock;
    QString m_shown;
    QVector<FileRow> m_imported;
    QStringList m_skipped;
    ErrObject m_storeFailure;
};
