#include "frmAddGame.h"

#include "components/GameSelector.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

frmAddGame::frmAddGame(QWidget *parent)
    : QDialog(parent),
      lblName(new QLabel(QStringLiteral("Enter a name for the new game."), this)),
      txtName(new QLineEdit(QStringLiteral("Game Title"), this)),
      lblPlatform(new QLabel(QStringLiteral("&Platform:"), this)),
      cboPlatform(new QComboBox(this)),
      lblGenre(new QLabel(QStringLiteral("&Genre:"), this)),
      cboGenre(new QComboBox(this)),
      cmdOK(new QPushButton(QStringLiteral("OK"), this)),
      cmdCancel(new QPushButton(QStringLiteral("Cancel"), this))
{
    setObjectName(QStringLiteral("frmAddGame"));
    lblName->setObjectName(QStringLiteral("lblName"));
    txtName->setObjectName(QStringLiteral("txtName"));
    lblPlatform->setObjectName(QStringLiteral("lblPlatform"));
    cboPlatform->setObjectName(QStringLiteral("cboPlatform"));
    lblGenre->setObjectName(QStringLiteral("lblGenre"));
    cboGenre->setObjectName(QStringLiteral("cboGenre"));
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    setWindowTitle(QStringLiteral("Add New Game"));
    setModal(true);

    GameSelector::FillPlaces(cboPlatform, cboGenre);
    cboPlatform->setPlaceholderText(QStringLiteral("Choose a platform"));
    cboGenre->setPlaceholderText(QStringLiteral("Choose a genre"));
    lblName->setBuddy(txtName);
    lblPlatform->setBuddy(cboPlatform);
    lblGenre->setBuddy(cboGenre);

    auto *buttons = new QDialogButtonBox(this);
    buttons->addButton(cmdOK, QDialogButtonBox::AcceptRole);
    buttons->addButton(cmdCancel, QDialogButtonBox::RejectRole);
    cmdOK->setDefault(true);

    auto *place = new QFormLayout;
    place->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    place->addRow(lblPlatform, cboPlatform);
    place->addRow(lblGenre, cboGenre);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(lblName);
    layout->addWidget(txtName);
    layout->addSpacing(6);
    layout->addLayout(place);
    layout->addStretch(1);
    layout->addWidget(buttons);
    setMinimumWidth(360);

    connect(txtName, &QLineEdit::textChanged, this, &frmAddGame::UpdateButtons);
    connect(cboPlatform, &QComboBox::currentIndexChanged, this, &frmAddGame::UpdateButtons);
    connect(cboGenre, &QComboBox::currentIndexChanged, this, &frmAddGame::UpdateButtons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    Prepare(0, 0);
}

void frmAddGame::Prepare(quint8 platformId, quint8 genreId)
{
    cboPlatform->setCurrentIndex(cboPlatform->findData(platformId));
    cboGenre->setCurrentIndex(cboGenre->findData(genreId));
    txtName->selectAll();
    txtName->setFocus();
    UpdateButtons();
}

QString frmAddGame::GameName() const
{
    return txtName->text().trimmed();
}

quint8 frmAddGame::PlatformId() const
{
    return quint8(cboPlatform->currentData().toUInt());
}

quint8 frmAddGame::GenreId() const
{
    return quint8(cboGenre->currentData().toUInt());
}

void frmAddGame::UpdateButtons()
{
    cmdOK->setEnabled(!GameName().isEmpty() && PlatformId() != 0 && GenreId() != 0);
}
