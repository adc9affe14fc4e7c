// Suite "backup": a compressed backup of the store against the plain byte copy of its file.

#include "BenchContext.h"
#include "data/StoreBackup.h"
#include "store/StoreAddress.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

int runBackupSuite(const BenchContext &context)
{
    const QString path = context.storePath();
    if (StoreAddress::IsShared(path)) {
        context.note(QStringLiteral("a shared library is kept by its server; not measured."));
        return 1;
    }
    QTemporaryDir work(context.scratchTemplate(QStringLiteral("backup")));
    if (!work.isValid())
        return 1;
    const QString folder = work.filePath(QStringLiteral("Backups"));
    const QString plain = work.filePath(QStringLiteral("plain.lkb"));
    QString made;
    qint64 copyMs = 0;
    const auto ours = [&] {
        ErrObject err;
        QElapsedTimer timer;
        timer.start();
        // The first half of the progress is SQLite's online copy, as backups were made before.
        const bool ok = StoreBackup::Make(path, folder, QString(), &made, &err, [&](qint64 done, qint64 total) {
            if (copyMs == 0 && done * 2 >= total)
                copyMs = timer.elapsed();
            return true;
        });
        if (!ok)
            context.note(err.Description);
        return ok;
    };
    const auto baseline = [&] {
        return QFile::copy(path, plain);
    };
    const qint64 storeSize = QFileInfo(path).size();
    qint64 backupSize = 0;
    const bool measured = context.compare(
        QStringLiteral("make"), ours, baseline,
        [&] {
            backupSize = QFileInfo(made).size();
            QFile::remove(made);
        },
        [&] { QFile::remove(plain); });
    if (!measured)
        return 1;
    context.note(
        QStringLiteral("store %L1 bytes, compressed backup %L2 bytes (%3 %), online copy phase of the last run %L4 ms")
            .arg(storeSize)
            .arg(backupSize)
            .arg(storeSize > 0 ? 100.0 * double(backupSize) / double(storeSize) : 0.0, 0, 'f', 1)
            .arg(copyMs));

    // Back Up Now on an unchanged store: compared with the newest backup by its hash, not unpacked.
    if (!ours())
        return 1;
    QElapsedTimer timer;
    timer.start();
    bool stopped = false;
    const bool held = StoreBackup::Holds(made, path, &stopped);
    context.note(QStringLiteral("an unchanged store compared with its compressed backup in %L1 ms: %2")
                     .arg(timer.elapsed())
                     .arg(held ? QStringLiteral("held, no new backup") : QStringLiteral("not held")));
    QFile::remove(made);
    return held ? 0 : 1;
}
