#include "PlatformMaintenance.h"

#include "BackupJob.h"
#include "TreeLoader.h"
#include "base/ErrorLog.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "system/ErrObject.h"
#include "system/Prompts.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <utility>

namespace {

const QString moduleName = QStringLiteral("PlatformMaintenance");

enum Column { PlatformColumn, GamesColumn, FilesColumn, BookmarksColumn, ColumnCount };

QString counted(int count, const char *noun)
{
    return QLocale().toString(count) + QLatin1Char(' ') + QLatin1String(noun) +
           (count == 1 ? QString() : QStringLiteral("s"));
}

} // namespace

PlatformMaintenance::PlatformMaintenance(QWidget *parent)
    : QWidget(parent, Qt::Window),
      lblPlatforms(new QLabel(this)),
      lvwPlatforms(new QTreeWidget(this)),
      fraMove(new QGroupBox(QStringLiteral("Move Games &To"), this)),
      cboMoveTo(new QComboBox(fraMove)),
      cmdMove(new QPushButton(QStringLiteral("&Move All Games"), fraMove)),
      cmdRemove(new QPushButton(QStringLiteral("&Remove Platform..."), this)),
      cmdClose(new QPushButton(QStringLiteral("Close"), this))
{
    setObjectName(QStringLiteral("PlatformMaintenance"));
    setWindowTitle(QStringLiteral("Platforms"));
    if (!QGuiApplication::windowIcon().isNull())
        setWindowIcon(QGuiApplication::windowIcon());
    lblPlatforms->setObjectName(QStringLiteral("lblPlatforms"));
    lvwPlatforms->setObjectName(QStringLiteral("lvwPlatforms"));
    fraMove->setObjectName(QStringLiteral("fraMove"));
    cboMoveTo->setObjectName(QStringLiteral("cboMoveTo"));
    cmdMove->setObjectName(QStringLiteral("cmdMove"));
    cmdRemove->setObjectName(QStringLiteral("cmdRemove"));
    cmdClose->setObjectName(QStringLiteral("cmdClose"));

    lvwPlatforms->setColumnCount(ColumnCount);
    lvwPlatforms->setHeaderLabels(
        {QStringLiteral("Platform"), QStringLiteral("Games"), QStringLiteral("Files"), QStringLiteral("Bookmarks")});
    lvwPlatforms->setRootIsDecorated(false);
    lvwPlatforms->setUniformRowHeights(true);
    lvwPlatforms->setAllColumnsShowFocus(true);
    lvwPlatforms->setAlternatingRowColors(true);
    lvwPlatforms->setSelectionMode(QAbstractItemView::SingleSelection);
    QHeaderView *header = lvwPlatforms->header();
    header->setStretchLastSection(false);
    header->setSectionsMovable(false);
    header->setSectionResizeMode(PlatformColumn, QHeaderView::Stretch);
    for (int column = GamesColumn; column < ColumnCount; ++column) {
        header->setSectionResizeMode(column, QHeaderView::ResizeToContents);
        lvwPlatforms->headerItem()->setTextAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
    }
    lblPlatforms->setBuddy(lvwPlatforms);

    for (quint8 code = 1; code <= modNames::PlatformCount; ++code)
        cboMoveTo->addItem(modNames::GetPlatformName(code), code);
    cboMoveTo->setMaxVisibleItems(modNames::PlatformCount);
    cboMoveTo->setAccessibleName(QStringLiteral("Move Games To"));

    auto *move = new QHBoxLayout(fraMove);
    move->addWidget(cboMoveTo, 1);
    move->addWidget(cmdMove);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdRemove);
    buttons->addStretch(1);
    buttons->addWidget(cmdClose);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(lblPlatforms);
    layout->addWidget(lvwPlatforms, 1);
    layout->addWidget(fraMove);
    layout->addLayout(buttons);
    resize(560, 520);

    connect(lvwPlatforms, &QTreeWidget::itemSelectionChanged, this, &PlatformMaintenance::UpdateButtons);
    connect(cmdMove, &QPushButton::clicked, this, &PlatformMaintenance::MoveGames);
    connect(cmdRemove, &QPushButton::clicked, this, &PlatformMaintenance::RemovePlatform);
    connect(cmdClose, &QPushButton::clicked, this, &QWidget::close);
    lblPlatforms->setText(QStringLiteral("&Platforms with games in this library:"));
    UpdateButtons();
}

void PlatformMaintenance::setStore(modADO *store)
{
    m_store = store;
}

void PlatformMaintenance::setErrorLog(const QString &path)
{
    m_errorLog = path;
}

void PlatformMaintenance::Show(std::optional<quint8> platformId)
{
    Refresh(platformId ? platformId : SelectedPlatform());
    if (!lvwPlatforms->selectedItems().isEmpty())
        lvwPlatforms->scrollToItem(lvwPlatforms->selectedItems().constFirst());
    if (!isVisible() && parentWidget()) {
        // Over the middle of the window it was opened from, as a dialog would be.
        QRect frame = geometry();
        frame.moveCenter(parentWidget()->window()->geometry().center());
        move(frame.topLeft());
    }
    m_open = true;
    show();
    raise();
    activateWindow();
}

