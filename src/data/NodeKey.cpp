#include "NodeKey.h"

namespace {

const QChar separator = QLatin1Char('|');

QString number(const QString &key, int index)
{
    return NodeKey::Field(key, index).mid(2);
}

} // namespace

namespace NodeKey {

QString Root()
{
    return QStringLiteral("ROOT");
}

QString Platform(quint8 platformId)
{
    return QLatin1String("P_") + QString::number(platformId);
}

QString Genre(quint8 genreId, quint8 platformId)
{
    return QLatin1String("G_") + QString::number(genreId) + QLatin1String("|P_") + QString::number(platformId);
}

QString Game(qint32 gameId, quint8 genreId, quint8 platformId)
{
    return Game(gameId, Genre(genreId, platformId));
}

QString Game(qint32 gameId, const QString &genreKey)
{
    return QLatin1String("N_") + QString::number(gameId) + separator + genreKey;
}

QString File(qint32 fileId)
{
    return QLatin1String("K_") + QString::number(fileId);
}

QString FilePath(qint32 fileId, const QString &gameKey)
{
    return File(fileId) + separator + gameKey;
}

NodeKind Kind(const QString &key)
{
    if (key == QLatin1String("ROOT"))
        return NodeKind::Root;
    if (key.size() >= 2 && key.at(1) == QLatin1Char('_')) {
        switch (key.at(0).unicode()) {
        case 'P': return NodeKind::Platform;
        case 'G': return NodeKind::Genre;
        case 'N': return NodeKind::Game;
        case 'K': return NodeKind::File;
        default: break;
        }
    }
    return NodeKind::Other;
}

QString Field(const QString &key, int index)
{
    int start = 0;
    for (int i = 0; i < index; ++i) {
        start = key.indexOf(separator, start);
        if (start < 0)
            return QString();
        ++start;
    }
    const int end = key.indexOf(separator, start);
    return key.mid(start, end < 0 ? -1 : end - start);
}

QString ParentKey(const QString &key)
{
    const int at = key.indexOf(separator);
    return at < 0 ? QString() : key.mid(at + 1);
}

bool Within(const QString &key, const QString &nodeKey)
{
    if (nodeKey.isEmpty())
        return false;
    if (key.size() == nodeKey.size())
        return key == nodeKey;
    return key.endsWith(nodeKey) && key.at(key.size() - nodeKey.size() - 1) == separator;
}

std::optional<qint32> Id(const QString &key, int index)
{
    bool ok = false;
    const qint32 value = number(key, index).toInt(&ok);
    return ok ? std::optional<qint32>(value) : std::nullopt;
}

std::optional<quint8> Code(const QString &key, int index)
{
    bool ok = false;
    const uint value = number(key, index).toUInt(&ok);
    return ok && value <= 255 ? std::optional<quint8>(quint8(value)) : std::nullopt;
}

std::optional<GameIds> ParseGame(const QString &key)
{
    const auto id = Id(key, 0);
    const auto genre = Code(key, 1);
    const auto platform = Code(key, 2);
    if (!id || !genre || !platform)
        return std::nullopt;
    return GameIds{*id, *genre, *platform};
}

ErrObject BadKey(const QString &key)
{
    return {13, QStringLiteral("Type mismatch: \"%1\" is not a key of the kind needed here").arg(key)};
}

} // namespace NodeKey
