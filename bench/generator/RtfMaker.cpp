#include "RtfMaker.h"

#include "data/modNames.h"

#include <algorithm>
#include <initializer_list>

namespace {

const char header[] = "{\\rtf1\\ansi\\ansicpg1252\\deff0\\uc1"
                      "{\\fonttbl{\\f0\\fswiss\\fcharset0 Arial;}{\\f1\\fmodern\\fcharset0 Courier New;}}\r\n"
                      "{\\colortbl ;\\red0\\green0\\blue0;\\red178\\green34\\blue34;\\red0\\green70\\blue140;}\r\n"
                      "\\viewkind4\\pard\\f0\\fs20 ";

// Rough sizes that keep the body's length near its target: the last block runs past the target by
// about half a block, so the loop stops that much early.
constexpr int tinyBody = 300;
constexpr int sentenceBytes = 90;
constexpr int lastBlockBytes = 200;

// In the phrase lists *...* is bold, _..._ italic and ~...~ red; everything else is text.
const std::initializer_list<const char *> openers = {"First, ",
                                                     "After the opening cut-scene, ",
                                                     "Once you reach the second floor, ",
                                                     "If you are playing on Hard, ",
                                                     "Right before the boss, ",
                                                     "Back in town, ",
                                                     "At this point, ",
                                                     "With the key in hand, ",
                                                     "When the music changes, ",
                                                     "Near the café, ",
                                                     "On your second lap, ",
                                                     "As soon as the timer starts, ",
                                                     "Before you save, ",
                                                     "In the Über Temple, "};

const std::initializer_list<const char *> clauses = {
    "head north through the cave and grab the *Silver Key*",
    "talk to Señor Mendoza twice to get the _Lantern_",
    "press {START} and hold ~L + R~ for three seconds",
    "save your game as C:\\SAVE\\SLOT1.DAT, just in case",
    "use the *double jump* to reach the ledge above the waterfall",
    "equip the Fire Rod and light both torches",
    "the third door on the left hides a *Heart Container*",
    "let the boss charge, then sidestep and hit its tail",
    "you will find 500 gold in the chest behind the throne",
    "the naïve shopkeeper sells the _Élan Potion_ for half price",
    "drift through the hairpin in second gear",
    "stack the red blocks on the left and keep the right column free",
    "build two farms before the first winter",
    "keep your archers behind the pikemen",
    "the goalkeeper always dives left on a penalty",
    "enter the password *B7K9-QX2M* on the title screen",
    "collect all 120 stars to unlock the ~secret ending~",
    "the ghost in the library only appears after midnight (game time)",
    "a piñata in the plaza drops a rare item when you hit it 10 times",
    "the {SELECT} button opens the hidden debug menu",
    "skip the façade of the mansion and climb the vines instead",
    "the damage is roughly 2 x ATK - DEF / 2, so armour matters",
    "the graphics are _gorgeous_ for a cartridge game",
    "the soundtrack by the original composer is the highlight",
    "the frame rate drops when more than six enemies are on screen",
    "the developers promised a *playable demo* for the autumn",
};

const std::initializer_list<const char *> endings = {".",
                                                     " to continue.",
                                                     " (see the map above).",
                                                     "; it is easy to miss!",
                                                     " — trust me.",
                                                     ", then save your game.",
                                                     "!",
                                                     " before moving on.",
                                                     " (thanks to Zoë for this tip)."};

const std::initializer_list<const char *> foreign = {
    "攻略のヒント: ゼルダの伝説 style puzzles are ahead 🎮",
    "ボス戦のコツ: 左に避けてから攻撃。",
    "Merci à tous les lecteurs! 🏆",
    "Danke schön fürs Lesen, und viel Glück!",
    "¡Buena suerte, amigos! 👾",
    "Tip: the ★ rank needs a time under 2′30″.",
};

const std::initializer_list<const char *> items = {"Silver Key",
                                                   "Heart Container #3 (behind the waterfall)",
                                                   "Extra life in the {hidden} room",
                                                   "Über Sword — top floor of the tower",
                                                   "Map of the sewers",
                                                   "Bottle (trade the fish)",
                                                   "Piece of Heart in the café",
                                                   "Gold Token #12",
                                                   "Secret exit in World 4-2",
                                                   "Crystal shard (攻略 page 3)",
                                                   "*Boots of Speed*",
                                                   "Ancient Tablet (½ of it)",
                                                   "_Moonstone_ from the fountain",
                                                   "Bomb bag upgrade"};

const std::initializer_list<const char *> steps = {"Go to the inn and rest.",
                                                   "Speak to the guard at the gate.",
                                                   "Take the boat to the *Sunken Citadel*.",
                                                   "Defeat the three guardians in any order.",
                                                   "Return to the king for your reward.",
                                                   "Open the menu and select _Options_.",
                                                   "Choose the hard difficulty.",
                                                   "Set the save path to C:\\GAMES\\LORE\\.",
                                                   "Buy the ~Phoenix Down~ before the bridge.",
                                                   "Wait for the moving platform, then jump.",
                                                   "Pick the blue car and set the gears to manual."};

const std::initializer_list<const char *> buttons = {"A", "B", "X", "Y", "L", "R", "START", "SELECT", "↑ ↓", "C-Left"};
const std::initializer_list<const char *> actions = {"Jump",      "Attack",         "Block",    "Open map",
                                                     "Pause",     "Dash",           "Use item", "Switch weapon",
                                                     "Talk/Read", "Look (hold {Z})"};
const std::initializer_list<const char *> effects = {"Infinite lives",  "All weapons",  "Max money",
                                                     "Invincibility",   "Level select", "Moon jump",
                                                     "Unlock all cars", "Big-head mode"};

// Section headings of each sub-category, by code - 1.
const std::initializer_list<const char *> headings[modNames::SubCatCount] = {
    {"Table of Contents", "Controls", "Basics", "Walkthrough", "Boss Strategies", "Secrets and Extras", "Items",
     "Version History", "Credits"},
    {"Passwords", "Codes", "Unlockables", "Glitches", "Action Replay Codes", "Credits"},
    {"Graphics", "Sound", "Gameplay", "Replay Value", "Verdict"},
    {"First Impressions", "What We Played", "Early Verdict"},
    {"The News", "Details", "Release Dates", "Comments"},
    {"About This Site", "Links", "Updates"},
};

// Escapes `text`, turning the *bold*, _italic_ and ~red~ marks into groups.
QByteArray marked(const QString &source)
{
    QByteArray out;
    bool bold = false, italic = false, red = false;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= source.size(); ++i) {
        const QChar c = i < source.size() ? source.at(i) : QChar();
        if (i < source.size() && c != QLatin1Char('*') && c != QLatin1Char('_') && c != QLatin1Char('~'))
            continue;
        RtfMaker::appendEscaped(&out, QStringView(source).mid(start, i - start));
        start = i + 1;
        if (c == QLatin1Char('*'))
            out += (bold = !bold) ? "{\\b " : "}";
        else if (c == QLatin1Char('_'))
            out += (italic = !italic) ? "{\\i " : "}";
        else if (c == QLatin1Char('~'))
            out += (red = !red) ? "{\\cf2 " : "}";
    }
    return out;
}

