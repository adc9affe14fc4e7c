#pragma once

#include <QWidget>

class QLabel;

// The window shown while the main window opens the store and loads the tree: the home's logo and
// the version. A key or a click takes it down early.
class frmSplash final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmSplash)

public:
    explicit frmSplash(QWidget *parent = nullptr);

    // Shows the window in the middle of the screen.
    void ShowCentred();

    // "Version " major.minor.revision of this build.
    static QString VersionText();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    QLabel *imgLogo;
    QLabel *lblVersion;
};
