#include "GameSelector.h"

#include "base/ErrorLog.h"
#include "data/GameTable.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "system/NaturalOrder.h"
#include "system/Prompts.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace {

const QString moduleName = QStringLiteral("GameSelector");

qint32 gameIdOf(const QListWidgetItem *item)
{
    return item ? item->data(Qt::UserRole).toInt() : 0;
}

void selectCode(QComboBox *combo, quint8 code)
{
    const int index = combo->findData(code);
    combo->setCurrentIndex(index >= 0 ? index : 0);
}

} // namespace

GameSelector::GameSelector(QWidget *parent)
    : QDialog(parent),
      lblPlatform(new QLabel(QStringLiteral("&Platform:"), this)),
      cboPlatform(new QComboBox(this)),
      lblGenre(new QLabel(QStringLiteral("&Genre:"), this)),
      cboGenre(new QComboBox(this)),
      lblGames(new QLabel(this)),
      lstGames(new QListWidget(this)),
      cmdNewGame(new QPushButton(QStringLiteral("&New Game..."), this)),
      cmdOK(new QPushButton(QStringLiteral("OK"), this)),
      cmdCancel(new QPushButton(QStringLiteral("Cancel"), this))
{
    setObjectName(QStringLiteral("GameSelector"));
    lblPlatform->setObjectName(QStringLiteral("lblPlatform"));
    cboPlatform->setObjectName(QStringLiteral("cboPlatform"));
    lblGenre->setObjectName(QStringLiteral("lblGenre"));
    cboGenre->setObjectName(QStringLiteral("cboGenre"));
    lblGames->setObjectName(QStringLiteral("lblGames"));
    lstGames->setObjectName(QStringLiteral("lstGames"));
    cmdNewGame->setObjectName(QStringLiteral("cmdNewGame"));
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    setModal(true);
    setSizeGripEnabled(true);

    FillPlaces(cboPlatform, cboGenre);
    cboPlatform->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    lblPlatform->setBuddy(cboPlatform);
    lblGenre->setBuddy(cboGenre);
    lblGames->setBuddy(lstGames);
    lstGames->setUniformItemSizes(true);
    lstGames->setAlternatingRowColors(true);

    // New Game acts on the list, not on the dialog, so it stays apart from the closing buttons,
    // which the button box orders the way the desktop does.
    auto *buttons = new QDialogButtonBox(this);
    buttons->addButton(cmdOK, QDialogButtonBox::AcceptRole);
    buttons->addButton(cmdCancel, QDialogButtonBox::RejectRole);
    cmdOK->setDefault(true);

    auto *place = new QFormLayout;
    place->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    place->addRow(lblPlatform, cboPlatform);
    place->addRow(lblGenre, cboGenre);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(place);
    layout->addSpacing(6);
    layout->addWidget(lblGames);
    layout->addWidget(lstGames, 1);
    layout->addSpacing(6);
    auto *bottom = new QHBoxLayout;
    bottom->addWidget(cmdNewGame);
    bottom->addStretch(1);
    bottom->addWidget(buttons);
    layout->addLayout(bottom);
    resize(420, 380);

    connect(cboPlatform, &QComboBox::currentIndexChanged, this, &GameSelector::LoadGames);
    connect(cboGenre, &QComboBox::currentIndexChanged, this, &GameSelector::LoadGames);
    connect(lstGames, &QListWidget::itemSelectionChanged, this, &GameSelector::UpdateButtons);
    connect(lstGames, &QListWidget::itemDoubleClicked, this, [this](QListWidgetItem *item) {
        if (!m_placeOnly && item)
            accept();
    });
    connect(cmdNewGame, &QPushButton::clicked, this, &GameSelector::NewGame);
    connect(buttons, &QDialogButtonBox::accepted, this, &GameSelector::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &GameSelector::reject);

    ApplyMode();
}

void GameSelector::FillPlaces(QComboBox *platforms, QComboBox *genres)
{
    for (quint8 code = 1; code <= modNames::PlatformCount; ++code)
        platforms->addItem(modNames::GetPlatformName(code), code);
    for (quint8 code = 1; code <= modNames::GenreCount; ++code)
        genres->addItem(modNames::GetGenreName(code), code);
    platforms->setMaxVisibleItems(modNames::PlatformCount);
}

void GameSelector::setStore(modADO *store)
{
    m_store = store;
}

void GameSelector::setPlaceOnly(bool placeOnly)
{
    if (m_placeOnly == placeOnly)
        return;
    m_placeOnly = placeOnly;
    ApplyMode();
}

void GameSelector::ApplyMode()
{
    // A place is being chosen for a game that already exists: its neighbours there are worth seeing,
    // but neither choosing one of them nor creating another game means anything.
    cmdNewGame->setVisible(!m_placeOnly);
    lblGames->setText(m_placeOnly ? QStringLiteral("Games already there:") : QStringLiteral("Ga&mes:"));
    lstGames->setSelectionMode(m_placeOnly ? QAbstractItemView::NoSelection : QAbstractItemView::SingleSelection);
    lstGames->setFocusPolicy(m_placeOnly ? Qt::NoFocus : Qt::StrongFocus);
    if (m_placeOnly)
        lstGames->clearSelection();
    UpdateButtons();
}

