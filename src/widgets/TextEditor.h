#pragma once

#include <QTextEdit>

// The editor of a file's text. HTML pasted or dropped into it comes in as an imported page does:
// without scripts, its nesting capped, nothing it names loaded, and only links a reader can safely
// follow kept as links. Qt's own paste would take any HTML as it stands, which a deeply nested
// page holds up for minutes and which keeps javascript: and file: links.
class TextEditor final : public QTextEdit
{
    Q_OBJECT

public:
    explicit TextEditor(QWidget *parent = nullptr);

protected:
    void insertFromMimeData(const QMimeData *source) override;
};
