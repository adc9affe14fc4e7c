#pragma once

#include "data/PlatformTable.h"

#include <QString>
#include <QVector>
#include <QWidget>

#include <optional>

class modADO;

class QComboBox;
class QGroupBox;
class QLabel;
class QPushButton;
class QTreeWidget;
struct ErrObject;

// The window in which the user tidies the library a whole platform at a time: how much each
// platform holds, moving all of a platform's games to another, removing a platform. It changes the
// store itself and tells its host only that the library changed, so the host reloads its panes.
// Closing it raises UnloadPlatforms from within the close event: the host should delete it later
// (deleteLater), not from inside that signal.
class PlatformMaintenance final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(PlatformMaintenance)

public:
    explicit PlatformMaintenance(QWidget *parent = nullptr);

    void setStore(modADO *store);
    // Full path of the error log file; without one, failures go to the home's error log.
    void setErrorLog(const QString &path);

    // Reads the platforms and shows the window, or raises it when it is open already; `platformId`
    // is selected when given, else the selection stays.
    void Show(std::optional<quint8> platformId = std::nullopt);

Q_SIGNALS:
    // Once per change the store accepted.
    void ResetLorekeep();
    // Once when the window closes.
    void UnloadPlatforms();

protected:
    void closeEvent(QCloseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    // Re-reads the list and selects `platformId` again when it is still there.
    bool Refresh(std::optional<quint8> platformId);
    std::optional<quint8> SelectedPlatform() const;
    // The selected platform as the store holds it now, read again so that a question quotes the
    // numbers it acts on; nothing when no row is selected or the read failed.
    std::optional<PlatformCount> CurrentPlatform();
    void MoveGames();
    void RemovePlatform();
    void UpdateButtons();
    void ReportFailure(const ErrObject &err, const QString &operation, const QString &what);

    QLabel *lblPlatforms;
    QTreeWidget *lvwPlatforms;
    QGroupBox *fraMove;
    QComboBox *cboMoveTo;
    QPushButton *cmdMove;
    QPushButton *cmdRemove;
    QPushButton *cmdClose;

    modADO *m_store = nullptr;
    QString m_errorLog;
    QVector<PlatformCount> m_platforms;
    bool m_open = false;
};