void GameSelector::Prepare(quint8 platformId, quint8 genreId, qint32 gameId, const QString &caption)
{
    setWindowTitle(caption);
    m_platformId = platformId;
    m_genreId = genreId;
    m_gameId = gameId;
    m_gameName.clear();
    m_cancelled = false;
    m_completed = false;

    {
        // One reload for the whole preset, not one per list.
        const QSignalBlocker platformBlocker(cboPlatform);
        const QSignalBlocker genreBlocker(cboGenre);
        selectCode(cboPlatform, platformId);
        selectCode(cboGenre, genreId);
    }
    LoadGames();
    if (m_placeOnly) {
        for (int row = 0; row < lstGames->count(); ++row) {
            if (gameIdOf(lstGames->item(row)) == gameId)
                m_gameName = lstGames->item(row)->text();
        }
    } else {
        SelectGame(gameId);
    }
    if (m_placeOnly || !lstGames->currentItem())
        cboPlatform->setFocus();
    else
        lstGames->setFocus();
}

void GameSelector::Show(quint8 platformId, quint8 genreId, qint32 gameId, const QString &caption)
{
    Prepare(platformId, genreId, gameId, caption);
    exec();
}

quint8 GameSelector::selectedPlatform() const
{
    return quint8(cboPlatform->currentData().toUInt());
}

quint8 GameSelector::selectedGenre() const
{
    return quint8(cboGenre->currentData().toUInt());
}

void GameSelector::LoadGames()
{
    lstGames->clear();
    QVector<GameRow> rows;
    ErrObject err;
    if (!GameTable::List(m_store->Connection(), selectedPlatform(), selectedGenre(), &rows, &err)) {
        LogError(err, moduleName, QStringLiteral("List Games"), true);
        UpdateButtons();
        return;
    }
    // Stable, so that games of the same name keep the order they were filed in.
    std::stable_sort(rows.begin(), rows.end(),
                     [](const GameRow &a, const GameRow &b) { return NaturalLess(a.name, b.name); });
    for (const GameRow &row : std::as_const(rows)) {
        auto *item = new QListWidgetItem(row.name);
        item->setData(Qt::UserRole, row.auto_id);
        item->setToolTip(row.name);
        lstGames->addItem(item);
    }
    UpdateButtons();
}

void GameSelector::SelectGame(qint32 gameId)
{
    for (int row = 0; gameId != 0 && row < lstGames->count(); ++row) {
        QListWidgetItem *item = lstGames->item(row);
        if (gameIdOf(item) == gameId) {
            lstGames->setCurrentItem(item);
            lstGames->scrollToItem(item);
            return;
        }
    }
}

int GameSelector::SortedRow(const QString &name) const
{
    int row = 0;
    while (row < lstGames->count() && !NaturalLess(name, lstGames->item(row)->text()))
        ++row;
    return row;
}

void GameSelector::NewGame()
{
    const std::optional<QString> answer = Prompts::current().InputBox(
        QStringLiteral("Enter a name for the new game."), QStringLiteral("Add New Game"), QStringLiteral("Game Title"));
    const QString name = answer ? answer->trimmed() : QString();
    if (name.isEmpty()) {
        Prompts::current().Beep();
        return;
    }

    const quint8 platformId = selectedPlatform();
    const quint8 genreId = selectedGenre();
    qint32 newId = 0;
    ErrObject err;
    if (!GameTable::Add(m_store->Connection(), platformId, genreId, name, &newId, &err)) {
        LogError(err, moduleName, QStringLiteral("New Game"), true);
        return;
    }

    auto *item = new QListWidgetItem(name);
    item->setData(Qt::UserRole, newId);
    item->setToolTip(name);
    lstGames->insertItem(SortedRow(name), item);
    lstGames->setCurrentItem(item);
    lstGames->scrollToItem(item);
    lstGames->setFocus();
    Q_EMIT AddGameNode(name, NodeKey::Genre(genreId, platformId), NodeKey::Game(newId, genreId, platformId));
}

void GameSelector::UpdateButtons()
{
    cmdOK->setEnabled(m_placeOnly || !lstGames->selectedItems().isEmpty());
}

void GameSelector::accept()
{
    if (m_completed) {
        QDialog::accept();
        return;
    }
    if (m_placeOnly) {
        m_platformId = selectedPlatform();
        m_genreId = selectedGenre();
    } else {
        const QList<QListWidgetItem *> selected = lstGames->selectedItems();
        if (selected.isEmpty()) {
            Prompts::current().Beep();
            return;
        }
        m_platformId = selectedPlatform();
        m_genreId = selectedGenre();
        m_gameId = gameIdOf(selected.constFirst());
        m_gameName = selected.constFirst()->text();
    }
    m_cancelled = false;
    QDialog::accept();
    Complete(false);
}

void GameSelector::reject()
{
    // The caller has its answer already; a late Esc or close box must not turn it into a cancel.
    if (!m_completed)
        m_cancelled = true;
    QDialog::reject();
    Complete(true);
}

void GameSelector::Complete(bool cancel)
{
    if (m_completed)
        return;
    m_completed = true;
    Q_EMIT CompleteSelect(m_platformId, m_genreId, m_gameId, cancel);
}
