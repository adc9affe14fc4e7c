#pragma once

#include "system/Prompts.h"

// The program's prompts: Qt's message box, input dialog and file dialogs, parented to the window the
// user is working in.
class QtPrompts final : public Prompts
{
public:
    MsgResult MsgBox(const QString &prompt, MsgButtons buttons, MsgIcon icon, const QString &title) override;
    int Choose(const QString &prompt, const QStringList &choices, MsgIcon icon, const QString &title) override;
    std::optional<QString> InputBox(const QString &prompt, const QString &title, const QString &defaultText) override;
    std::optional<QString> PasswordBox(const QString &prompt, const QString &title) override;
    std::optional<QString> GetOpenFileName(const FileDialogOptions &options) override;
    std::optional<QString> GetSaveFileName(const FileDialogOptions &options) override;
    std::optional<QStringList> GetOpenFileNames(const FileDialogOptions &options) override;
    std::optional<QString> GetFolder(const FileDialogOptions &options) override;
    bool PrintDialog(QPrinter *printer, bool hasSelection) override;
    void Beep() override;
};
