#pragma once

#include <QDialog>

class QButtonGroup;
class QCheckBox;
class QLineEdit;
class QPushButton;
class QRadioButton;

// "Options": the browser's start page and whether imported pages keep their pictures, whether the window's layout is
// remembered, and how the file list shows its files. Everything is read when the dialog opens and written by OK alone.
class frmOptions final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmOptions)

public:
    explicit frmOptions(QWidget *parent = nullptr);

    QLineEdit *txtURL;
    QPushButton *cmdSelect;
    QCheckBox *chkPictures;
    QCheckBox *chkAppLayout;
    // Indexed by the list style each stands for: 3 the report view, 0 large icons.
    QRadioButton *optView3;
    QRadioButton *optView0;
    QPushButton *cmdOK;
    QPushButton *cmdCancel;

Q_SIGNALS:
    // OK has stored a list style that the file list should show at once.
    void Re_View();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void Form_Load();
    void cmdSelect_Click();
    void cmdOK_Click();

    QButtonGroup *m_views;
};