enum class Case { AsWritten, Capitalized };

QVector<QByteArray> pool(std::initializer_list<const char *> texts, Case letterCase = Case::AsWritten)
{
    QVector<QByteArray> escaped;
    escaped.reserve(int(texts.size()));
    for (const char *text : texts) {
        QString source = QString::fromUtf8(text);
        if (letterCase == Case::Capitalized) {
            const auto letter = std::find_if(source.begin(), source.end(), [](QChar c) { return c.isLetter(); });
            if (letter != source.end())
                *letter = letter->toUpper();
        }
        escaped.append(marked(source));
    }
    return escaped;
}

void appendCode(QByteArray *out, Rng *rng)
{
    static const char digits[] = "0123456789ABCDEF";
    quint64 bits = rng->next();
    char code[9];
    for (int i = 0; i < 9; ++i, bits >>= 4)
        code[i] = i == 4 ? '-' : digits[bits & 0xf];
    out->append(code, 9);
}

} // namespace

RtfMaker::RtfMaker(Rng *rng)
    : m_rng(rng),
      m_openers(pool(openers)),
      m_clauses(pool(clauses)),
      m_sentenceStarts(pool(clauses, Case::Capitalized)),
      m_endings(pool(endings)),
      m_foreign(pool(foreign)),
      m_items(pool(items)),
      m_steps(pool(steps)),
      m_buttons(pool(buttons)),
      m_actions(pool(actions)),
      m_effects(pool(effects))
{
    for (const auto &names : headings)
        m_headings.append(pool(names));
}

void RtfMaker::appendEscaped(QByteArray *out, QStringView text)
{
    for (const QChar c : text) {
        const char16_t unit = c.unicode();
        switch (unit) {
        case u'\\': *out += "\\\\"; break;
        case u'{': *out += "\\{"; break;
        case u'}': *out += "\\}"; break;
        case u'\t': *out += "\\tab "; break;
        case u'\n': *out += "\\par\r\n"; break;
        case u'\r': break;
        default:
            if (unit < 0x80) {
                *out += char(unit);
            } else {
                *out += "\\u";
                *out += QByteArray::number(qint16(unit));
                *out += '?';
            }
        }
    }
}

