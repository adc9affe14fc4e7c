// The browser tab's controls: its toolbar, the pop-up switch, the address box and the status line,
// made when the tab is first shown.

#include "ctlBrowser.h"

#include "widgets/DeferredIcon.h"
#include "widgets/KeyboardAccess.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QVBoxLayout>

void ctlBrowser::buildPage()
{
    if (tbrToolbar)
        return;
    tbrToolbar = new QToolBar;
    chkPopup = new QCheckBox(popupCaption);
    lblAddress = new QLabel(QStringLiteral("Address:"));
    cboURL = new QComboBox;
    tbrGo = new QToolBar;
    picPage = new QWidget;
    sbStatusBar = new QStatusBar;
    lblStatus = new QLabel;
    pBar = new QProgressBar;
    mnuHidden = new QMenu(this);
    mnuAddURL = mnuHidden->addAction(QStringLiteral("Add URL to Favorites"));
    mnuDirectImport = mnuHidden->addAction(QStringLiteral("Import This Page To Lorekeep"));
    mnuImportWhole = mnuHidden->addAction(QStringLiteral("Import Whole Page"));
    mnuImportSelection = mnuHidden->addAction(QStringLiteral("Import Selection"));
    tbrToolbar->setObjectName(QStringLiteral("tbrToolbar"));
    chkPopup->setObjectName(QStringLiteral("chkPopup"));
    cboURL->setObjectName(QStringLiteral("cboURL"));
    tbrGo->setObjectName(QStringLiteral("tbrGo"));
    sbStatusBar->setObjectName(QStringLiteral("sbStatusBar"));
    lblStatus->setObjectName(QStringLiteral("lblStatus"));
    pBar->setObjectName(QStringLiteral("pBar"));
    mnuHidden->setObjectName(QStringLiteral("mnuHidden"));
    mnuAddURL->setObjectName(QStringLiteral("mnuAddURL"));
    mnuDirectImport->setObjectName(QStringLiteral("mnuDirectImport"));
    mnuImportWhole->setObjectName(QStringLiteral("mnuImportWhole"));
    mnuImportSelection->setObjectName(QStringLiteral("mnuImportSelection"));
    mnuDirectImport->setToolTip(QStringLiteral("Keep the page's article, as a reader view shows it"));
    mnuImportWhole->setToolTip(QStringLiteral("Keep everything the page shows"));
    mnuImportSelection->setToolTip(QStringLiteral("Keep the text selected on the page"));
    mnuHidden->setToolTipsVisible(true);

    buildToolbar();
    chkPopup->setChecked(m_popupsChecked);
    connect(chkPopup, &QCheckBox::clicked, this, &ctlBrowser::chkPopup_Click);

    // The box is the address line; the program keeps no list of addresses in it.
    cboURL->setEditable(true);
    cboURL->setInsertPolicy(QComboBox::NoInsert);
    cboURL->setEditText(programName);
    cboURL->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    // The combo box takes the focus and the keys for its line edit, which never sees the focus
    // arrive and would report Enter once for the box and once for itself.
    cboURL->installEventFilter(this);
    lblAddress->setBuddy(cboURL);

    tbrGo->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    QAction *go = tbrGo->addAction(DeferredStandardIcon(QStyle::SP_ArrowRight, this), QStringLiteral("Go"));
    go->setObjectName(QStringLiteral("Go"));
    go->setToolTip(QStringLiteral("Go to the address"));
    connect(go, &QAction::triggered, this, &ctlBrowser::tbrGo_ButtonClick);
    OpenToKeyboard(tbrToolbar);
    OpenToKeyboard(tbrGo);

    connect(mnuAddURL, &QAction::triggered, this, &ctlBrowser::AddFavorite);
    connect(mnuDirectImport, &QAction::triggered, this, [this] { ImportPage(PagePart::Article); });
    connect(mnuImportWhole, &QAction::triggered, this, [this] { ImportPage(PagePart::WholePage); });
    connect(mnuImportSelection, &QAction::triggered, this, [this] { ImportPage(PagePart::Selection); });
    connect(mnuHidden, &QMenu::aboutToShow, this, &ctlBrowser::mnuHidden_AboutToShow);

    // The progress bar sits in the status line's second panel and shows only while a page loads.
    lblStatus->setTextFormat(Qt::PlainText);
    sbStatusBar->addWidget(lblStatus, 1);
    pBar->setTextVisible(false);
    pBar->setFixedWidth(150);
    pBar->setMaximumHeight(14);
    sbStatusBar->addPermanentWidget(pBar);
    pBar->hide();

    // Until the engine runs, the page is white, as a browser's empty page is.
    picPage->setAutoFillBackground(true);
    QPalette white = picPage->palette();
    white.setColor(QPalette::Window, Qt::white);
    picPage->setPalette(white);

    auto *top = new QHBoxLayout;
    top->setSpacing(6);
    top->addWidget(tbrToolbar);
    top->addWidget(chkPopup);
    top->addStretch(1);
    auto *address = new QHBoxLayout;
    address->setContentsMargins(4, 0, 0, 0);
    address->setSpacing(4);
    address->addWidget(lblAddress);
    address->addWidget(cboURL, 1);
    address->addWidget(tbrGo);
    m_layout->addLayout(top);
    m_layout->addLayout(address);
    m_layout->addWidget(picPage, 1);
    m_layout->addWidget(sbStatusBar);
    placeControlsInTabOrder();
}

