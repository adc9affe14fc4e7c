#include "HtmlNesting.h"

#include <QHash>
#include <QSet>

#include <vector>

namespace {

struct Open
{
    QString name;
    bool kept;
};

const QSet<QString> &voidElements()
{
    static const QSet<QString> names = {
        QStringLiteral("area"),  QStringLiteral("base"),  QStringLiteral("basefont"), QStringLiteral("br"),
        QStringLiteral("col"),   QStringLiteral("embed"), QStringLiteral("frame"),    QStringLiteral("hr"),
        QStringLiteral("img"),   QStringLiteral("input"), QStringLiteral("isindex"),  QStringLiteral("keygen"),
        QStringLiteral("link"),  QStringLiteral("meta"),  QStringLiteral("param"),    QStringLiteral("source"),
        QStringLiteral("track"), QStringLiteral("wbr"),   QStringLiteral("!doctype")};
    return names;
}

// Elements whose contents are not markup: everything up to their end tag is text.
const QSet<QString> &rawTextElements()
{
    static const QSet<QString> names = {QStringLiteral("script"), QStringLiteral("style"), QStringLiteral("textarea"),
                                        QStringLiteral("title"),  QStringLiteral("xmp"),   QStringLiteral("plaintext")};
    return names;
}

const QSet<QString> &hiddenElements()
{
    static const QSet<QString> names = {QStringLiteral("script"), QStringLiteral("style"), QStringLiteral("noscript"),
                                        QStringLiteral("link")};
    return names;
}

const QSet<QString> &blockElements()
{
    static const QSet<QString> names = {
        QStringLiteral("address"), QStringLiteral("article"), QStringLiteral("aside"),    QStringLiteral("blockquote"),
        QStringLiteral("caption"), QStringLiteral("center"),  QStringLiteral("dd"),       QStringLiteral("div"),
        QStringLiteral("dl"),      QStringLiteral("dt"),      QStringLiteral("fieldset"), QStringLiteral("figure"),
        QStringLiteral("footer"),  QStringLiteral("form"),    QStringLiteral("h1"),       QStringLiteral("h2"),
        QStringLiteral("h3"),      QStringLiteral("h4"),      QStringLiteral("h5"),       QStringLiteral("h6"),
        QStringLiteral("header"),  QStringLiteral("li"),      QStringLiteral("main"),     QStringLiteral("nav"),
        QStringLiteral("ol"),      QStringLiteral("p"),       QStringLiteral("pre"),      QStringLiteral("section"),
        QStringLiteral("table"),   QStringLiteral("tbody"),   QStringLiteral("td"),       QStringLiteral("tfoot"),
        QStringLiteral("th"),      QStringLiteral("thead"),   QStringLiteral("tr"),       QStringLiteral("ul")};
    return names;
}

// An element whose end tag is optional ends where the next one of its kind starts, unless one of
// these stands between them.
const QHash<QString, QSet<QString>> &closedBySibling()
{
    static const QSet<QString> cells = {QStringLiteral("tr"), QStringLiteral("table")};
    static const QSet<QString> rows = {QStringLiteral("table"), QStringLiteral("thead"), QStringLiteral("tbody"),
                                       QStringLiteral("tfoot")};
    static const QHash<QString, QSet<QString>> rules = {
        {QStringLiteral("li"), {QStringLiteral("ul"), QStringLiteral("ol"), QStringLiteral("menu")}},
        {QStringLiteral("dt"), {QStringLiteral("dl")}},
        {QStringLiteral("dd"), {QStringLiteral("dl")}},
        {QStringLiteral("p"), {}},
        {QStringLiteral("option"), {QStringLiteral("select")}},
        {QStringLiteral("td"), cells},
        {QStringLiteral("th"), cells},
        {QStringLiteral("tr"), rows}};
    return rules;
}

// How far down the open elements a sibling's start looks for the one it ends: far enough for the
// inline elements of a real page, and a bound that keeps the pass linear.
constexpr int siblingReach = 8;

class Capper
{
public:
    Capper(const QString &html, int maxDepth, HtmlNesting::Scripts scripts)
        : m_in(html), m_max(std::max(maxDepth, 1)), m_drop(scripts == HtmlNesting::Scripts::Drop)
    {
        m_out.reserve(html.size());
    }

