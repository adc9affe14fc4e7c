#pragma once

#include <QObject>
#include <QString>

#include <atomic>
#include <memory>

class QTextDocument;
class QTextEdit;
template <typename T> class QFutureWatcher;

// Shows stored rich text in an editor. Of a long text the beginning shows at once while the whole
// is read on a worker thread, and the whole takes its place when it is read, the reader's place,
// selection and marks kept: the window goes on repainting and answering meanwhile (the editor lays
// a document out a piece at a time by itself). A short text shows whole at once.
class RichTextLoader final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(RichTextLoader)

public:
    // Texts longer than this, in characters, are read whole on a worker thread.
    static constexpr qsizetype threadedLength = 256 * 1024;

    explicit RichTextLoader(QTextEdit *edit);
    ~RichTextLoader() override;

    // Replaces what the editor shows with `storedRtf`, the whole of it or its beginning. Shown
    // follows at once, Completed once the whole text is in.
    void Show(const QString &storedRtf);
    // Waits for the whole text and shows it, for a command that needs all of it now.
    void Complete();
    // Forgets a text still being read; the editor keeps what it shows, as a text of its own.
    void Cancel();
    // Whether the whole text is still being read.
    bool IsLoading() const { return bool(m_stop); }
    // Whether the editor is taking over the whole of the text whose beginning it showed: the new
    // document it reports is the same text, not another.
    bool IsCompleting() const { return m_completing; }

Q_SIGNALS:
    void Shown();
    void Completed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void takeWhole(QTextDocument *whole);

    QTextEdit *m_edit;
    // The flag that stops the read under way; null when none is wanted.
    std::shared_ptr<std::atomic<bool>> m_stop;
    QFutureWatcher<QTextDocument *> *m_reading = nullptr;
    bool m_completing = false;
};
