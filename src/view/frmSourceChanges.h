#pragma once

#include "data/FileTable.h"
#include "reader/TextDiff.h"

#include <QByteArray>
#include <QDateTime>
#include <QDialog>
#include <QFutureWatcher>
#include <QUrl>
#include <QVector>

#include <atomic>
#include <memory>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class modADO;

// Check Source For Changes: the text a file keeps beside the text its web page gives now, side by
// side with what changed marked. Update makes the page's text the file's (its snapshot joins the
// file's history); Keep leaves everything as it is.
class frmSourceChanges final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(frmSourceChanges)

public:
    // `stored` is the file as read from `store` (its text included); `pageRtf` the page's text as a
    // new import would keep it, taken from `address` at `captured` (UTC) with its snapshot `mhtml`
    // (may be empty). The comparison starts at once, on a worker thread.
    frmSourceChanges(QWidget *parent, modADO *store, const FileRow &stored, const QString &pageRtf, const QUrl &address,
                     const QDateTime &captured, const QByteArray &mhtml);
    ~frmSourceChanges() override;

    // Whether the page's text reads otherwise than the stored one (blanks aside): when it does not,
    // there is nothing to show.
    static bool HasChanges(const QString &storedRtf, const QString &pageRtf);

    // The file as stored by Update, for the views to show; meaningful once the dialog was accepted.
    FileRow Updated() const { return m_updated; }

Q_SIGNALS:
    // The comparison is done and shown.
    void Compared();

private:
    void showComparison();
    void markRows(const QVector<TextDiff::Row> &rows);
    void goToChange(int step);
    void followScroll(QPlainTextEdit *from, QPlainTextEdit *to);
    void update();
    bool store(bool *replaced, ErrObject *err);

    QLabel *lblSummary;
    QLabel *lblStored;
    QLabel *lblPage;
    QPlainTextEdit *txtStored;
    QPlainTextEdit *txtPage;
    QPushButton *cmdPrevious;
    QPushButton *cmdNext;
    QPushButton *cmdUpdate;
    QPushButton *cmdKeep;

    modADO *m_store;
    FileRow m_stored;
    QString m_pageRtf;
    QUrl m_address;
    QDateTime m_captured;
    QByteArray m_mhtml;
    FileRow m_updated;

    std::shared_ptr<std::atomic<bool>> m_stop;
    QFutureWatcher<TextDiff::Result> m_comparison;
    // The first row of each run of changed rows, and the one last gone to (-1 for none).
    QVector<int> m_changes;
    int m_current = -1;
    bool m_following = false;
};
