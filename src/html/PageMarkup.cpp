#include "PageMarkup.h"

#include <QHash>
#include <QSet>

#include <algorithm>

namespace {

QString decodeEntities(QStringView text)
{
    if (!text.contains(QLatin1Char('&')))
        return text.toString();
    static const QHash<QString, QChar> named = {
        {QStringLiteral("amp"), u'&'},  {QStringLiteral("lt"), u'<'},    {QStringLiteral("gt"), u'>'},
        {QStringLiteral("quot"), u'"'}, {QStringLiteral("apos"), u'\''}, {QStringLiteral("nbsp"), QChar(0xA0)},
    };
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        // An entity is short: looking no further keeps a value full of '&' linear.
        const qsizetype found =
            text[i] == u'&' ? text.sliced(i, std::min<qsizetype>(12, text.size() - i)).indexOf(u';') : -1;
        const qsizetype semicolon = found < 0 ? -1 : i + found;
        if (semicolon < 0) {
            out.append(text[i]);
            continue;
        }
        const QStringView name = text.sliced(i + 1, semicolon - i - 1);
        bool ok = false;
        char32_t code = 0;
        if (name.startsWith(u"#x") || name.startsWith(u"#X"))
            code = name.sliced(2).toUInt(&ok, 16);
        else if (name.startsWith(u'#'))
            code = name.sliced(1).toUInt(&ok, 10);
        if (ok && code > 0 && code < 0x110000 && !(code >= 0xD800 && code < 0xE000)) {
            out.append(QChar::fromUcs4(code));
        } else if (const auto entity = named.constFind(name.toString()); entity != named.cend()) {
            out.append(*entity);
        } else {
            out.append(text[i]);
            continue;
        }
        i = semicolon;
    }
    return out;
}

int sizeAttribute(const QString &value)
{
    bool ok = false;
    const int number = value.trimmed().toInt(&ok);
    return ok ? number : -1;
}

// The attributes of the tag that starts at `at` (just after its name), and where it ends.
QHash<QString, QString> attributes(const QString &html, qsizetype at, qsizetype *end)
{
    QHash<QString, QString> found;
    const qsizetype n = html.size();
    qsizetype i = at;
    while (i < n) {
        while (i < n && (html[i].isSpace() || html[i] == u'/'))
            ++i;
        if (i >= n || html[i] == u'>')
            break;
        const qsizetype nameStart = i;
        while (i < n && !html[i].isSpace() && html[i] != u'=' && html[i] != u'>' && html[i] != u'/')
            ++i;
        const QString name = html.mid(nameStart, i - nameStart).toLower();
        while (i < n && html[i].isSpace())
            ++i;
        QString value;
        if (i < n && html[i] == u'=') {
            ++i;
            while (i < n && html[i].isSpace())
                ++i;
            if (i < n && (html[i] == u'"' || html[i] == u'\'')) {
                const qsizetype close = html.indexOf(html[i], i + 1);
                const qsizetype stop = close < 0 ? n : close;
                value = html.mid(i + 1, stop - i - 1);
                i = std::min(n, stop + 1);
            } else {
                const qsizetype valueStart = i;
                while (i < n && !html[i].isSpace() && html[i] != u'>')
                    ++i;
                value = html.mid(valueStart, i - valueStart);
            }
        }
        if (!name.isEmpty() && !found.contains(name))
            found.insert(name, decodeEntities(value));
    }
    *end = std::min(n, i + 1);
    return found;
}

bool isSectioning(QStringView name)
{
    // Blocks of today's HTML that Qt's reader does not know, and would run into the text around them.
    static const QSet<QString> names = {
        QStringLiteral("article"),  QStringLiteral("aside"),  QStringLiteral("details"),    QStringLiteral("dialog"),
        QStringLiteral("fieldset"), QStringLiteral("figure"), QStringLiteral("figcaption"), QStringLiteral("footer"),
        QStringLiteral("form"),     QStringLiteral("header"), QStringLiteral("hgroup"),     QStringLiteral("legend"),
        QStringLiteral("main"),     QStringLiteral("nav"),    QStringLiteral("section"),    QStringLiteral("summary")};
    return names.contains(name.toString().toLower());
}

