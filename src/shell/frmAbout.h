#pragma once

#include <QDialog>

class QLabel;
class QPushButton;

// "About Lorekeep": the logo, the version, the libraries in use and the licence.
class frmAbout final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmAbout)

public:
    explicit frmAbout(QWidget *parent = nullptr);

    // The libraries Lorekeep runs on and their versions in use, one line.
    static QString LibraryVersions();

    QLabel *picIcon;
    QLabel *lblVersion;
    QLabel *lblLibraries;
    QLabel *lblLicence;
    QPushButton *cmdLicence;
    QPushButton *cmdOK;

private:
    void cmdLicence_Click();
};
