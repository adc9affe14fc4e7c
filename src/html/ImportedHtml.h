#pragma once

#include <QTextDocument>
#include <QUrl>

// HTML on its way into the library (a saved page, a page from the browser, a drop) as a document:
// without its scripts and style sheets, its nesting capped, nothing it names loaded, and only the
// links a reader can safely follow from a stored file (web, mail and FTP addresses) kept as links.
// Relative links are read against `page`, the address the HTML came from, when there is one.
class ImportedHtml final : public QTextDocument
{
public:
    explicit ImportedHtml(const QString &html, const QUrl &page = QUrl(), QObject *parent = nullptr);

    // The address a link keeps, or an empty one when the link becomes plain text.
    static QUrl KeptLink(const QString &href, const QUrl &page);

protected:
    // An @import or a picture could name a file of the disk, and one like /dev/zero would never end.
    QVariant loadResource(int, const QUrl &) override { return {}; }

private:
    void filterLinks(const QUrl &page);
};
