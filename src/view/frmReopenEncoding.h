#pragma once

#include <QByteArray>
#include <QDialog>
#include <QString>

class QDialogButtonBox;
class QLabel;
class QListWidget;
class QPlainTextEdit;

// Reopen With Encoding: the encodings a plain-text file may be read in, with the first lines of the
// file as each one reads them. It only asks; the caller reads the file again and replaces the text.
class frmReopenEncoding final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmReopenEncoding)

public:
    // How many lines the preview shows.
    static constexpr int PreviewLines = 60;

    // `bytes` is the file at `path` as read now; `selected` the encoding to start on (a name
    // TextEncodings knows, any other selects none).
    frmReopenEncoding(QWidget *parent, const QString &path, const QByteArray &bytes, const QString &selected);

    // The usual name of the encoding chosen; empty while none is.
    QString Encoding() const;

protected:
    void showEvent(QShowEvent *event) override;

private:
    void showPreview();

    QLabel *lblFile;
    QListWidget *lstEncodings;
    QPlainTextEdit *txtPreview;
    QDialogButtonBox *cmdButtons;
    // Only the head is ever decoded: enough for the preview's lines, instant on any file.
    QByteArray m_head;
};
