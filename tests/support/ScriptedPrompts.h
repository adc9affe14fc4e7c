#pragma once

#include "system/Prompts.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// One prompt the program showed, as the user would have seen it.
struct PromptRecord
{
    enum Kind { Message, Choice, Input, Password, OpenFile, SaveFile, OpenFiles, Folder, Print };
    Kind kind = Message;
    QString text; // the message or the input box's prompt; the file dialog's title
    QString title;
    MsgButtons buttons = MsgButtons::OK;
    MsgIcon icon = MsgIcon::None;
    QString defaultText{};
    FileDialogOptions options{};
    QStringList choices{}; // a Choose box's buttons
};

// The tests' prompts: answers are queued in advance and every prompt is recorded. A prompt nobody
// queued an answer for, or one of another kind than the next answer, fails the running test and is
// answered as a user closing the dialog would; so does an answer still queued at the end.
class ScriptedPrompts final : public Prompts
{
public:
    ScriptedPrompts();           // installs itself
    ~ScriptedPrompts() override; // puts back what it replaced
    Q_DISABLE_COPY_MOVE(ScriptedPrompts)

    void answerMsgBox(MsgResult answer) { queue(PromptRecord::Message, answer); }
    // A Choose box: the button whose caption starts with `choice`.
    void answerChoice(const QString &choice) { queue(PromptRecord::Choice, MsgResult::OK, choice); }
    void answerInput(std::optional<QString> text) { queue(PromptRecord::Input, MsgResult::OK, text); }
    void answerPassword(std::optional<QString> password) { queue(PromptRecord::Password, MsgResult::OK, password); }
    void answerOpenFile(std::optional<QString> path) { queue(PromptRecord::OpenFile, MsgResult::OK, path); }
    void answerSaveFile(std::optional<QString> path) { queue(PromptRecord::SaveFile, MsgResult::OK, path); }
    // `choice`: the item of the dialog's own choice (its Encoding, say) whose text starts so.
    void answerOpenFiles(std::optional<QStringList> paths, std::optional<QString> choice = std::nullopt)
    {
        m_answers.append({PromptRecord::OpenFiles, MsgResult::OK, std::nullopt, std::move(paths), std::move(choice)});
    }
    void answerFolder(std::optional<QString> path, std::optional<QString> choice = std::nullopt)
    {
        m_answers.append({PromptRecord::Folder, MsgResult::OK, std::move(path), std::nullopt, std::move(choice)});
    }
    // The printer dialog: print to the PDF file `pdfPath` (all of it, or the selection only), or
    // nothing for Cancel.
    void answerPrint(std::optional<QString> pdfPath, bool selectionOnly = false)
    {
        queue(PromptRecord::Print, selectionOnly ? MsgResult::Yes : MsgResult::OK, pdfPath);
    }

    const QList<PromptRecord> &shown() const { return m_shown; }
    const PromptRecord &last() const { return m_shown.constLast(); }

    MsgResult MsgBox(const QString &prompt, MsgButtons buttons, MsgIcon icon, const QString &title) override;
    int Choose(const QString &prompt, const QStringList &choices, MsgIcon icon, const QString &title) override;
    std::optional<QString> InputBox(const QString &prompt, const QString &title, const QString &defaultText) override;
    std::optional<QString> PasswordBox(const QString &prompt, const QString &title) override;
    std::optional<QString> GetOpenFileName(const FileDialogOptions &options) override;
    std::optional<QString> GetSaveFileName(const FileDialogOptions &options) override;
    std::optional<QStringList> GetOpenFileNames(const FileDialogOptions &options) override;
    std::optional<QString> GetFolder(const FileDialogOptions &options) override;
    bool PrintDialog(QPrinter *printer, bool hasSelection) override;
    void Beep() override { ++m_beeps; }
    // How many times the program beeped.
    int beeps() const { return m_beeps; }

private:
    struct Answer
    {
        PromptRecord::Kind kind;
        MsgResult result;
        std::optional<QString> text;
        std::optional<QStringList> paths = std::nullopt;
        std::optional<QString> choice = std::nullopt;
    };
    void choose(const FileDialogOptions &options, const std::optional<Answer> &answer);
    void queue(PromptRecord::Kind kind, MsgResult result, std::optional<QString> text = std::nullopt)
    {
        m_answers.append({kind, result, std::move(text)});
    }
    std::optional<Answer> take(const PromptRecord &record);
    std::optional<QString> askText(PromptRecord record);

    QList<PromptRecord> m_shown;
    QList<Answer> m_answers;
    Prompts *m_previous = nullptr;
    int m_beeps = 0;
};
