#pragma once

#include "system/ErrObject.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// The help: HTML pages in the home's "Help" folder, listed in order by its "contents.txt" (one page a
// line, "Title<TAB>file.html", two blanks of indent per level). The pages are part of the program and
// are copied into the home from the program's own copy whenever that copy differs.
class HelpPages final
{
public:
    static const QString FolderName;   // "Help"
    static const QString ContentsPage; // "index.html"
    static const QString SupportPage;  // "support.html"
    // In the folder: which copy of the program's pages it holds.
    static const QString StampFile; // ".installed"

    // The folder of the pages in `home`, ending in "/".
    static QString Folder(const QString &home);
    // Copies the program's pages into `home` unless the ones there are these already. A home that
    // cannot be written keeps what it has.
    static bool Install(const QString &home, ErrObject *err);

    explicit HelpPages(QString folder);

    // False when the page set (its contents page) is missing.
    bool IsAvailable() const;
    const QString &folder() const { return m_folder; }

    struct Entry
    {
        QString Title;
        QString File;
        int Level = 0;
    };
    // In the order of "contents.txt"; empty when it cannot be read.
    const QList<Entry> &Contents() const;
    // The page's title in the contents, else its file name.
    QString Title(const QString &file) const;

    // Pages that hold every word of `text` (case aside, a word may be part of a longer one), those
    // naming them in their title first, then by how often they hold them, then in contents order.
    QStringList Search(const QString &text) const;
    // The words of a search text.
    static QStringList Words(const QString &text);

private:
    const QString &plainText(const QString &file) const;

    QString m_folder;
    mutable bool m_contentsRead = false;
    mutable QList<Entry> m_contents;
    mutable QHash<QString, QString> m_text;
};
