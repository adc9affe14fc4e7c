#pragma once

#include <QColor>
#include <QToolBar>

class QAction;
class QComboBox;
class QTextCharFormat;
class QTextEdit;

// The formatting buttons of a rich-text editor: bold, italic, underline, font size and colour. They
// follow the format at the editor's cursor and change the selection, or the word under the cursor and
// what is typed next when nothing is selected, as word processors do. A read-only editor is never
// changed.
class RichTextToolBar final : public QToolBar
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(RichTextToolBar)

public:
    explicit RichTextToolBar(QTextEdit *editor, QWidget *parent = nullptr);

    void ApplyColor(const QColor &color);
    // Sizes in points; anything outside what RTF can hold is ignored.
    void ApplyFontSize(qreal points);

protected:
    void changeEvent(QEvent *event) override;

private:
    void MergeFormat(const QTextCharFormat &format);
    void ShowFormat(const QTextCharFormat &format);
    void ApplySizeText(const QString &text);
    void ChooseColor();
    void ShowColor(const QColor &color);

    QTextEdit *m_editor;
    QAction *cmdBold;
    QAction *cmdItalic;
    QAction *cmdUnderline;
    QComboBox *cboFontSize;
    QAction *cmdColor;
    QColor m_color;
};
