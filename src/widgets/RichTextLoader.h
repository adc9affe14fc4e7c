#pragma once

#include <QObject>
#include <QString>

#include <atomic>
#include <memory>

class QTextDocument;
class QTextEdit;

// Shows stored rich text in an editor. A long text is read on a worker thread and handed over when
// it is done, so that the window goes on repainting and answering meanwhile (the editor lays a
// document out a piece at a time by itself); a short one shows at once.
class RichTextLoader final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(RichTextLoader)

public:
    // Texts longer than this, in characters, are read on a worker thread.
    static constexpr qsizetype threadedLength = 256 * 1024;

    explicit RichTextLoader(QTextEdit *edit);
    ~RichTextLoader() override;

    // Replaces what the editor shows with `storedRtf`: at once, or an empty text until it is read.
    // Shown follows either way.
    void Show(const QString &storedRtf);
    // Forgets a text still being read; the editor keeps what it shows.
    void Cancel();
    bool IsLoading() const { return bool(m_stop); }

Q_SIGNALS:
    void Shown();

private:
    QTextEdit *m_edit;
    // The flag that stops the read under way; null when none is wanted.
    std::shared_ptr<std::atomic<bool>> m_stop;
};