    QString run()
    {
        const qsizetype n = m_in.size();
        qsizetype textStart = 0;
        qsizetype i = 0;
        while (i < n) {
            i = m_in.indexOf(QLatin1Char('<'), i);
            if (i < 0)
                break;
            const qsizetype end = markupEnd(i);
            if (end < 0) {
                ++i;
                continue;
            }
            appendText(textStart, i);
            i = markup(i, end);
            textStart = i;
        }
        appendText(textStart, n);
        return m_out;
    }

private:
    // Where the markup that starts at `at` ends (one past it), or -1 when `<` is only text there.
    qsizetype markupEnd(qsizetype at) const
    {
        const qsizetype n = m_in.size();
        const QStringView rest = QStringView(m_in).mid(at);
        if (rest.startsWith(u"<!--"))
            return until(at + 4, u"-->");
        if (rest.startsWith(u"<![CDATA[", Qt::CaseInsensitive))
            return until(at + 9, u"]]>");
        if (at + 1 >= n)
            return -1;
        const QChar next = m_in.at(at + 1);
        const bool tag = isNameStart(next) || (next == QLatin1Char('/') && at + 2 < n && isNameStart(m_in.at(at + 2)));
        if (!tag && next != QLatin1Char('!') && next != QLatin1Char('?'))
            return -1;
        // A quoted attribute value may hold '>'.
        QChar quote;
        for (qsizetype k = at + 1; k < n; ++k) {
            const QChar c = m_in.at(k);
            if (!quote.isNull()) {
                if (c == quote)
                    quote = QChar();
            } else if (c == QLatin1Char('>')) {
                return k + 1;
            } else if (tag && (c == QLatin1Char('"') || c == QLatin1Char('\'')) && m_in.at(k - 1) == QLatin1Char('=')) {
                quote = c;
            }
        }
        return n;
    }

    qsizetype until(qsizetype from, QStringView close) const
    {
        const qsizetype found = m_in.indexOf(close, from);
        return found < 0 ? m_in.size() : found + close.size();
    }

    static bool isNameStart(QChar c) { return c.isLetter(); }

    QString nameAt(qsizetype from, qsizetype end) const
    {
        qsizetype k = from;
        while (k < end) {
            const QChar c = m_in.at(k);
            if (c.isSpace() || c == QLatin1Char('/') || c == QLatin1Char('>'))
                break;
            ++k;
        }
        return m_in.mid(from, k - from).toLower();
    }

