#include "LabelMaker.h"

namespace {

const char *const firstNames[] = {"Alex",  "José",    "Zoë",   "Björn",  "Hiroshi", "Megan",   "Darren",
                                  "Chloé", "Kenji",   "Sam",   "Ingrid", "Rafael",  "Tomasz",  "Ayşe",
                                  "Lars",  "Marisol", "Derek", "Yuki",   "Owen",    "François"};
const char *const lastNames[] = {"Smith",   "Müller", "Nakamura", "O'Brien", "García", "Kowalski", "Nguyen",
                                 "Johnson", "Larsen", "Dubois",   "Tanaka",  "Peña",   "Fischer",  "Walker"};
const char *const handles[] = {"DarkLink99", "CheatMaster", "RPGfan_01",   "speedy_g",  "TheLoremaster",
                               "Vyse",       "kirby_kid",   "Sephiroth77", "MegaMan_X", "pixel.pusher"};
const char *const magazines[] = {"GamePro",
                                 "Electronic Gaming Monthly",
                                 "Nintendo Power",
                                 "Official Playstation Magazine",
                                 "Computer Gaming World",
                                 "GameFan",
                                 "Next Generation",
                                 "Sega Saturn Magazine",
                                 "Mean Machines",
                                 "Edge"};
const char *const books[] = {"Official Strategy Guide", "Secret Codes Pocket Guide", "Player's Guide",
                             "Ultimate Cheat Book"};
const char *const months[] = {"January", "February", "March",     "April",   "May",      "June",
                              "July",    "August",   "September", "October", "November", "December"};
const char *const sites[] = {"walkthroughkingdom.com", "cheatvault.net",    "retroreviews.org",  "pixelpress.co.uk",
                             "gamearchive.de",         "consolecorner.com", "rpgshrine.net",     "codejunkies-fan.org",
                             "previewpit.com",         "newsarcade.net",    "tipsandtricks.org", "spielewelt.de"};
const char *const paths[] = {"faqs", "guides", "cheats", "reviews", "previews", "news", "games", "archive"};
const char *const regions[] = {"North America", "Europe", "Japan", "Australia"};
const char *const seasons[] = {"spring", "summer", "fall", "winter", "the holidays"};
const char *const quotes[] = {"Best game of the year", "A flawed gem",       "Buy it now!",   "Rent it first",
                              "¡Increíble!",           "Not worth the wait", "Pure nostalgia"};

QString word(const char *text)
{
    return QString::fromUtf8(text);
}

QString number(int n)
{
    return QString::number(n);
}

} // namespace

LabelMaker::LabelMaker(Rng *rng) : m_rng(rng) {}

QString LabelMaker::author()
{
    if (m_rng->chance(30))
        return word(m_rng->pick(handles));
    return word(m_rng->pick(firstNames)) + QLatin1Char(' ') + word(m_rng->pick(lastNames));
}

QString LabelMaker::version()
{
    return number(m_rng->between(1, 3)) + QLatin1Char('.') + number(m_rng->between(0, 9));
}

QString LabelMaker::description(quint8 subCat, const QString &title)
{
    const quint32 form = m_rng->below(6);
    switch (subCat) {
    case 1:
        switch (form) {
        case 0: return QStringLiteral("Complete walkthrough v") + version();
        case 1: return QStringLiteral("FAQ/Walkthrough by ") + author();
        case 2: return QStringLiteral("100% completion guide with maps, secrets and every hidden item location");
        case 3: return title + QStringLiteral(" walkthrough, part ") + number(m_rng->between(1, 12));
        case 4: return QStringLiteral("Boss strategies and character move list for ") + title;
        default: return QStringLiteral("Speedrun route notes (any%)");
        }
    case 2:
        switch (form) {
        case 0: return QStringLiteral("Cheat codes and passwords");
        case 1: return QStringLiteral("Action Replay codes (v") + version() + QLatin1Char(')');
        case 2: return QStringLiteral("Level select and debug menu codes");
        case 3: return QStringLiteral("Unlockables: secret characters, stages and the hidden ending for ") + title;
        case 4:
            return QStringLiteral("Password list for all ") + number(m_rng->between(8, 64)) + QStringLiteral(" levels");
        default: return QStringLiteral("Infinite lives trick");
        }
    case 3:
        switch (form) {
        case 0:
        case 1: return QStringLiteral("Review by ") + author();
        case 2:
            return word(m_rng->pick(magazines)) + QStringLiteral(" review: ") + number(m_rng->between(2, 10)) +
                   QStringLiteral("/10");
        case 3: return QStringLiteral("Reader review: \"") + word(m_rng->pick(quotes)) + QLatin1Char('"');
        default: return QStringLiteral("Second opinion: why ") + title + QStringLiteral(" deserves another look");
        }
    case 4:
        switch (form) {
        case 0: return QStringLiteral("Preview: hands-on at E3 ") + number(m_rng->between(1995, 2004));
        case 1: return QStringLiteral("First look at ") + title;
        case 2: return QStringLiteral("Preview by ") + author();
        default: return QStringLiteral("Import preview of the Japanese version (攻略 notes included)");
        }
    case 5:
        switch (form) {
        case 0: return QStringLiteral("Release date announced for ") + word(m_rng->pick(regions));
        case 1:
            return title + QStringLiteral(" delayed to ") + word(m_rng->pick(seasons)) + QLatin1Char(' ') +
                   number(m_rng->between(1996, 2005));
        case 2: return QStringLiteral("Interview with the lead designer about sequels, ports and cut content");
        default: return QStringLiteral("Price drop announced");
        }
    default:
        switch (form) {
        case 0: return QStringLiteral("Official site");
        case 1: return QStringLiteral("Fan site: ") + title + QStringLiteral(" Shrine");
        case 2: return QStringLiteral("Fan translation patch page");
        case 3: return QStringLiteral("Screenshot gallery");
        default: return QStringLiteral("Music and sound test archive");
        }
    }
}