void RtfMaker::make(QByteArray *out, const QString &title, const QString &byline, quint8 subCat, int targetBytes)
{
    const Pool &sectionNames = m_headings.at((subCat >= 1 && subCat <= modNames::SubCatCount ? subCat : 1) - 1);
    out->clear();
    out->reserve(targetBytes + 2048);
    *out += header;
    *out += "{\\b\\fs32 ";
    appendEscaped(out, title);
    *out += "}\\par\r\n{\\i ";
    appendEscaped(out, byline);
    *out += "}\\par\r\n\\par\r\n";

    // A note of a line or two is just that; anything longer gets sections.
    if (targetBytes - out->size() < tinyBody) {
        appendParagraph(out, 1);
        *out += "}\r\n";
        return;
    }
    int section = 0;
    int blocksLeft = 0;
    do {
        if (blocksLeft == 0) {
            *out += "{\\b\\fs32 ";
            *out += sectionNames.at(section % sectionNames.size());
            if (section >= sectionNames.size()) {
                *out += " (part ";
                *out += QByteArray::number(section / sectionNames.size() + 1);
                *out += ')';
            }
            *out += "}\\par\r\n";
            ++section;
            blocksLeft = m_rng->between(2, 4);
        }
        const quint32 kind = m_rng->below(100);
        if (kind < 60)
            appendParagraph(out, std::clamp(int((targetBytes - out->size()) / sentenceBytes), 1, 6));
        else if (kind < 72)
            appendBullets(out);
        else if (kind < 84)
            appendSteps(out);
        else if (kind < 95)
            appendTable(out, subCat);
        else
            appendMap(out);
        --blocksLeft;
    } while (out->size() + lastBlockBytes < targetBytes);
    *out += "}\r\n";
}

void RtfMaker::appendSentence(QByteArray *out)
{
    if (m_rng->chance(4)) {
        *out += pick(m_foreign);
        return;
    }
    const quint32 style = m_rng->below(100);
    const char *group = style < 6 ? "{\\i " : style < 10 ? "{\\cf3 " : nullptr;
    if (group)
        *out += group;
    if (m_rng->chance(55)) {
        *out += pick(m_openers);
        *out += pick(m_clauses);
    } else {
        *out += pick(m_sentenceStarts);
    }
    *out += pick(m_endings);
    if (group)
        *out += '}';
}

void RtfMaker::appendParagraph(QByteArray *out, int mostSentences)
{
    const int sentences = m_rng->between(std::min(2, mostSentences), mostSentences);
    for (int i = 0; i < sentences; ++i) {
        if (i > 0)
            *out += ' ';
        appendSentence(out);
    }
    *out += "\\par\r\n\\par\r\n";
}

void RtfMaker::appendBullets(QByteArray *out)
{
    const int count = m_rng->between(3, 8);
    for (int i = 0; i < count; ++i) {
        *out += "\\bullet  ";
        *out += pick(m_items);
        *out += "\\par\r\n";
    }
    *out += "\\par\r\n";
}

void RtfMaker::appendSteps(QByteArray *out)
{
    const int count = m_rng->between(3, 10);
    for (int i = 1; i <= count; ++i) {
        *out += QByteArray::number(i);
        *out += ". ";
        *out += pick(m_steps);
        *out += "\\par\r\n";
    }
    *out += "\\par\r\n";
}

void RtfMaker::appendTable(QByteArray *out, quint8 subCat)
{
    const bool codes = subCat == 2 || m_rng->chance(30);
    *out += codes ? "{\\b Code\\tab Effect}\\par\r\n" : "{\\b Button\\tab Action}\\par\r\n";
    const int rows = m_rng->between(3, 8);
    for (int i = 0; i < rows; ++i) {
        if (codes) {
            *out += "{\\f1 ";
            appendCode(out, m_rng);
            *out += "}\\tab ";
            *out += pick(m_effects);
        } else {
            *out += pick(m_buttons);
            *out += "\\tab ";
            *out += pick(m_actions);
        }
        *out += "\\par\r\n";
    }
    *out += "\\par\r\n";
}

void RtfMaker::appendMap(QByteArray *out)
{
    const int width = m_rng->between(3, 6);
    const int height = m_rng->between(2, 4);
    QByteArray rule = "+";
    for (int x = 0; x < width; ++x)
        rule += "---+";
    *out += "{\\f1 ";
    *out += rule;
    for (int y = 0; y < height; ++y) {
        *out += "\\line |";
        for (int x = 0; x < width; ++x)
            *out += m_rng->chance(20) ? " X |" : m_rng->chance(10) ? " $ |" : "   |";
        *out += "\\line ";
        *out += rule;
    }
    *out += "}\\par\r\n\\par\r\n";
}
