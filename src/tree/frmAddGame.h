#pragma once

#include <QDialog>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

// A new game in one step: its name, platform and genre. OK is offered once all three are given,
// so that a game can be added to a library that has no platform or genre to click on yet.
class frmAddGame final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmAddGame)

public:
    explicit frmAddGame(QWidget *parent = nullptr);

    // Presets the place; code 0 leaves that list unchosen.
    void Prepare(quint8 platformId, quint8 genreId);

    // The name as entered, trimmed.
    QString GameName() const;
    quint8 PlatformId() const;
    quint8 GenreId() const;

private:
    void UpdateButtons();

    QLabel *lblName;
    QLineEdit *txtName;
    QLabel *lblPlatform;
    QComboBox *cboPlatform;
    QLabel *lblGenre;
    QComboBox *cboGenre;
    QPushButton *cmdOK;
    QPushButton *cmdCancel;
};
