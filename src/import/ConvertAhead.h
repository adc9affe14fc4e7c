#pragma once

#include "FileImport.h"

#include <QFuture>
#include <QString>
#include <QThreadPool>

// An import's files converted one ahead of the file being stored, on a thread of its own: the next
// file is read and converted while the store waits for the last one's commit to reach the disk.
// Conversion needs no store, so what is stored, and in what order, is as without it.
class ConvertAhead final
{
    Q_DISABLE_COPY_MOVE(ConvertAhead)

public:
    // Files are converted as FileImport::Convert converts them with `subCat` and `encoding`.
    explicit ConvertAhead(quint8 subCat = 0, const QString &encoding = {});
    // Waits for a conversion still running: it reads the file, which may not outlive the caller.
    ~ConvertAhead();

    // Starts converting the file at `path`, which Convert is expected to ask for next.
    void Start(const QString &path);
    // The file at `path` converted: the one started ahead when it is that file, else converted now.
    ImportedFile Convert(const QString &path);

private:
    const quint8 m_subCat;
    const QString m_encoding;
    QThreadPool m_pool;
    QString m_started;
    QFuture<ImportedFile> m_ahead;
};