QString LabelMaker::url()
{
    const quint32 form = m_rng->below(10);
    if (form == 0) {
        return QStringLiteral("http://www.geocities.com/TimesSquare/Arcade/") + number(m_rng->between(1000, 9999)) +
               QLatin1Char('/');
    }
    const QString host = word(m_rng->pick(sites));
    const QString path = word(m_rng->pick(paths));
    if (form == 1)
        return QStringLiteral("http://") + host + QLatin1Char('/') + path + QStringLiteral("/index.php?id=") +
               number(m_rng->between(1, 99999)) + QStringLiteral("&page=") + number(m_rng->between(1, 9));
    return QStringLiteral("http://www.") + host + QLatin1Char('/') + path + QLatin1Char('/') +
           number(m_rng->between(100, 99999)) + QStringLiteral(".html");
}

QString LabelMaker::printReference()
{
    const int year = m_rng->between(1987, 2005);
    switch (m_rng->below(4)) {
    case 0:
        return word(m_rng->pick(magazines)) + QStringLiteral(", ") + word(m_rng->pick(months)) + QLatin1Char(' ') +
               number(year);
    case 1:
        return word(m_rng->pick(magazines)) + QStringLiteral(" #") + number(m_rng->between(1, 180)) +
               QStringLiteral(", ") + word(m_rng->pick(months)) + QLatin1Char(' ') + number(year);
    case 2: return word(m_rng->pick(magazines)) + QStringLiteral(" vol. ") + number(m_rng->between(1, 200));
    default: return word(m_rng->pick(books)) + QStringLiteral(", p. ") + number(m_rng->between(2, 320));
    }
}

QString LabelMaker::source(quint8 subCat)
{
    // Web links are addresses; guides and codes mostly came from the web, reviews and news as often from print.
    const int webPercent = subCat == 6 ? 100 : subCat <= 2 ? 70 : 50;
    return m_rng->chance(webPercent) ? url() : printReference();
}

QString LabelMaker::favoriteUrl(int index)
{
    // The index keeps every address distinct.
    return QStringLiteral("http://www.") + word(m_rng->pick(sites)) + QLatin1Char('/') + word(m_rng->pick(paths)) +
           QStringLiteral("/?ref=") + number(index);
}

QString LabelMaker::favoriteTitle()
{
    static const char *const titles[] = {"Cheat Vault - codes for every console",
                                         "Walkthrough Kingdom",
                                         "Retro Reviews",
                                         "The RPG Shrine",
                                         "Spielewelt: Tipps & Tricks",
                                         "Preview Pit",
                                         "News Arcade",
                                         "ゲーム攻略 Wiki",
                                         "Code Junkies fan archive"};
    return word(m_rng->pick(titles));
}

QString LabelMaker::favoriteDescription()
{
    static const char *const descriptions[] = {"Huge archive of codes and passwords",
                                               "Walkthroughs sorted by system",
                                               "Reviews from the 16-bit days",
                                               "Daily news and release dates",
                                               "Scans of old magazine previews",
                                               "Maps, FAQs and save files",
                                               ""};
    return word(m_rng->pick(descriptions));
}
