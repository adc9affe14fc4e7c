#include "frmBackups.h"

#include "components/BackupJob.h"
#include "data/modADO.h"
#include "store/StoreAddress.h"
#include "system/Prompts.h"
#include "system/SettingKeys.h"
#include "system/SettingsStore.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QDir>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPointer>
#include <QPushButton>
#include <QSpinBox>
#include <QStyle>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>
#include <QtConcurrent>

frmBackups::frmBackups(const QString &storePath, QWidget *parent)
    : QDialog(parent),
      lvwBackups(new QTreeWidget(this)),
      cmdRestore(new QPushButton(QStringLiteral("&Restore..."), this)),
      cmdBackUpNow(new QPushButton(QStringLiteral("&Back Up Now"), this)),
      cmdOpenFolder(new QPushButton(QStringLiteral("Open &Folder"), this)),
      spnKeep(new QSpinBox(this)),
      m_storePath(storePath),
      m_lblFolder(new QLabel(this))
{
    setWindowTitle(QStringLiteral("Restore From Backup"));
    setObjectName(QStringLiteral("frmBackups"));
    lvwBackups->setObjectName(QStringLiteral("lvwBackups"));
    lvwBackups->setHeaderLabels({QStringLiteral("Made"), QStringLiteral("Kind"), QStringLiteral("Size"),
                                 QStringLiteral("Games"), QStringLiteral("Files")});
    lvwBackups->setAccessibleName(QStringLiteral("Backups"));
    lvwBackups->setRootIsDecorated(false);
    lvwBackups->setUniformRowHeights(true);
    lvwBackups->setAllColumnsShowFocus(true);
    lvwBackups->header()->setStretchLastSection(false);
    lvwBackups->header()->setSectionResizeMode(MadeColumn, QHeaderView::Stretch);
    for (int column : {KindColumn, SizeColumn, GamesColumn, FilesColumn})
        lvwBackups->header()->setSectionResizeMode(column, QHeaderView::ResizeToContents);

    m_lblFolder->setWordWrap(true);
    m_lblFolder->setTextInteractionFlags(Qt::TextSelectableByMouse);

    spnKeep->setObjectName(QStringLiteral("spnKeep"));
    spnKeep->setRange(1, 999);
    spnKeep->setValue(BackupJob::Keep());
    auto *keepLabel = new QLabel(QStringLiteral("&Keep the last"), this);
    keepLabel->setBuddy(spnKeep);
    auto *keepTail = new QLabel(QStringLiteral("backups (older ones give way as new ones are made)"), this);

    cmdRestore->setObjectName(QStringLiteral("cmdRestore"));
    cmdBackUpNow->setObjectName(QStringLiteral("cmdBackUpNow"));
    cmdOpenFolder->setObjectName(QStringLiteral("cmdOpenFolder"));
    auto *close = new QDialogButtonBox(QDialogButtonBox::Close, this);

    auto *keepRow = new QHBoxLayout;
    keepRow->addWidget(keepLabel);
    keepRow->addWidget(spnKeep);
    keepRow->addWidget(keepTail, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(cmdRestore);
    buttons->addWidget(cmdBackUpNow);
    buttons->addWidget(cmdOpenFolder);
    buttons->addStretch(1);
    buttons->addWidget(close);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_lblFolder);
    layout->addWidget(lvwBackups, 1);
    layout->addLayout(keepRow);
    layout->addLayout(buttons);
    resize(640, 400);
    // Tab follows the rows as they are seen: the list, how many to keep, then the buttons.
    setTabOrder(lvwBackups, spnKeep);
    setTabOrder(spnKeep, cmdRestore);

    connect(close, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(cmdRestore, &QPushButton::clicked, this, &frmBackups::cmdRestore_Click);
    connect(cmdBackUpNow, &QPushButton::clicked, this, &frmBackups::cmdBackUpNow_Click);
    connect(cmdOpenFolder, &QPushButton::clicked, this, [] {
        QDir().mkpath(BackupJob::Folder());
        QDesktopServices::openUrl(QUrl::fromLocalFile(BackupJob::Folder()));
    });
    connect(lvwBackups, &QTreeWidget::itemSelectionChanged, this,
            [this] { cmdRestore->setEnabled(!lvwBackups->selectedItems().isEmpty()); });
    connect(lvwBackups, &QTreeWidget::itemDoubleClicked, this, &frmBackups::cmdRestore_Click);
    connect(spnKeep, qOverload<int>(&QSpinBox::valueChanged), this,
            [](int keep) { SaveSetting(SettingKeys::BackupsKeep, QString::number(keep)); });
    Refresh();
}

frmBackups::~frmBackups()
{
    stopCounting();
}

void frmBackups::stopCounting()
{
    if (m_stopCounting)
        *m_stopCounting = true;
    m_counting.waitForFinished();
}

QString frmBackups::KindText(const BackupInfo &backup)
{
    switch (backup.kind()) {
    case BackupInfo::Kind::Daily: return QStringLiteral("Daily");
    case BackupInfo::Kind::Damaged: return QStringLiteral("Damaged store");
    case BackupInfo::Kind::Manual:
    case BackupInfo::Kind::BeforeChange:
    case BackupInfo::Kind::BeforeRestore: break;
    }
    QString kind = backup.Note;
    kind[0] = kind[0].toUpper();
    return kind;
}

QString frmBackups::KindDescription(const BackupInfo &backup)
{
    switch (backup.kind()) {
    case BackupInfo::Kind::Daily: return QStringLiteral("the day's backup");
    case BackupInfo::Kind::Manual: return QStringLiteral("a backup made with Back Up Now");
    case BackupInfo::Kind::BeforeChange: return QStringLiteral("the backup kept %1").arg(backup.Note);
    case BackupInfo::Kind::BeforeRestore:
        return QStringLiteral("a copy of your library kept before a restore replaced it");
    case BackupInfo::Kind::Damaged: return QStringLiteral("a copy of a damaged store");
    }
    return backup.Note;
}

QString frmBackups::CountsText(const BackupContents &contents)
{
    const QLocale locale;
    return (contents.Games == 1 ? QStringLiteral("1 game")
                                : QStringLiteral("%1 games").arg(locale.toString(contents.Games))) +
           (contents.Files == 1 ? QStringLiteral(" and 1 file")
                                : QStringLiteral(" and %1 files").arg(locale.toString(contents.Files)));
}

QString frmBackups::FewerText(const BackupContents &backup, const BackupContents &closed)
{
    if (!backup.FewerThan(closed))
        return {};
    const bool games = backup.Games < closed.Games;
    const bool files = backup.Files < closed.Files;
    return QStringLiteral("This backup holds fewer %1 than your library had when it was last closed: %2.")
        .arg(games && files ? QStringLiteral("games and files")
             : games        ? QStringLiteral("games")
                            : QStringLiteral("files"),
             CountsText(closed));
}

bool frmBackups::ConfirmFewer(const BackupContents &backup, const BackupContents &closed)
{
    return MsgBox(FewerText(backup, closed) +
                      QStringLiteral(" It holds %1.\n\nRestore it anyway?").arg(CountsText(backup)),
                  MsgButtons::YesNo, MsgIcon::Exclamation, QStringLiteral("Restore From Backup")) == MsgResult::Yes;
}

QString frmBackups::MadeText(const BackupInfo &backup)
{
    const QLocale locale;
    return locale.toString(backup.Made.date(), QLocale::LongFormat) + QStringLiteral(", ") +
           locale.toString(backup.Made.time(), QLocale::ShortFormat);
}

void frmBackups::Refresh()
{
    stopCounting();
    lvwBackups->clear();
    m_backups = StoreBackup::List(BackupJob::Folder(), modADO::NameFromPath(m_storePath));
    m_contents = QVector<std::optional<BackupContents>>(m_backups.size());
    m_lastClosed = BackupJob::LastClosed(m_storePath);
    const QLocale locale;
    QString about =
        StoreAddress::IsShared(m_storePath)
            ? QStringLiteral("The shared library \"%1\" is backed up by its server. Back Up Now keeps a copy of it as "
                             "a Lorekeep file in %2, which File > Open Lorekeep opens.")
                  .arg(modADO::NameFromPath(m_storePath), QDir::toNativeSeparators(BackupJob::Folder()))
            : QStringLiteral("Lorekeep keeps copies of your library in %1: one on the first start of each day, and "
                             "one before every change of many files. Restoring one keeps your library as it is now "
                             "as one more backup.")
                  .arg(QDir::toNativeSeparators(BackupJob::Folder()));
    if (m_lastClosed)
        about += QStringLiteral(" When last closed, your library held %1; a backup holding fewer is marked.")
                     .arg(CountsText(*m_lastClosed));
    m_lblFolder->setText(about);
    for (const BackupInfo &backup : std::as_const(m_backups)) {
        auto *item = new QTreeWidgetItem(lvwBackups);
        item->setText(MadeColumn, MadeText(backup));
        item->setText(KindColumn, KindText(backup));
        item->setText(SizeColumn, locale.formattedDataSize(backup.Size));
        item->setText(GamesColumn, QStringLiteral("..."));
        item->setText(FilesColumn, QStringLiteral("..."));
        for (int column : {SizeColumn, GamesColumn, FilesColumn})
            item->setTextAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
        item->setToolTip(MadeColumn, QDir::toNativeSeparators(backup.Path));
    }
    if (m_backups.isEmpty()) {
        auto *item = new QTreeWidgetItem(lvwBackups, {QStringLiteral("No backups yet.")});
        item->setFlags(Qt::NoItemFlags);
    } else {
        lvwBackups->setCurrentItem(lvwBackups->topLevelItem(0));
    }
    cmdRestore->setEnabled(!m_backups.isEmpty());

    // Counting reads each backup; the results come back to this thread one by one.
    m_stopCounting = std::make_shared<std::atomic<bool>>(false);
    const QVector<BackupInfo> backups = m_backups;
    QPointer<frmBackups> self(this);
    auto stop = m_stopCounting;
    m_counting = QtConcurrent::run([backups, self, stop] {
        for (int row = 0; row < backups.size() && !*stop; ++row) {
            BackupContents contents;
            ErrObject err;
            const bool ok = StoreBackup::Inspect(backups.at(row).Path, &contents, &err);
            QMetaObject::invokeMethod(
                self.data(),
                [self, stop, row, contents, ok, err] {
                    if (self && !*stop)
                        self->showContents(row, contents, ok ? QString() : err.Description);
                },
                Qt::QueuedConnection);
        }
    });
}

void frmBackups::showContents(int row, const BackupContents &contents, const QString &problem)
{
    QTreeWidgetItem *item = lvwBackups->topLevelItem(row);
    if (!item || row >= m_contents.size())
        return;
    if (!problem.isEmpty()) {
        item->setText(GamesColumn, QStringLiteral("unreadable"));
        item->setText(FilesColumn, QString());
        item->setToolTip(GamesColumn, problem);
        return;
    }
    m_contents[row] = contents;
    const QLocale locale;
    item->setText(GamesColumn, locale.toString(contents.Games));
    item->setText(FilesColumn, locale.toString(contents.Files));
    const QString fewer = m_lastClosed ? FewerText(contents, *m_lastClosed) : QString();
    if (fewer.isEmpty())
        return;
    item->setIcon(GamesColumn, style()->standardIcon(QStyle::SP_MessageBoxWarning));
    for (int column : {GamesColumn, FilesColumn})
        item->setToolTip(column, fewer);
}

void frmBackups::cmdRestore_Click()
{
    const int row = lvwBackups->indexOfTopLevelItem(lvwBackups->currentItem());
    if (row < 0 || row >= m_backups.size())
        return;
    if (StoreAddress::IsShared(m_storePath)) {
        // Everyone who shares the library would lose what they wrote since the copy was made.
        MsgBox(QStringLiteral(
                   "A backup cannot be restored over the shared library \"%1\": it would replace the "
                   "library on its server for everyone who uses it.\n\nTo use the copy, open it with "
                   "File > Open Lorekeep; to share it again, open it and copy it into a new empty database "
                   "with File > Copy Library To...\n\nTo bring the shared library back as it was, ask the server's "
                   "administrator for its own backups.")
                   .arg(modADO::NameFromPath(m_storePath)),
               MsgButtons::OK, MsgIcon::Information, QStringLiteral("Restore From Backup"));
        return;
    }
    const BackupInfo backup = m_backups.at(row);
    // Counted in the list already, or now: a count each on a backup is quick.
    std::optional<BackupContents> contents = m_contents.value(row);
    if (!contents) {
        BackupContents counted;
        ErrObject err;
        if (StoreBackup::Inspect(backup.Path, &counted, &err))
            contents = counted;
    }
    const QString holds = contents ? QStringLiteral(" (%1)").arg(CountsText(*contents)) : QString();
    if (MsgBox(QStringLiteral("Restore the backup made %1%2?\n\nYour library as it is now is kept as one more "
                              "backup, so nothing is lost.")
                   .arg(MadeText(backup), holds),
               MsgButtons::YesNo, MsgIcon::Question, QStringLiteral("Restore From Backup")) != MsgResult::Yes)
        return;
    if (contents && m_lastClosed && contents->FewerThan(*m_lastClosed) && !ConfirmFewer(*contents, *m_lastClosed))
        return;
    m_chosen = backup;
    accept();
}

void frmBackups::cmdBackUpNow_Click()
{
    QString error;
    bool reused = false;
    const BackgroundWork::Outcome outcome =
        BackupJob::Make(this, m_storePath, QString(BackupInfo::ManualNote), nullptr, &error, true, &reused);
    if (reused)
        MsgBox(QStringLiteral("Your library is as the newest backup holds it, so no new backup was needed."),
               MsgButtons::OK, MsgIcon::Information, QStringLiteral("Back Up Now"));
    if (outcome == BackgroundWork::Outcome::Failed)
        MsgBox(QStringLiteral("The backup could not be made:\n\n%1").arg(error), MsgButtons::OK, MsgIcon::Critical,
               QStringLiteral("Back Up Now"));
    Refresh();
}
