#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QWidget>

class modADO;

class QAction;
class QColor;
class QComboBox;
class QLabel;
class QLineEdit;
class QTextEdit;
class RichTextLoader;
class QToolBar;
class RichTextToolBar;
struct ErrObject;
struct FileRow;
struct SourceMatch;

// The window in which the user reads, edits or writes one file of a game. It stores the file row
// itself and then reports what it stored, so that whoever lists the file can follow. Several may be
// open at once; each deletes itself when closed.
class FileViewer final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FileViewer)

public:
    enum Mode : quint8 { ViewMode = 0, EditMode = 1, NewMode = 2 };

    explicit FileViewer(QWidget *parent = nullptr);

    void setStore(modADO *store);
    // Full path of the error log file; without one, failures go to the home's error log.
    void setErrorLog(const QString &path);

    // Fills the window and shows it. A new file is stored under lngGameId; the platform and genre only
    // travel back with AddFile.
    void Open(quint8 bytMode, quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, const QString &strGame,
              qint32 lngFileId, quint8 bytSubCat, const QString &strSource, const QString &strDesc,
              const QString &strTextRTF);

    // For a page import whose address no file had when it began: Save checks again, in the same
    // step as the saving, and asks before storing a page that another import stored meanwhile.
    void setAskIfSourceStored(bool ask) { m_askIfSourceStored = ask; }
    // The page a new file is taken from, as it was: kept with the file, in the same step, when the
    // file is first saved.
    void setSnapshot(const QString &address, const QDateTime &captured, const QByteArray &mhtml);
    // "This page is already in Lorekeep as ... Import it again?"
    static QString AlreadyStoredPrompt(const SourceMatch &match);

    quint8 CurrentMode() const { return m_mode; }
    qint32 FileId() const { return m_fileId; }
    bool IsDirty() const { return m_dirty; }

    // False when nothing was stored: input refused, the store failed, the window only views, or the
    // file changed elsewhere since it was opened and the user did not choose to save over it or
    // beside it.
    bool Save();
    // Closes the open file windows that are children of `owner`, each asking about unsaved
    // changes; false when the user kept one open.
    static bool CloseAll(QObject *owner);
    void ApplyColor(const QColor &color);
    // The text of `row` was replaced in the store: the open windows showing that file show the new
    // text, except one with changes of its own, whose save will find the file changed.
    static void FollowReplaced(const FileRow &row);

Q_SIGNALS:
    void AddFile(quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, qint32 lngFileId, quint8 bytSubCat,
                 const QString &strSource, const QString &strDesc, const QString &strTextRTF);
    void SaveEdit(qint32 lngFileId, quint8 bytSubCat, const QString &strSource, const QString &strDesc,
                  const QString &strTextRTF);
    void PrintInfo(const QString &strTitle, const QString &strFile, const QString &strSource,
                   const QString &strTextRTF);

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    enum class SaveOutcome : quint8 { Stored, NotStored, Discarded };
    enum class Rewrite : quint8 { Stored, Changed, Deleted, Failed };

    SaveOutcome Store(bool closing);
    Rewrite RewriteIfUnchanged(const FileRow &row, FileRow *current, ErrObject *err);
    SaveOutcome ChangedElsewhere(const FileRow &row, const FileRow &current, bool closing);
    SaveOutcome DeletedElsewhere(const FileRow &row);
    bool SaveAsNew(FileRow row);
    void Stored(const FileRow &row, bool added);
    void ShowStored(const FileRow &current, bool closing);
    void ReportFailure(const ErrObject &err);
    // "The file "..." of <game>", as the questions about it name it.
    QString NamedFile() const;
    void ApplyMode();
    void UpdateTitle();
    void MarkDirty();
    void SetDirty(bool dirty);
    void SelectSubCat(quint8 code);
    quint8 SelectedSubCat() const;
    bool Refuse(const QString &prompt, QWidget *field);
    bool AddRow(const FileRow &row, qint32 *newId, ErrObject *err);
    bool AddWithSnapshot(const FileRow &row, qint32 *newId, ErrObject *err);
    void LoadText(const QString &rtf);
    void TextShown();
    void TextCompleted();
    QString DocumentRtf() const;
    void Print();

    QLabel *lblSubCat;
    QComboBox *cboSubCat;
    QLabel *lblDesc;
    QLineEdit *txtDesc;
    QLabel *lblSource;
    QLineEdit *txtSource;
    QTextEdit *rtbText;
    QToolBar *tbrMain;
    QAction *cmdSave;
    QAction *cmdEdit;
    QAction *cmdPrint;
    QAction *cmdClose;
    // Whether a fixed-pitch text wraps at the window's edge; the last choice is kept for new windows.
    QAction *cmdWrap;
    RichTextToolBar *tbrFormat;

    modADO *m_store = nullptr;
    QString m_errorLog;
    quint8 m_mode = ViewMode;
    quint8 m_platformId = 0;
    quint8 m_genreId = 0;
    qint32 m_gameId = 0;
    QString m_game;
    qint32 m_fileId = 0;
    // The description as last loaded or stored, which the title shows.
    QString m_desc;
    // The whole text while the window reads it, or when it shows only its beginning: the text is
    // read-only meanwhile, and saving and printing take this instead of what is shown.
    QString m_wholeText;
    RichTextLoader *m_textLoader; // after rtbText, whose document it fills
    // The text, sub-category and source as last loaded or stored: with m_desc, what a save expects
    // to find in the store, or someone else changed the file meanwhile.
    QString m_storedRtf;
    quint8 m_storedSubCat = 0;
    QString m_storedSource;
    bool m_dirty = false;
    bool m_askIfSourceStored = false;
    bool m_loading = false;
    // The page snapshot still to be stored with a new file.
    QString m_snapshotAddress;
    QDateTime m_snapshotCaptured;
    QByteArray m_snapshotMhtml;
};
