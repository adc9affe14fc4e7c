#include "TitleMaker.h"

#include "data/modNames.h"

namespace {

const char *const prefixes[] = {
    "Super",  "Mega",    "Ultra",   "Turbo",    "Hyper",  "Neo",     "Final",  "Grand",   "Mighty",
    "Shadow", "Crystal", "Iron",    "Star",     "Space",  "Cyber",   "Dragon", "Chrono",  "Phantom",
    "Royal",  "Wild",    "Thunder", "Battle",   "Ninja",  "Pixel",   "Metal",  "Blazing", "Eternal",
    "Lost",   "Silent",  "Crimson", "Galactic", "Über",   "Atomic",  "Solar",  "Rogue",   "Velvet",
    "Arcane", "Savage",  "Lunar",   "Frost",    "Golden", "Radiant", "Nitro",  "Omega",   "Stealth",
};

// Words that name a game of each genre, indexed by genre code - 1.
const char *const cores[modNames::GenreCount][14] = {
    {"Fighter", "Commando", "Blaster", "Force", "Warriors", "Revenge", "Strike", "Brawler", "Assault", "Gunner",
     "Ninja", "Squadron", "Rampage", "Justice"},
    {"Mysteries", "Island", "Odyssey", "Quest", "Expedition", "Secrets", "Voyage", "Riddle", "Escape", "Journey",
     "Castle", "Manor", "Lagoon", "Relic"},
    {"Rally", "Racer", "Kart", "GP", "Drift", "Speedway", "Grand Prix", "Motocross", "Street Racing", "Circuit",
     "Turbo", "Road Rage", "Nitro", "Burnout"},
    {"Blocks", "Puzzle", "Panic", "Drop", "Gems", "Bubbles", "Tiles", "Logic", "Mind Maze", "Columns", "Match", "Link",
     "Pop", "Brain Trainer"},
    {"Saga", "Fantasy", "Chronicles", "Legends", "Tales", "Quest", "Heroes", "Dungeon", "Prophecy", "Knights",
     "Covenant", "Realms", "Epic", "Destiny"},
    {"Tycoon", "Pilot", "Flight", "City", "Farm", "Simulator", "Park", "Railroad", "Sub Commander", "Zoo", "Hospital",
     "Life", "Aquarium", "Tower"},
    {"Soccer", "Baseball", "Golf", "Tennis", "Hockey", "Basketball", "Football", "Boxing", "Wrestling", "Fútbol",
     "Skateboarding", "Snowboarding", "Bowling", "Volleyball"},
    {"Tactics", "Empire", "Wars", "Commander", "Conquest", "Dominion", "Generals", "Siege", "Command", "Alliance",
     "Frontier", "Campaign", "Diplomacy", "Warlords"},
};

const char *const sequels[] = {"II", "III", "IV", "2", "3", "Zero", "X", "V"};
const char *const adjectives[] = {"Sunken",  "Forgotten", "Burning", "Frozen",  "Hidden",
                                  "Last",    "Cursed",    "Golden",  "Silver",  "Broken",
                                  "Endless", "Shattered", "Crimson", "Emerald", "Sleeping"};
const char *const places[] = {"Citadel", "Kingdom", "Tower", "Crown",  "Empire",   "Labyrinth", "Sanctuary",
                              "Gate",    "Moon",    "Sea",   "Throne", "Prophecy", "Fortress",  "Oracle"};
const char *const lands[] = {"Aldora",     "Kestrel",    "Vyrn",       "Zephyria",  "Mirewood Vale", "Eldoria",
                             "Tír na nÓg", "Karthas",    "Lumina",     "Osterfeld", "Nordhavn",      "Ys-Tarra",
                             "Valcrest",   "Duskmoor",   "Arkadia",    "Skyreach",  "Thornwall",     "Belmora",
                             "Quelwyn",    "Isla Bruma", "Gravenholt", "Sol Aurum", "Peregrine Bay", "Old Ironhold"};
const char *const sagas[] = {"Legend of", "Tales of",     "Chronicles of", "Heroes of",
                             "Quest for", "Shadows over", "Return to",     "Secret of"};
const char *const editions[] = {
    "Deluxe", "Special Edition", "Gold", "Championship Edition", "'98", "2000", "2002", "Director's Cut", "Plus",
    "Turbo"};
// Imports kept under their Japanese titles.
const char *const imports[] = {"竜の伝説", "忍者大作戦", "星の勇者", "魔法の塔", "ゼルダ風 冒険記"};

QString word(const char *text)
{
    return QString::fromUtf8(text);
}

// A tag some collections add to the title on one system: "Rally 64", "Quest Advance".
QString platformTag(quint8 platform)
{
    switch (platform) {
    case 5: return QStringLiteral(" 64");
    case 7: return QStringLiteral(" DX");
    case 8: return QStringLiteral(" Advance");
    case 4: return QStringLiteral(" 3-D");
    case 11: return QStringLiteral(" 32X");
    default: return QString();
    }
}

} // namespace

TitleMaker::TitleMaker(Rng *rng) : m_rng(rng) {}

QString TitleMaker::next(quint8 platform, quint8 genre)
{
    // A port keeps its title on the other system.
    QString title = !m_made.isEmpty() && m_rng->chance(4) ? m_made.at(int(m_rng->below(quint32(m_made.size()))))
                                                          : fresh(platform, genre);
    m_made.append(title);
    return title;
}

QString TitleMaker::fresh(quint8 platform, quint8 genre)
{
    const auto &genreCores = cores[(genre >= 1 && genre <= modNames::GenreCount ? genre : 1) - 1];
    const QString core = word(m_rng->pick(genreCores));
    QString title;
    const quint32 pattern = m_rng->below(100);
    if (pattern < 1) {
        title = word(m_rng->pick(imports));
        if (m_rng->chance(50))
            title += QLatin1Char(' ') + word(m_rng->pick(sequels));
        return title;
    }
    if (pattern < 28) {
        title = word(m_rng->pick(prefixes)) + QLatin1Char(' ') + core;
        if (m_rng->chance(60))
            title += QLatin1Char(' ') + word(m_rng->pick(sequels));
    } else if (pattern < 48) {
        title = word(m_rng->pick(prefixes)) + QLatin1Char(' ') + core + subtitle();
    } else if (pattern < 63) {
        title = word(m_rng->pick(prefixes)) + QLatin1Char(' ') + core + QLatin1Char(' ') + word(m_rng->pick(sequels)) +
                subtitle();
    } else if (pattern < 75) {
        title = word(m_rng->pick(prefixes)) + QLatin1Char(' ') + word(m_rng->pick(prefixes)) + QLatin1Char(' ') + core;
    } else if (pattern < 85) {
        title = word(m_rng->pick(prefixes)) + QLatin1Char(' ') + core + QLatin1Char(' ') + word(m_rng->pick(editions));
    } else if (pattern < 92) {
        title = word(m_rng->pick(sagas)) + QLatin1Char(' ') + word(m_rng->pick(lands));
        if (m_rng->chance(50))
            title += QLatin1Char(' ') + word(m_rng->pick(sequels));
        if (m_rng->chance(30))
            title += subtitle();
    } else {
        title = word(m_rng->pick(lands)) + QLatin1Char(' ') + core;
        if (m_rng->chance(50))
            title += subtitle();
    }
    if (m_rng->chance(35))
        title += platformTag(platform);
    return title;
}

QString TitleMaker::subtitle()
{
    return QStringLiteral(": The ") + word(m_rng->pick(adjectives)) + QLatin1Char(' ') + word(m_rng->pick(places));
}
