#include "ClosedCounts.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {

QString keyOf(const QString &store)
{
    if (store.contains(QStringLiteral("://")))
        return store;
    return QFileInfo(store).absoluteFilePath();
}

QJsonObject readAll(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

} // namespace

const QString ClosedCounts::FileName = QStringLiteral("last-closed.json");

bool ClosedCounts::Remember(const QString &folder, const QString &store, const BackupContents &counts, ErrObject *err)
{
    const QString path = QDir(folder).filePath(FileName);
    QJsonObject all = readAll(path);
    all.insert(keyOf(store),
               QJsonObject{{QStringLiteral("games"), counts.Games},
                           {QStringLiteral("files"), counts.Files},
                           {QStringLiteral("closed"), QDateTime::currentDateTime().toString(Qt::ISODate)}});
    QSaveFile file(path);
    if (!QDir().mkpath(folder) || !file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(all).toJson()) < 0 ||
        !file.commit()) {
        *err = {ErrNumber::PathFileAccess,
                QStringLiteral("Could not write \"%1\": %2.").arg(QDir::toNativeSeparators(path), file.errorString())};
        return false;
    }
    return true;
}

std::optional<BackupContents> ClosedCounts::Recall(const QString &folder, const QString &store)
{
    const QJsonValue entry = readAll(QDir(folder).filePath(FileName)).value(keyOf(store));
    if (!entry.isObject())
        return std::nullopt;
    const QJsonObject counts = entry.toObject();
    const qint64 games = counts.value(QStringLiteral("games")).toInteger(-1);
    const qint64 files = counts.value(QStringLiteral("files")).toInteger(-1);
    if (games < 0 || files < 0)
        return std::nullopt;
    return BackupContents{games, files};
}
