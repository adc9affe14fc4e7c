#include "modNames.h"

#include <array>

namespace {

// The names hold a single backslash between the words, as they always have in stored bookmarks.
const std::array<QString, modNames::SubCatCount> subCats{
    QStringLiteral("Walkthrough\\Guide"), QStringLiteral("Cheat\\Hint\\Code"), QStringLiteral("Review"),
    QStringLiteral("Preview"),           QStringLiteral("News"),               QStringLiteral("Web Link"),
};

const std::array<QString, modNames::GenreCount> genres{
    QStringLiteral("Action"),       QStringLiteral("Adventure"),  QStringLiteral("Driving"), QStringLiteral("Puzzle"),
    QStringLiteral("Role-Playing"), QStringLiteral("Simulation"), QStringLiteral("Sports"),  QStringLiteral("Strategy"),
};

const std::array<QString, modNames::PlatformCount> platforms{
    QStringLiteral("Nintendo Entertainment System"),
    QStringLiteral("Super Nintendo Entertainment System"),
    QStringLiteral("GameCube"),
    QStringLiteral("Virtual Boy"),
    QStringLiteral("Nintendo 64"),
    QStringLiteral("Game Boy"),
    QStringLiteral("Game Boy Color"),
    QStringLiteral("Game Boy Advanced"),
    QStringLiteral("Genesis"),
    QStringLiteral("Saturn"),
    QStringLiteral("32x"),
    QStringLiteral("Master System"),
    QStringLiteral("Dreamcast"),
    QStringLiteral("Game Gear"),
    QStringLiteral("Playstation"),
    QStringLiteral("Playstation II"),
    QStringLiteral("Xbox"),
    QStringLiteral("PC"),
    QStringLiteral("Arcade"),
};

// The names are literals: a copy of one allocates nothing, which counts when a million search
// results each show two of them.
template <std::size_t N> QString nameOf(const std::array<QString, N> &table, quint8 code)
{
    if (code < 1 || code > N)
        return QString();
    return table[code - 1];
}

template <std::size_t N> quint8 codeOf(const std::array<QString, N> &table, const QString &name)
{
    for (std::size_t i = 0; i < N; ++i) {
        if (name == table[i])
            return quint8(i + 1);
    }
    return 0;
}

} // namespace

namespace modNames {

QString GetSubCatName(quint8 code)
{
    return nameOf(subCats, code);
}
quint8 GetSubCatCode(const QString &name)
{
    return codeOf(subCats, name);
}
QString GetGenreName(quint8 code)
{
    return nameOf(genres, code);
}
quint8 GetGenreCode(const QString &name)
{
    return codeOf(genres, name);
}
QString GetPlatformName(quint8 code)
{
    return nameOf(platforms, code);
}

} // namespace modNames
