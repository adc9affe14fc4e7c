#pragma once

#include "system/ErrObject.h"

#include <QHash>
#include <QString>

#include <optional>

// What a key names, decided by its first two characters (or by being "ROOT").
enum class NodeKind { Root, Platform, Genre, Game, File, Other };

// The keys by which every pane names a platform, genre, game or file. A key is a run of fields
// joined by "|", each a two-character prefix and a decimal number, the item itself first and then
// its ancestors: "N_12|G_3|P_18" is game 12 in genre 3 of platform 18. Bookmarks store file path
// keys, so the format is part of the store and must not change.
namespace NodeKey {

QString Root();
QString Platform(quint8 platformId);
QString Genre(quint8 genreId, quint8 platformId);
QString Game(qint32 gameId, quint8 genreId, quint8 platformId);
// The same under the genre whose key is `genreKey`.
QString Game(qint32 gameId, const QString &genreKey);
QString File(qint32 fileId);
// A file key followed by its game's key: "K_5|N_12|G_3|P_18".
QString FilePath(qint32 fileId, const QString &gameKey);

NodeKind Kind(const QString &key);
// Field `index` (0 is the part before the first "|"), or an empty string when there is none.
QString Field(const QString &key, int index);
// The key without its first field: a game key's genre key, a genre key's platform key.
QString ParentKey(const QString &key);
// Whether `nodeKey` names the item of `key` or one of its ancestors, whole field by whole field:
// "N_1|G_2|P_3" is within "K_5|N_1|G_2|P_3", "P_3" within both, but "P_3" is not within "P_31".
bool Within(const QString &key, const QString &nodeKey);
// The number of field `index`, taken from its third character; nothing when that is not a
// number of the field's width (a 32-bit id, or a code of one byte).
std::optional<qint32> Id(const QString &key, int index);
std::optional<quint8> Code(const QString &key, int index);

struct GameIds
{
    qint32 GameId = 0;
    quint8 GenreId = 0;
    quint8 PlatformId = 0;
};
// The three ids of a game key; nothing when one of them does not read.
std::optional<GameIds> ParseGame(const QString &key);
// The error of a key that does not read as the kind the caller needs.
ErrObject BadKey(const QString &key);

// Game keys made once each and then shared, for a long list whose rows meet the same games again
// and again (search results). A game is taken to stay in its genre while the cache is used.
class GameKeys final
{
public:
    const QString &Of(qint32 gameId, quint8 genreId, quint8 platformId)
    {
        auto key = m_keys.find(gameId);
        if (key == m_keys.end())
            key = m_keys.insert(gameId, Game(gameId, genreId, platformId));
        return *key;
    }
    void clear() { m_keys.clear(); }

private:
    QHash<qint32, QString> m_keys;
};

} // namespace NodeKey
