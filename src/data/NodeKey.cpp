#include "NodeKey.h"

#include <initializer_list>
#include <iterator>
#include <utility>

namespace {

const QChar separator = QLatin1Char('|');

QString number(const QString &key, int index)
{
    return NodeKey::Field(key, index).mid(2);
}

// A key's field: its letter and an underscore, then the number. Keys are made for every row of a
// long list, so a key is made in one allocation, without a string for each number.
void appendField(QString *key, char letter, qint64 value)
{
    char16_t text[24];
    int at = int(std::size(text));
    quint64 rest = value < 0 ? 0 - quint64(value) : quint64(value);
    do {
        text[--at] = char16_t(u'0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    if (value < 0)
        text[--at] = u'-';
    text[--at] = u'_';
    text[--at] = char16_t(letter);
    key->append(reinterpret_cast<const QChar *>(text + at), qsizetype(std::size(text)) - at);
}

// The fields of a key, each given as its letter and number, then `rest` (when given) after a separator.
QString makeKey(std::initializer_list<std::pair<char, qint64>> fields, const QString *rest = nullptr)
{
    QString key;
    key.reserve(qsizetype(fields.size()) * 12 + (rest ? rest->size() + 1 : 0));
    for (const auto &[letter, value] : fields) {
        if (!key.isEmpty())
            key.append(separator);
        appendField(&key, letter, value);
    }
    if (rest)
        key.append(separator).append(*rest);
    return key;
}

} // namespace

namespace NodeKey {

QString Root()
{
    return QStringLiteral("ROOT");
}

QString Platform(quint8 platformId)
{
    return makeKey({{'P', platformId}});
}

QString Genre(quint8 genreId, quint8 platformId)
{
    return makeKey({{'G', genreId}, {'P', platformId}});
}

QString Game(qint32 gameId, quint8 genreId, quint8 platformId)
{
    return makeKey({{'N', gameId}, {'G', genreId}, {'P', platformId}});
}

QString Game(qint32 gameId, const QString &genreKey)
{
    return makeKey({{'N', gameId}}, &genreKey);
}

QString File(qint32 fileId)
{
    return makeKey({{'K', fileId}});
}

QString FilePath(qint32 fileId, const QString &gameKey)
{
    return makeKey({{'K', fileId}}, &gameKey);
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
