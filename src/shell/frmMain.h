#pragma once

#include <QMainWindow>

// The main window. For now it opens the store of the home at its first activation and reports what
// went wrong; the panes, menu and layout live in their own classes as they arrive.
class frmMain final : public QMainWindow
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmMain)

public:
    explicit frmMain(QWidget *parent = nullptr);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void Form_Activate();

    bool m_activated = false;
};
