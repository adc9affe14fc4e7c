#pragma once

#include "FindRun.h"
#include "data/GameIndex.h"
#include "data/NodeKey.h"

#include <QString>
#include <QVector>
#include <QWidget>

#include <array>
#include <memory>

class QCheckBox;
class QComboBox;
class QFrame;
class QGroupBox;
class QLabel;
class QPushButton;
class modADO;
struct FindRequest;

// "Find Files...": looks for a phrase in the chosen fields of the files of the chosen categories,
// optionally of one game, and hands every file found to the Search Results list of the details
// pane through its host, as they are found. While it searches its Find button reads Stop. It is not
// modal, stays above the other windows, and closes itself once a search has finished.
class frmFind final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmFind)

public:
    explicit frmFind(QWidget *parent = nullptr);
    ~frmFind() override;

    // The store searched; the program's open store unless a test gives another. Set before showing.
    void setStore(modADO *store) { m_store = store; }

    // The tree's current platform and game (0 for none), which Search Within Game... starts on. Set
    // before the window loads; without them the second platform comes up.
    void StartAt(quint8 platformId, qint32 gameId)
    {
        m_startPlatform = platformId;
        m_startGame = gameId;
    }

    // Restores the check boxes, places the window and fills the lists; runs once, at the first show.
    void Form_Load();
    // The search itself, as the Find button and Enter in the phrase box run it; while a search runs,
    // they stop it instead.
    void cmdFind_Click();
    // Whether a search is under way.
    bool Searching() const { return m_run != nullptr; }

Q_SIGNALS:
    // What the Search Results list of the details pane is to do, in this order per search.
    void ClearSearch();
    void SelectTab(int index);
    void AddSearch(qint32 FileId, const QString &PlatformName, const QString &GameName, quint8 SubCat,
                   const QString &FoundText, const QString &GameKey, const QString &FieldName);
    void SearchTitle(const QString &Title);
    // A search for `Phrase` started; `InText` tells whether the files' text was among the fields.
    void Searched(const QString &Phrase, bool InText);
    // The results are listed; how often the phrase occurs in each is to be counted.
    void CountHits(const FindRequest &request);

protected:
    void showEvent(QShowEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildWindow();
    void cboPlatform_Click();
    void chk1_Click();
    void cboFind_Change();
    void loadPhrases();
    void loadPlatforms();
    void saveChecks() const;
    void listHits(const QVector<FindHit> &hits);
    void searchEnded(const FindRun::Outcome &outcome);

    QFrame *Frame1;
    QComboBox *cboFind;
    QPushButton *cmdFind;
    QPushButton *cmdCancel;
    QGroupBox *Frame3;
    std::array<QCheckBox *, 6> chkFileCat{};
    QGroupBox *Frame2;
    std::array<QCheckBox *, 3> chkFileField{};
    QCheckBox *chk1;
    QWidget *picGame;
    QComboBox *cboPlatform;
    QComboBox *cboGame;
    QLabel *Label1;

    modADO *m_store = nullptr;
    bool m_loaded = false;
    quint8 m_startPlatform = 0;
    qint32 m_startGame = 0;
    // Every game of the store, read once when the window opens; the game list is cut from it.
    QVector<IndexedGame> m_games;
    // The search under way, and how many files it listed.
    std::unique_ptr<FindRun> m_run;
    qint64 m_found = 0;
    NodeKey::GameKeys m_gameKeys;
};
