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
    void showContents(int row, qint64 games, qint64 files, const QString &problem);

    QString m_storePath;
    QLabel *m_lblFolder;
    QVector<BackupInfo> m_backups;
    std::optional<BackupInfo> m_chosen;
    // The background count of the listed backups; the flag stops it when the list changes.
    QFuture<void> m_counting;
    std::shared_ptr<std::atomic<bool>> m_stopCounting;
};
