#pragma once

#include <QString>

// The names of a game as the library tree shows them, looked up by the game's key
// ("N_12|G_3|P_18"). The details pane asks for them when it writes a bookmark, without knowing the
// tree; each name is empty when the key names no game.
class GameNames
{
public:
    virtual ~GameNames() = default;

    virtual QString GameName(const QString &strKey) const = 0;
    virtual QString GameGenre(const QString &strKey) const = 0;
    virtual QString GamePlatform(const QString &strKey) const = 0;

protected:
    GameNames() = default;
    GameNames(const GameNames &) = default;
    GameNames &operator=(const GameNames &) = default;
};
