#include "frmBackups.h"

#include "components/BackupJob.h"
#include "data/modADO.h"
#include "platform/Prompts.h"
#include "platform/SettingKeys.h"
#include "platform/SettingsStore.h"

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
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>
#include <QtConcurrent>

namespace {

QString kindOf(const BackupInfo &backup)
{
    if (backup.Note.isEmpty())
        return QStringLiteral("Daily");
    QString kind = backup.Note;
    kind[0] = kind[0].toUpper();
    return kind;
}

} // namespace

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
    m_lblFolder->setText(
        QStringLiteral("Lorekeep keeps copies of your library in %1: one on the first start of each day, and one "
                       "before every change of many files. Restoring one keeps your library as it is now as one "
                       "more backup.")
            .arg(QDir::toNativeSeparators(BackupJob::Folder())));

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
    const QLocale locale;
    for (const BackupInfo &backup : std::as_const(m_backups)) {
        auto *item = new QTreeWidgetItem(lvwBackups);
        item->setText(MadeColumn, MadeText(backup));
        item->setText(KindColumn, kindOf(backup));
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
                        self->showContents(row, contents.Games, contents.Files, ok ? QString() : err.Description);
                },
                Qt::QueuedConnection);
        }
    });
}

void frmBackups::showContents(int row, qint64 games, qint64 files, const QString &problem)
{
    QTreeWidgetItem *item = lvwBackups->topLevelItem(row);
    if (!item)
        return;
    if (!problem.isEmpty()) {
        item->setText(GamesColumn, QStringLiteral("unreadable"));
        item->setText(FilesColumn, QString());
        item->setToolTip(GamesColumn, problem);
        return;
    }
    const QLocale locale;
    item->setText(GamesColumn, locale.toString(games));
    item->setText(FilesColumn, locale.toString(files));
}

void frmBackups::cmdRestore_Click()
{
    const int row = lvwBackups->indexOfTopLevelItem(lvwBackups->currentItem());
    if (row < 0 || row >= m_backups.size())
        return;
    const BackupInfo &backup = m_backups.at(row);
    const QTreeWidgetItem *item = lvwBackups->topLevelItem(row);
    QString contents;
    if (item->text(FilesColumn) != QLatin1String("...") && !item->text(FilesColumn).isEmpty())
        contents = QStringLiteral(" (%1 games, %2 files)").arg(item->text(GamesColumn), item->text(FilesColumn));
    if (MsgBox(QStringLiteral("Restore the backup made %1%2?\n\nYour library as it is now is kept as one more "
                              "backup, so nothing is lost.")
                   .arg(item->text(MadeColumn), contents),
               MsgButtons::YesNo, MsgIcon::Question, QStringLiteral("Restore From Backup")) != MsgResult::Yes)
        return;
    m_chosen = backup;
    accept();
}

void frmBackups::cmdBackUpNow_Click()
{
    QString error;
    const BackgroundWork::Outcome outcome =
        BackupJob::Make(this, m_storePath, QStringLiteral("manual"), nullptr, &error);
    if (outcome == BackgroundWork::Outcome::Failed)
        MsgBox(QStringLiteral("The backup could not be made:\n\n%1").arg(error), MsgButtons::OK, MsgIcon::Critical,
               QStringLiteral("Back Up Now"));
    Refresh();
}