void ctlBrowser::placeControlsInTabOrder()
{
    // Widgets made in a window that is already there come last in its tab order; the controls go
    // back to where the browser stands, after the control before it, in the order they were made.
    const auto takesTab = [](const QWidget *widget) {
        return (widget->focusPolicy() & Qt::TabFocus) == Qt::TabFocus && !widget->focusProxy();
    };
    if (isWindow())
        return;
    QWidget *before = previousInFocusChain();
    while (before != this && (isAncestorOf(before) || !takesTab(before)))
        before = before->previousInFocusChain();
    if (before == this)
        return;
    QList<QWidget *> made;
    for (QWidget *next = nextInFocusChain(); next != this; next = next->nextInFocusChain()) {
        if (isAncestorOf(next) && takesTab(next))
            made << next;
    }
    for (QWidget *control : std::as_const(made)) {
        QWidget::setTabOrder(before, control);
        before = control;
    }
}

void ctlBrowser::setVisible(bool visible)
{
    // Before the tab shows, so that its controls show with it.
    if (visible)
        buildPage();
    QWidget::setVisible(visible);
}

void ctlBrowser::buildToolbar()
{
    struct Button
    {
        const char *key;
        QStyle::StandardPixmap icon;
        const char *text;
        const char *tip;
    };
    const Button buttons[] = {
        {"Back", QStyle::SP_ArrowBack, "Back", "Back to the previous page"},
        {"Forward", QStyle::SP_ArrowForward, "Forward", "Forward to the next page"},
        {"Stop", QStyle::SP_BrowserStop, "Stop", "Stop loading the page"},
        {"Refresh", QStyle::SP_BrowserReload, "Refresh", "Load the page again"},
        {"Home", QStyle::SP_DirHomeIcon, "Home", "Go to the start page"},
        {"Search", QStyle::SP_FileDialogContentsView, "Search", "Search the web"},
        {"Favorites", QStyle::SP_DirLinkIcon, "Favorites", "Show or hide the Internet Favorites"},
        {"AddFav", QStyle::SP_FileDialogNewFolder, "Add", "Add To Favorites"},
    };
    tbrToolbar->setIconSize({16, 16});
    tbrToolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    for (const Button &button : buttons) {
        QAction *action = tbrToolbar->addAction(DeferredStandardIcon(button.icon, this), QLatin1String(button.text));
        const QString key = QLatin1String(button.key);
        action->setObjectName(key);
        action->setToolTip(QLatin1String(button.tip));
        connect(action, &QAction::triggered, this, [this, key] { tbrToolbar_ButtonClick(key); });
    }
    // Nothing to go back or forward to, or to stop, until the browser says so.
    for (const char *key : {"Back", "Forward", "Stop"})
        tbrToolbar->findChild<QAction *>(QLatin1String(key))->setEnabled(false);
}
