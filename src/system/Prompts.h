#pragma once

#include <QString>
#include <QStringList>

#include <optional>

class QPrinter;

enum class MsgButtons { OK, OKCancel, AbortRetryIgnore, YesNoCancel, YesNo, RetryCancel };
enum class MsgIcon { None, Critical, Question, Exclamation, Information };
enum class MsgResult { OK, Cancel, Abort, Retry, Ignore, Yes, No };

// How an open or save dialog is set up. The filter is written as description|pattern pairs
// ("Lorekeep Files *.lkb|*.lkb"), several patterns of one pair separated by ";".
struct FileDialogOptions
{
    QString Title;
    QString Filter;
    QString InitDir;
    QString FileName;
    QString DefaultExt; // without the dot, appended when the user typed a name without one
    // A choice an open or folder dialog offers beside the file name: its label ("&Encoding:") and
    // items, the first the default. When the dialog is accepted the index chosen goes to *Chosen.
    // None when there are no items.
    QString ChoiceLabel;
    QStringList Choices;
    int *Chosen = nullptr;
};

// Every question the program asks the user goes through this seam: the program installs the Qt
// dialogs, tests install a scripted double that answers from a queue. Until something is installed,
// prompts go to standard error and take the answer that cancels or declines.
class Prompts
{
public:
    virtual ~Prompts() = default;

    virtual MsgResult MsgBox(const QString &prompt, MsgButtons buttons, MsgIcon icon, const QString &title) = 0;
    // A question answered by buttons of its own: `choices` left to right, the first the default and
    // the last the answer of Esc or the close box (so it should decline). The index of the answer.
    virtual int Choose(const QString &prompt, const QStringList &choices, MsgIcon icon, const QString &title);
    // The text entered, or nothing when the box was cancelled.
    virtual std::optional<QString> InputBox(const QString &prompt, const QString &title,
                                            const QString &defaultText) = 0;
    // A password, typed where it is not shown; nothing when the box was cancelled. Until a
    // program's prompts answer it, nothing.
    virtual std::optional<QString> PasswordBox(const QString &prompt, const QString &title);
    // The chosen path, or nothing when the dialog was cancelled.
    virtual std::optional<QString> GetOpenFileName(const FileDialogOptions &options) = 0;
    virtual std::optional<QString> GetSaveFileName(const FileDialogOptions &options) = 0;
    // The chosen existing files (one or more), or nothing when the dialog was cancelled.
    virtual std::optional<QStringList> GetOpenFileNames(const FileDialogOptions &options) = 0;
    // The chosen existing folder, or nothing when the dialog was cancelled; only the title and the
    // starting folder of `options` apply.
    virtual std::optional<QString> GetFolder(const FileDialogOptions &options) = 0;
    // The printer dialog for `printer`, which it sets up as the user chooses; `hasSelection` offers
    // printing only the selected text. False when the dialog was cancelled.
    virtual bool PrintDialog(QPrinter *printer, bool hasSelection) = 0;
    // The short sound that tells the user an entry was refused (an empty name, an unchanged one).
    virtual void Beep() = 0;

    // The installed prompts; never null.
    static Prompts &current();
    // Installs `prompts` (not owned) and returns the one it replaces; nullptr restores the default.
    static Prompts *install(Prompts *prompts);

    // The answer a dialog gives when the user closes it without choosing (Esc or the close box).
    static MsgResult escapeAnswer(MsgButtons buttons);
    static QList<MsgResult> answersOf(MsgButtons buttons);
    // "desc|pattern|desc|pattern" → Qt's "desc (pattern);;desc (pattern)".
    static QString qtFilter(const QString &filter);
};

// Convenience for the common case: title "Lorekeep" and the OK button.
MsgResult MsgBox(const QString &prompt, MsgButtons buttons = MsgButtons::OK, MsgIcon icon = MsgIcon::None,
                 const QString &title = QStringLiteral("Lorekeep"));