    // Handles the markup [at, end) and says where the text after it starts.
    qsizetype markup(qsizetype at, qsizetype end)
    {
        const QChar next = m_in.at(at + 1);
        if (next == QLatin1Char('!') || next == QLatin1Char('?')) {
            m_out.append(QStringView(m_in).mid(at, end - at));
            return end;
        }
        if (next == QLatin1Char('/')) {
            closeTag(nameAt(at + 2, end), at, end);
            return end;
        }
        const QString name = nameAt(at + 1, end);
        const bool selfClosed = end - at >= 3 && m_in.at(end - 2) == QLatin1Char('/');
        const bool hidden = m_drop && hiddenElements().contains(name);
        if (hidden && name == QLatin1String("link"))
            return end;
        if ((rawTextElements().contains(name) || hidden) && !selfClosed) {
            // Its contents go through untouched, up to its end tag.
            const QString close = QStringLiteral("</") + name;
            // Once no end tag follows, none follows later either: not looking again keeps a page
            // of unclosed scripts linear.
            qsizetype closeAt = m_unclosed.contains(name) ? -1 : end;
            while (closeAt >= 0) {
                closeAt = m_in.indexOf(close, closeAt, Qt::CaseInsensitive);
                if (closeAt < 0 || closeAt + close.size() >= m_in.size())
                    break;
                const QChar after = m_in.at(closeAt + close.size());
                if (after == QLatin1Char('>') || after == QLatin1Char('/') || after.isSpace())
                    break;
                closeAt += close.size();
            }
            if (closeAt < 0)
                m_unclosed.insert(name);
            // An element left open ends at the next tag rather than taking the rest of the page.
            qsizetype stop = closeAt >= 0 ? markupEnd(closeAt) : m_in.indexOf(QLatin1Char('<'), end);
            if (stop < 0)
                stop = m_in.size();
            if (!hidden)
                m_out.append(QStringView(m_in).mid(at, stop - at));
            return stop;
        }
        if (voidElements().contains(name)) {
            m_out.append(QStringView(m_in).mid(at, end - at));
            return end;
        }
        if (selfClosed) {
            // Ended at once, whether or not the reader takes "/>" to end it.
            if (int(m_open.size()) < m_max)
                m_out.append(QStringView(m_in).mid(at, end - at) + QStringLiteral("</") + name + QLatin1Char('>'));
            return end;
        }
        endSibling(name);
        if (name != QLatin1String("p") && blockElements().contains(name) && !m_open.empty() &&
            m_open.back().name == QLatin1String("p"))
            pop();
        const bool kept = int(m_open.size()) < m_max;
        m_open.push_back({name, kept});
        ++m_count[name];
        if (kept)
            m_out.append(QStringView(m_in).mid(at, end - at));
        else
            breakLine(name);
        return end;
    }

    void endSibling(const QString &name)
    {
        const auto rule = closedBySibling().constFind(name);
        if (rule == closedBySibling().cend() || m_count.value(name) == 0)
            return;
        const qsizetype bottom = std::max<qsizetype>(0, qsizetype(m_open.size()) - siblingReach);
        for (qsizetype k = qsizetype(m_open.size()) - 1; k >= bottom; --k) {
            const QString &open = m_open[size_t(k)].name;
            if (rule->contains(open))
                return;
            if (open == name) {
                while (qsizetype(m_open.size()) > k)
                    pop();
                return;
            }
        }
    }

    void closeTag(const QString &name, qsizetype at, qsizetype end)
    {
        // An end tag that ends nothing open is left out: nothing can be ended by it.
        if (m_count.value(name) == 0)
            return;
        bool kept = false;
        while (!m_open.empty()) {
            const bool match = m_open.back().name == name;
            kept = m_open.back().kept;
            pop(!match);
            if (match)
                break;
        }
        if (kept)
            m_out.append(QStringView(m_in).mid(at, end - at));
        else
            breakLine(name);
    }

    // Qt's reader ends fewer elements implicitly than a browser does; an element ended here is ended
    // in so many words, or Qt would nest on where this pass counts none.
    void pop(bool writeEnd = true)
    {
        const Open &open = m_open.back();
        if (writeEnd && open.kept)
            m_out.append(QStringLiteral("</") + open.name + QLatin1Char('>'));
        --m_count[open.name];
        m_open.pop_back();
    }

    // Text of blocks that lost their tags still ends its line, but only after some text, so that
    // empty nests leave no blank lines behind.
    void breakLine(const QString &name)
    {
        if (m_textSinceBreak && blockElements().contains(name)) {
            m_out.append(QLatin1String("<br>"));
            m_textSinceBreak = false;
        }
    }

    void appendText(qsizetype from, qsizetype to)
    {
        if (to <= from)
            return;
        const QStringView text = QStringView(m_in).mid(from, to - from);
        m_out.append(text);
        if (!m_textSinceBreak && !text.trimmed().isEmpty())
            m_textSinceBreak = true;
    }

    const QString &m_in;
    const int m_max;
    const bool m_drop;
    QString m_out;
    std::vector<Open> m_open;
    QSet<QString> m_unclosed;
    QHash<QString, int> m_count;
    bool m_textSinceBreak = false;
};

} // namespace

namespace HtmlNesting {

QString Capped(const QString &html, int maxDepth, Scripts scripts)
{
    return Capper(html, maxDepth, scripts).run();
}

} // namespace HtmlNesting
