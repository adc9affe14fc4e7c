#include "modNames.h"

#include <array>

namespace {

// The names hold a single backslash between the words, as they always have in stored bookmarks.
constexpr std::array<const char *, modNames::SubCatCount> subCats{
    "Walkthrough\\Guide", "Cheat\\Hint\\Code", "Review", "Preview", "News", "Web Link",
};

constexpr std::array<const char *, modNames::GenreCount> genres{
    "Action", "Adventure", "Driving", "Puzzle", "Role-Playing", "Simulation", "Sports", "Strategy",
};

constexpr std::array<const char *, modNames::PlatformCount> platforms{
    "Nintendo Entertainment System",
    "Super Nintendo Entertainment System",
    "GameCube",
    "Virtual Boy",
    "Nintendo 64",
    "Game Boy",
    "Game Boy Color",
    "Game Boy Advanced",
    "Genesis",
    "Saturn",
    "32x",
    "Master System",
    "Dreamcast",
    "Game Gear",
    "Playstation",
    "Playstation II",
    "Xbox",
    "PC",
    "Arcade",
};

template <std::size_t N> QString nameOf(const std::array<const char *, N> &table, quint8 code)
{
    if (code < 1 || code > N)
        return QString();
    return QString::fromLatin1(table[code - 1]);
}

template <std::size_t N> quint8 codeOf(const std::array<const char *, N> &table, const QString &name)
{
    for (std::size_t i = 0; i < N; ++i) {
        if (name == QLatin1String(table[i]))
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
