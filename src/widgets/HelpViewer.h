#pragma once

#include "HelpPages.h"

#include <QWidget>

class QLineEdit;
class QListWidget;
class QStackedWidget;
class QTextBrowser;
class QTreeWidget;
class QTreeWidgetItem;

// The help window: the contents (or, while the search box holds words, the pages that hold them) on
// the left and the page on the right. One window serves the whole program.
class HelpViewer final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(HelpViewer)

public:
    explicit HelpViewer(const QString &folder, QWidget *parent = nullptr);

    // The window open on `folder`, made when there is none; it goes when it is closed.
    static HelpViewer *Instance(const QString &folder);
    // The open window, if any.
    static HelpViewer *Current();

    // Brings the window up on the contents page with the contents listed.
    void ShowContents();
    // Brings the window up with the search box ready for words.
    void ShowSearch();
    // Brings the window up on one page.
    void ShowPage(const QString &file);

    const HelpPages &Pages() const { return m_pages; }
    // The page shown, as a file name of the folder.
    QString CurrentPage() const;
    QTextBrowser *Page() const { return txtPage; }
    QLineEdit *SearchBox() const { return txtSearch; }
    QListWidget *Results() const { return lstResults; }
    QTreeWidget *ContentsList() const { return tvwContents; }

private:
    void fillContents();
    void search();
    void openResult();
    void pageChanged(const QUrl &url);
    void markWords(const QStringList &words);
    void bringUp();

    HelpPages m_pages;
    QLineEdit *txtSearch;
    QStackedWidget *m_lists;
    QTreeWidget *tvwContents;
    QListWidget *lstResults;
    QTextBrowser *txtPage;
    // Words of the search that opened the page shown, marked in it.
    QStringList m_marked;
    QString m_page;
};
