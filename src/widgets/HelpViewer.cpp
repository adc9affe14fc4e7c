#include "HelpViewer.h"

#include "RichText.h"

#include "KeyboardAccess.h"
#include "system/Contrast.h"

#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeySequence>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QStyle>
#include <QTextBrowser>
#include <QTextCursor>
#include <QTextDocument>
#include <QToolBar>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QVBoxLayout>

namespace {

QPointer<HelpViewer> &instance()
{
    static QPointer<HelpViewer> viewer;
    return viewer;
}

// Our pages carry no styles of their own; this keeps them readable in the browser's plain look.
const char *const pageStyle = "h1 { font-size: x-large; margin-bottom: 12px; }"
                              "h2 { font-size: large; margin-top: 18px; }"
                              "h3 { font-size: medium; margin-top: 12px; }"
                              "td, th { padding: 3px 8px; }"
                              "th { text-align: left; }"
                              "code, pre { font-family: monospace; }";

constexpr int fileRole = Qt::UserRole;

} // namespace

HelpViewer::HelpViewer(const QString &folder, QWidget *parent)
    : QWidget(parent, Qt::Window),
      m_pages(folder),
      txtSearch(new QLineEdit),
      m_lists(new QStackedWidget),
      tvwContents(new QTreeWidget),
      lstResults(new QListWidget),
      txtPage(new QTextBrowser)
{
    setObjectName(QStringLiteral("frmHelp"));
    setWindowTitle(QStringLiteral("Lorekeep Help"));
    txtSearch->setObjectName(QStringLiteral("txtSearch"));
    tvwContents->setObjectName(QStringLiteral("tvwContents"));
    lstResults->setObjectName(QStringLiteral("lstResults"));
    txtPage->setObjectName(QStringLiteral("txtPage"));

    txtSearch->setPlaceholderText(QStringLiteral("Search the help"));
    txtSearch->setAccessibleName(QStringLiteral("Search the help"));
    tvwContents->setAccessibleName(QStringLiteral("Contents"));
    lstResults->setAccessibleName(QStringLiteral("Pages found"));
    txtPage->setAccessibleName(QStringLiteral("Help page"));
    txtSearch->setClearButtonEnabled(true);
    lstResults->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    lstResults->setTextElideMode(Qt::ElideRight);
    tvwContents->setHeaderHidden(true);
    tvwContents->setRootIsDecorated(true);
    m_lists->addWidget(tvwContents);
    m_lists->addWidget(lstResults);

    auto *left = new QWidget;
    auto *leftColumn = new QVBoxLayout(left);
    leftColumn->setContentsMargins(0, 0, 0, 0);
    leftColumn->addWidget(txtSearch);
    leftColumn->addWidget(m_lists, 1);

    // Links take the desktop's link colour, which a dark desktop does not always lighten.
    const QColor link = ReadableOn(txtPage->palette().color(QPalette::Link), txtPage->palette().color(QPalette::Base));
    txtPage->document()->setDefaultStyleSheet(QString::fromLatin1(pageStyle) +
                                              QStringLiteral("a { color: %1; }").arg(link.name()));
    txtPage->setOpenExternalLinks(true);
    txtPage->setSearchPaths({m_pages.folder()});

    auto *split = new QSplitter;
    split->addWidget(left);
    split->addWidget(txtPage);
    split->setStretchFactor(1, 1);
    split->setSizes({240, 660});

    auto *bar = new QToolBar;
    bar->setObjectName(QStringLiteral("tbrHelp"));
    bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    QAction *back = bar->addAction(style()->standardIcon(QStyle::SP_ArrowBack), QStringLiteral("&Back"));
    back->setShortcut(QKeySequence::Back);
    back->setEnabled(false);
    QAction *forward = bar->addAction(style()->standardIcon(QStyle::SP_ArrowForward), QStringLiteral("&Forward"));
    forward->setShortcut(QKeySequence::Forward);
    forward->setEnabled(false);
    QAction *contents = bar->addAction(style()->standardIcon(QStyle::SP_DirHomeIcon), QStringLiteral("&Contents"));
    connect(back, &QAction::triggered, txtPage, &QTextBrowser::backward);
    connect(forward, &QAction::triggered, txtPage, &QTextBrowser::forward);
    connect(txtPage, &QTextBrowser::backwardAvailable, back, &QAction::setEnabled);
    connect(txtPage, &QTextBrowser::forwardAvailable, forward, &QAction::setEnabled);
    connect(contents, &QAction::triggered, this, &HelpViewer::ShowContents);
    OpenToKeyboard(bar);

    auto *find = new QAction(this);
    find->setShortcuts({QKeySequence::Find, QKeySequence(Qt::CTRL | Qt::Key_K)});
    connect(find, &QAction::triggered, this, &HelpViewer::ShowSearch);
    auto *zoomIn = new QAction(this);
    zoomIn->setShortcut(QKeySequence::ZoomIn);
    connect(zoomIn, &QAction::triggered, txtPage, [this] { txtPage->zoomIn(1); });
    auto *zoomOut = new QAction(this);
    zoomOut->setShortcut(QKeySequence::ZoomOut);
    connect(zoomOut, &QAction::triggered, txtPage, [this] { txtPage->zoomOut(1); });
    auto *close = new QAction(this);
    close->setShortcuts({QKeySequence::Close, QKeySequence(Qt::Key_Escape)});
    connect(close, &QAction::triggered, this, &QWidget::close);
    addActions({find, zoomIn, zoomOut, close});

    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(4, 0, 4, 4);
    column->setSpacing(2);
    column->addWidget(bar);
    column->addWidget(split, 1);

    connect(txtSearch, &QLineEdit::textChanged, this, &HelpViewer::search);
    connect(txtSearch, &QLineEdit::returnPressed, this, [this] {
        if (lstResults->count() > 0 && (lstResults->item(0)->flags() & Qt::ItemIsEnabled)) {
            lstResults->setCurrentRow(0);
            openResult();
        }
    });
    connect(lstResults, &QListWidget::itemActivated, this, &HelpViewer::openResult);
    connect(lstResults, &QListWidget::itemClicked, this, &HelpViewer::openResult);
    connect(tvwContents, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem *item) {
        m_marked.clear();
        ShowPage(item->data(0, fileRole).toString());
    });
    connect(tvwContents, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem *item) {
        m_marked.clear();
        ShowPage(item->data(0, fileRole).toString());
    });
    connect(txtPage, &QTextBrowser::sourceChanged, this, &HelpViewer::pageChanged);

    fillContents();
    // Beside the program's window rather than on top of it, where the screen allows.
    const QRect screen = QApplication::primaryScreen() ? QApplication::primaryScreen()->availableGeometry() : QRect();
    resize(QSize(920, 660).boundedTo(screen.size().isEmpty() ? QSize(920, 660) : screen.size()));
    if (!screen.isEmpty())
        move(screen.right() - width() - screen.width() / 20, screen.top() + screen.height() / 20);
}

