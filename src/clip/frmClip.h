#pragma once

#include <QDialog>
#include <QString>

class QAction;
class QMenu;
class QMenuBar;
class QTextEdit;

// "Quick Clip Viewer": shows the clips collected from the file viewer, or a Quick Clip file the user
// opened, and saves, adds, clears and prints them. The text can be selected and copied, not edited.
// The host shows it modally.
class frmClip final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmClip)

public:
    explicit frmClip(QWidget *parent = nullptr);
    ~frmClip() override;

    // Places the window, picks the font and shows the pending clips; runs once, at the first show.
    void Form_Load();

    // The menu's commands.
    void mnuFileOpen_Click();
    // Shows the Quick Clip file `path` in place of the pending clips; false (and the error shown)
    // when it cannot be read.
    bool OpenClip(const QString &path);
    void mnuFileSaveAs_Click();
    void mnuFileClear_Click();
    void mnuAddTo_Click();
    void mnuFilePrint_Click();
    void mnuFont_Click(const QString &name);

    // The text shown, line ends as "\n".
    QString Text() const { return m_text; }

    void setVisible(bool visible) override;
    void done(int result) override;

private:
    void buildMenu(QMenuBar *bar);
    // Save As, Add To and Print follow `enable`; Clear also, except while a Quick Clip file is shown
    // (`mode` 1), whose text is not the pending clips'.
    void Enable(bool enable, quint8 mode);
    void showText(const QString &text);
    void applyFont(const QString &name);

    QTextEdit *txtRTF;
    QMenu *mnuFile = nullptr;
    QAction *mnuFileOpen = nullptr;
    QAction *mnuFileSaveAs = nullptr;
    QAction *mnuFileClear = nullptr;
    QAction *mnuAddTo = nullptr;
    QAction *mnuFilePrint = nullptr;
    QAction *mnuFileExit = nullptr;
    QMenu *mnuFont = nullptr;
    QAction *mnuFontFixedsys = nullptr;
    QAction *mnuFontCourierNew = nullptr;

    QString m_text;
    // The Quick Clip file shown; empty while the window shows the pending clips.
    QString m_shownFile;
    bool m_loaded = false;
};
