#include "ImportedHtml.h"

#include <algorithm>

#include "HtmlNesting.h"

#include <QTextBlock>
#include <QTextCursor>

#include <vector>

ImportedHtml::ImportedHtml(const QString &html, const QUrl &page, QObject *parent) : QTextDocument(parent)
{
    setHtml(HtmlNesting::Capped(html, HtmlNesting::MaxDepth, HtmlNesting::Scripts::Drop));
    filterLinks(page);
}

namespace {

// An absolute address already written as browsers write one (a page's script world hands them over so):
// printable ASCII without blanks or quotes. It is kept letter for letter, since QUrl would escape
// characters that browsers leave alone ("|", "^", "{") and give an address the page never had.
bool writtenWhole(const QString &href)
{
    if (QUrl(href).isRelative())
        return false;
    return std::all_of(href.cbegin(), href.cend(), [](QChar c) {
        return c.unicode() > 0x20 && c.unicode() < 0x7f && c != u'"' && c != u'<' && c != u'>' && c != u'\\';
    });
}

} // namespace

QUrl ImportedHtml::KeptLink(const QString &href, const QUrl &page)
{
    const QUrl link(href.trimmed());
    if (!link.isValid())
        return {};
    const QUrl address = link.isRelative() && page.isValid() ? page.resolved(link) : link;
    const QString scheme = address.scheme();
    if (scheme == QLatin1String("mailto"))
        return address.path().isEmpty() ? QUrl() : address;
    const bool web =
        scheme == QLatin1String("http") || scheme == QLatin1String("https") || scheme == QLatin1String("ftp");
    return web && !address.host().isEmpty() ? address : QUrl();
}

void ImportedHtml::filterLinks(const QUrl &page)
{
    struct Change
    {
        int position;
        int length;
        QTextCharFormat format;
    };
    std::vector<Change> changes;
    for (QTextBlock block = begin(); block.isValid(); block = block.next()) {
        for (QTextBlock::iterator it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            QTextCharFormat format = fragment.charFormat();
            const QString href = format.anchorHref();
            if (href.isEmpty())
                continue;
            const QUrl kept = KeptLink(href, page);
            if (kept.isValid()) {
                const QString address = writtenWhole(href) ? href : kept.toString(QUrl::FullyEncoded);
                if (address == href)
                    continue;
                format.setAnchorHref(address);
            } else {
                // Plain text keeps nothing of a link's look either.
                format.setAnchorHref(QString());
                format.setAnchor(!format.anchorNames().isEmpty());
                format.clearProperty(QTextFormat::ForegroundBrush);
                format.setFontUnderline(false);
            }
            changes.push_back({fragment.position(), fragment.length(), format});
        }
    }
    QTextCursor cursor(this);
    for (const Change &change : changes) {
        cursor.setPosition(change.position);
        cursor.setPosition(change.position + change.length, QTextCursor::KeepAnchor);
        cursor.setCharFormat(change.format);
    }
}