void PlatformMaintenance::closeEvent(QCloseEvent *event)
{
    QWidget::closeEvent(event);
    // Qt also delivers a close to a window that is not showing; the host hears of the one that hides it.
    if (event->isAccepted() && m_open) {
        m_open = false;
        Q_EMIT UnloadPlatforms();
    }
}

void PlatformMaintenance::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier)
        close();
    else
        QWidget::keyPressEvent(event);
}

bool PlatformMaintenance::Refresh(std::optional<quint8> platformId)
{
    ErrObject err;
    QVector<PlatformCount> rows;
    const bool ok = PlatformTable::List(m_store->Connection(), &rows, &err);
    m_platforms = ok ? rows : QVector<PlatformCount>();

    lvwPlatforms->clear();
    QTreeWidgetItem *selected = nullptr;
    const QLocale locale;
    for (const PlatformCount &row : std::as_const(m_platforms)) {
        auto *item =
            new QTreeWidgetItem(lvwPlatforms, {TreeLoader::PlatformTag(row.platform_id), locale.toString(row.games),
                                               locale.toString(row.files), locale.toString(row.bookmarks)});
        item->setData(PlatformColumn, Qt::UserRole, row.platform_id);
        for (int column = GamesColumn; column < ColumnCount; ++column)
            item->setTextAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
        if (platformId && row.platform_id == *platformId)
            selected = item;
    }
    if (selected)
        lvwPlatforms->setCurrentItem(selected);
    lblPlatforms->setText(m_platforms.isEmpty() ? QStringLiteral("No platform in this library has games.")
                                                : QStringLiteral("&Platforms with games in this library:"));
    UpdateButtons();

    if (!ok)
        ReportFailure(err, QStringLiteral("Refresh"), QStringLiteral("The platforms could not be read"));
    return ok;
}

std::optional<quint8> PlatformMaintenance::SelectedPlatform() const
{
    const QList<QTreeWidgetItem *> items = lvwPlatforms->selectedItems();
    if (items.isEmpty())
        return std::nullopt;
    return quint8(items.first()->data(PlatformColumn, Qt::UserRole).toUInt());
}

std::optional<PlatformCount> PlatformMaintenance::CurrentPlatform()
{
    const std::optional<quint8> platformId = SelectedPlatform();
    if (!platformId || !Refresh(platformId))
        return std::nullopt;
    for (const PlatformCount &row : std::as_const(m_platforms)) {
        if (row.platform_id == *platformId)
            return row;
    }
    // Its games went elsewhere while the window was open; the list shows that now.
    Prompts::current().Beep();
    return std::nullopt;
}

void PlatformMaintenance::MoveGames()
{
    const std::optional<quint8> selected = SelectedPlatform();
    if (!selected)
        return;
    const quint8 to = quint8(cboMoveTo->currentData().toUInt());
    const QString toName = TreeLoader::PlatformTag(to);
    if (to == *selected) {
        MsgBox(QStringLiteral("The games are on %1 already. Choose another platform to move them to.").arg(toName),
               MsgButtons::OK, MsgIcon::Exclamation);
        cboMoveTo->setFocus();
        return;
    }
    const std::optional<PlatformCount> from = CurrentPlatform();
    if (!from)
        return;
    if (MsgBox(QStringLiteral("Move the %1 of %2 to %3?")
                   .arg(counted(from->games, "game"), TreeLoader::PlatformTag(from->platform_id), toName),
               MsgButtons::YesNo, MsgIcon::Question) != MsgResult::Yes)
        return;
    if (!BackupJob::Before(this, m_store->Connection(), QStringLiteral("before moving games")))
        return;
    ErrObject err;
    if (!PlatformTable::MoveGames(m_store->Connection(), from->platform_id, to, toName, nullptr, &err)) {
        ReportFailure(err, QStringLiteral("MoveGames"), QStringLiteral("The games could not be moved"));
        return;
    }
    Refresh(to);
    Q_EMIT ResetLorekeep();
}

void PlatformMaintenance::RemovePlatform()
{
    const std::optional<PlatformCount> platform = CurrentPlatform();
    if (!platform)
        return;
    if (MsgBox(QStringLiteral("Remove %1 with its %2 and %3 from the library? This cannot be undone.")
                   .arg(TreeLoader::PlatformTag(platform->platform_id), counted(platform->games, "game"),
                        counted(platform->files, "file")),
               MsgButtons::YesNo, MsgIcon::Exclamation) != MsgResult::Yes)
        return;
    if (!BackupJob::Before(this, m_store->Connection(), QStringLiteral("before removing a platform")))
        return;
    ErrObject err;
    if (!PlatformTable::Remove(m_store->Connection(), platform->platform_id, &err)) {
        ReportFailure(err, QStringLiteral("RemovePlatform"), QStringLiteral("The platform could not be removed"));
        return;
    }
    Refresh(std::nullopt);
    Q_EMIT ResetLorekeep();
}

void PlatformMaintenance::ReportFailure(const ErrObject &err, const QString &operation, const QString &what)
{
    ReportStoreFailure(err, m_errorLog, moduleName, operation, what,
                       QStringLiteral("The store did not accept the change."));
}

void PlatformMaintenance::UpdateButtons()
{
    const bool selected = !lvwPlatforms->selectedItems().isEmpty();
    cmdMove->setEnabled(selected);
    cmdRemove->setEnabled(selected);
}
