#pragma once

#include <QDialog>
#include <QStringList>

class QCheckBox;
class QLabel;
class QPushButton;

// The tip of the day: one tip at a time from a tips file (a tip a line), Previous and Next to move
// through them, and whether tips come up at every start. OK reports that choice; closing the
// window any other way reports nothing.
class TipOfTheDay final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TipOfTheDay)

public:
    explicit TipOfTheDay(QWidget *parent = nullptr);

    // Reads the tips and shows the window, `bytLoadWithStart` (0 or 1) ticking the start-up box,
    // without waiting for it to close. Each showing begins at the tip after the one shown last.
    void Show(const QString &tipsPath, quint8 bytLoadWithStart);

    // The tips read; empty when the file was missing or held none.
    const QStringList &Tips() const { return m_tips; }
    // The tip shown, counting from 0; -1 when there is none.
    int Current() const { return m_current; }
    // Reads a tips file: one tip a line, blank lines and lines starting with "#" left out. False
    // when it cannot be read.
    static bool ReadTips(const QString &path, QStringList *tips, QString *error);

    QLabel *lblTip;
    QLabel *lblNumber;
    QCheckBox *chkLoadWithStart;
    QPushButton *cmdPrevious;
    QPushButton *cmdNext;
    QPushButton *cmdOK;

Q_SIGNALS:
    void OKClick(quint8 bytLoadWithStart);

private:
    void showTip(int index);
    void cmdOK_Click();

    QStringList m_tips;
    int m_current = -1;
};