HelpViewer *HelpViewer::Instance(const QString &folder)
{
    HelpViewer *viewer = instance();
    if (viewer && viewer->Pages().folder() != HelpPages(folder).folder()) {
        viewer->close();
        viewer = nullptr;
    }
    if (!viewer) {
        viewer = new HelpViewer(folder);
        viewer->setAttribute(Qt::WA_DeleteOnClose);
        instance() = viewer;
    }
    return viewer;
}

HelpViewer *HelpViewer::Current()
{
    return instance();
}

void HelpViewer::fillContents()
{
    QList<QTreeWidgetItem *> parents;
    for (const HelpPages::Entry &entry : m_pages.Contents()) {
        const int level = std::min(entry.Level, int(parents.size()));
        parents.resize(level);
        auto *item = level == 0 ? new QTreeWidgetItem(tvwContents) : new QTreeWidgetItem(parents.constLast());
        item->setText(0, entry.Title);
        item->setToolTip(0, entry.Title);
        item->setData(0, fileRole, entry.File);
        parents.append(item);
    }
    tvwContents->expandAll();
}

void HelpViewer::bringUp()
{
    if (isMinimized())
        setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void HelpViewer::ShowContents()
{
    txtSearch->clear();
    m_marked.clear();
    ShowPage(HelpPages::ContentsPage);
    tvwContents->setFocus();
}

void HelpViewer::ShowSearch()
{
    bringUp();
    if (txtPage->source().isEmpty())
        ShowPage(HelpPages::ContentsPage);
    txtSearch->setFocus();
    txtSearch->selectAll();
}

void HelpViewer::ShowPage(const QString &file)
{
    const QUrl url = QUrl::fromLocalFile(m_pages.folder() + file);
    if (!QFileInfo(m_pages.folder() + file).isFile()) {
        txtPage->setHtml(QStringLiteral("<h1>Page not found</h1><p>The help page \"%1\" is missing from \"%2\".</p>")
                             .arg(file.toHtmlEscaped(), m_pages.folder().toHtmlEscaped()));
        bringUp();
        return;
    }
    if (txtPage->source() == url)
        pageChanged(url);
    else
        txtPage->setSource(url);
    bringUp();
}

QString HelpViewer::CurrentPage() const
{
    return m_page;
}

void HelpViewer::search()
{
    const QString text = txtSearch->text();
    lstResults->clear();
    if (HelpPages::Words(text).isEmpty()) {
        m_lists->setCurrentWidget(tvwContents);
        return;
    }
    m_lists->setCurrentWidget(lstResults);
    const QStringList files = m_pages.Search(text);
    for (const QString &file : files) {
        auto *item = new QListWidgetItem(m_pages.Title(file), lstResults);
        item->setData(fileRole, file);
        item->setToolTip(item->text());
    }
    if (files.isEmpty()) {
        auto *none = new QListWidgetItem(QStringLiteral("No page holds all of these words."), lstResults);
        none->setFlags(Qt::NoItemFlags);
    }
}

void HelpViewer::openResult()
{
    const QListWidgetItem *item = lstResults->currentItem();
    if (!item || !(item->flags() & Qt::ItemIsEnabled))
        return;
    m_marked = HelpPages::Words(txtSearch->text());
    ShowPage(item->data(fileRole).toString());
}

void HelpViewer::pageChanged(const QUrl &url)
{
    // The browser tells of the new page before its source() names it.
    const QString path = url.toLocalFile();
    m_page = path.startsWith(m_pages.folder()) ? path.mid(m_pages.folder().size()) : path;
    const QString &file = m_page;
    setWindowTitle(QStringLiteral("Lorekeep Help - ") + m_pages.Title(file));
    // The contents follow the page, whichever way it was reached.
    const QSignalBlocker quiet(tvwContents);
    tvwContents->setCurrentItem(nullptr);
    for (QTreeWidgetItemIterator it(tvwContents); *it; ++it) {
        if ((*it)->data(0, fileRole).toString() == file) {
            tvwContents->setCurrentItem(*it);
            break;
        }
    }
    markWords(m_marked);
}

void HelpViewer::markWords(const QStringList &words)
{
    QTextCharFormat mark;
    mark.setBackground(palette().color(QPalette::Highlight));
    mark.setForeground(palette().color(QPalette::HighlightedText));
    MarkPhrases(txtPage, words, mark);
}