// The addresses of a srcset ("a.jpg 1x, b.jpg 2x"); an address holds no blank but may hold commas.
void addSourceSet(QStringView srcset, QStringList *sources)
{
    qsizetype i = 0;
    while (i < srcset.size()) {
        while (i < srcset.size() && (srcset[i].isSpace() || srcset[i] == u','))
            ++i;
        const qsizetype start = i;
        while (i < srcset.size() && !srcset[i].isSpace())
            ++i;
        QStringView address = srcset.sliced(start, i - start);
        while (address.endsWith(u','))
            address.chop(1);
        if (!address.isEmpty())
            sources->append(address.toString());
        while (i < srcset.size() && srcset[i] != u',')
            ++i;
    }
}

} // namespace

namespace PageMarkup {

QString Prepared(const QString &html, const QString &pictureScheme, std::vector<PictureTag> *tags)
{
    QString out;
    out.reserve(html.size());
    QStringList pictureSources; // of the <source>s of the <picture> being read
    qsizetype copied = 0;
    qsizetype at = 0;
    while ((at = html.indexOf(QLatin1Char('<'), at)) >= 0) {
        const bool endTag = at + 1 < html.size() && html[at + 1] == u'/';
        const qsizetype nameStart = at + (endTag ? 2 : 1);
        qsizetype afterName = nameStart;
        while (afterName < html.size() && afterName - nameStart < 12 && html[afterName].isLetter())
            ++afterName;
        const QStringView name = QStringView(html).sliced(nameStart, afterName - nameStart);
        if (afterName < html.size() && !html[afterName].isSpace() && html[afterName] != u'/' &&
            html[afterName] != u'>') {
            at = afterName;
            continue;
        }
        if (isSectioning(name)) {
            out.append(QStringView(html).sliced(copied, nameStart - copied));
            out.append(QLatin1String("div"));
            copied = at = afterName;
            continue;
        }
        const bool img = name.compare(QLatin1String("img"), Qt::CaseInsensitive) == 0;
        const bool source = name.compare(QLatin1String("source"), Qt::CaseInsensitive) == 0;
        if (endTag || (!img && !source)) {
            if (endTag && name.compare(QLatin1String("picture"), Qt::CaseInsensitive) == 0)
                pictureSources.clear();
            at = afterName;
            continue;
        }
        qsizetype end = afterName;
        const QHash<QString, QString> attrs = attributes(html, afterName, &end);
        if (source) {
            if (pictureSources.size() < 16)
                addSourceSet(attrs.value(QStringLiteral("srcset")), &pictureSources);
            at = end;
            continue;
        }
        PictureTag tag;
        for (const char *attribute : {"src", "data-src"}) {
            const QString address = attrs.value(QLatin1String(attribute)).trimmed();
            if (!address.isEmpty())
                tag.sources.append(address);
        }
        addSourceSet(attrs.value(QStringLiteral("srcset")), &tag.sources);
        tag.sources += pictureSources;
        pictureSources.clear();
        tag.alt = attrs.value(QStringLiteral("alt")).simplified();
        tag.width = sizeAttribute(attrs.value(QStringLiteral("width")));
        tag.height = sizeAttribute(attrs.value(QStringLiteral("height")));
        out.append(QStringView(html).sliced(copied, at - copied));
        out.append(QStringLiteral("<img src=\"%1:%2\">").arg(pictureScheme).arg(tags->size()));
        tags->push_back(tag);
        copied = at = end;
    }
    out.append(QStringView(html).sliced(copied));
    return out;
}

} // namespace PageMarkup
