#pragma once

#include <QDialog>
#include <QString>

class modADO;

class QComboBox;
class QLabel;
class QListWidget;
class QListWidgetItem;
class QPushButton;

// The dialog in which the user picks where something goes: a platform and genre, and in game mode
// a game of that place, which may be created on the spot. It reads and adds games through the
// store it is given and tells its caller what it did only through its results and signals.
class GameSelector final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(GameSelector)

public:
    explicit GameSelector(QWidget *parent = nullptr);

    void setStore(modADO *store);
    // Only a platform and genre are picked; the games of the place are shown for orientation and
    // OK hands back the game id given to Prepare.
    void setPlaceOnly(bool placeOnly);
    bool placeOnly() const { return m_placeOnly; }

    // Code 0 or an unknown code selects the first platform or genre; a game that is not filed
    // under the selected place leaves the game list without a selection.
    void Prepare(quint8 platformId, quint8 genreId, qint32 gameId, const QString &caption);
    // Prepare, then runs the dialog modally until it closes.
    void Show(quint8 platformId, quint8 genreId, qint32 gameId, const QString &caption);

    // Fills the two lists with every platform and genre by name, each item holding its code; the
    // platform list shows all of them at once.
    static void FillPlaces(QComboBox *platforms, QComboBox *genres);

    // Until the dialog is confirmed these are the values given to Prepare, and a cancel keeps them.
    quint8 PlatformId() const { return m_platformId; }
    quint8 GenreId() const { return m_genreId; }
    qint32 GameId() const { return m_gameId; }
    // The chosen game's name; in place-only mode the preset game's, when it was listed.
    QString GameName() const { return m_gameName; }
    bool Cancelled() const { return m_cancelled; }

public Q_SLOTS:
    void accept() override;
    // Cancel, Esc and the close box all end here.
    void reject() override;

Q_SIGNALS:
    // A game was created from the dialog and belongs in the tree under strParentKey.
    void AddGameNode(const QString &strName, const QString &strParentKey, const QString &strKey);
    // Once per Prepare, when the dialog is confirmed or cancelled.
    void CompleteSelect(quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, bool blnCancel);

private:
    quint8 selectedPlatform() const;
    quint8 selectedGenre() const;
    void LoadGames();
    void SelectGame(qint32 gameId);
    void NewGame();
    void UpdateButtons();
    void ApplyMode();
    int SortedRow(const QString &name) const;
    void Complete(bool cancel);

    QLabel *lblPlatform;
    QComboBox *cboPlatform;
    QLabel *lblGenre;
    QComboBox *cboGenre;
    QLabel *lblGames;
    QListWidget *lstGames;
    QPushButton *cmdNewGame;
    QPushButton *cmdOK;
    QPushButton *cmdCancel;

    modADO *m_store = nullptr;
    bool m_placeOnly = false;
    bool m_completed = false;
    quint8 m_platformId = 0;
    quint8 m_genreId = 0;
    qint32 m_gameId = 0;
    QString m_gameName;
    bool m_cancelled = false;
};
