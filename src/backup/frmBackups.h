#pragma once

#include "data/StoreBackup.h"

#include <QDialog>
#include <QFuture>

#include <atomic>
#include <memory>
#include <optional>

class QLabel;
class QPushButton;
class QSpinBox;
class QTreeWidget;

// File > Restore From Backup: the backups of the open store with the day and time each was made,
// its size, and the games and files it holds (counted in the background, so a folder of large
// backups opens at once). Restore closes the window with the chosen backup; the main window then
// brings it back. Back Up Now and the number of backups kept are here too.
class frmBackups final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmBackups)

public:
    // Columns of the list.
    enum Column { MadeColumn, KindColumn, SizeColumn, GamesColumn, FilesColumn };

    frmBackups(const QString &storePath, QWidget *parent = nullptr);
    ~frmBackups() override;

    // When a backup was made, as the list and the messages about it say it: "Monday, 23 November
    // 2026, 09:14".
    static QString MadeText(const BackupInfo &backup);

    // What kind of backup it is, as the list shows it ("Daily", "Before restore") and as a sentence
    // names it ("the day's backup", "a copy made before a restore").
    static QString KindText(const BackupInfo &backup);
    static QString KindDescription(const BackupInfo &backup);
    // "12 games and 1 file".
    static QString CountsText(const BackupContents &contents);
    // What the user must know of a backup that holds fewer games or files than the library had
    // when it was last closed; empty when it holds no fewer.
    static QString FewerText(const BackupContents &backup, const BackupContents &closed);
    // Asks once more before such a backup is restored; true to go on.
    static bool ConfirmFewer(const BackupContents &backup, const BackupContents &closed);

    // The backup to restore once the window closed with Restore.
    std::optional<BackupInfo> Chosen() const { return m_chosen; }

    QTreeWidget *lvwBackups;
    QPushButton *cmdRestore;
    QPushButton *cmdBackUpNow;
    QPushButton *cmdOpenFolder;
    QSpinBox *spnKeep;

public Q_SLOTS:
    void Refresh();
    void cmdRestore_Click();
    void cmdBackUpNow_Click();

private:
    void stopCounting();
    void showContents(int row, const BackupContents &contents, const QString &problem);

    QString m_storePath;
    QLabel *m_lblFolder;
    QVector<BackupInfo> m_backups;
    // What each listed backup holds, as counted so far.
    QVector<std::optional<BackupContents>> m_contents;
    std::optional<BackupContents> m_lastClosed;
    std::optional<BackupInfo> m_chosen;
    // The background count of the listed backups; the flag stops it when the list changes.
    QFuture<void> m_counting;
    std::shared_ptr<std::atomic<bool>> m_stopCounting;
};
