#include "Prompts.h"

#include <QTextStream>

namespace {

// Prompts for a process without windows (the command-line tools): say it on standard error and
// take the answer that changes nothing.
class ConsolePrompts final : public Prompts
{
public:
    MsgResult MsgBox(const QString &prompt, MsgButtons buttons, MsgIcon, const QString &title) override
    {
        QTextStream(stderr) << title << ": " << prompt << Qt::endl;
        return escapeAnswer(buttons);
    }
    std::optional<QString> InputBox(const QString &, const QString &, const QString &) override { return std::nullopt; }
    std::optional<QString> GetOpenFileName(const FileDialogOptions &) override { return std::nullopt; }
    std::optional<QString> GetSaveFileName(const FileDialogOptions &) override { return std::nullopt; }
    std::optional<QStringList> GetOpenFileNames(const FileDialogOptions &) override { return std::nullopt; }
    std::optional<QString> GetFolder(const FileDialogOptions &) override { return std::nullopt; }
    bool PrintDialog(QPrinter *, bool) override { return false; }
    void Beep() override {}
};

ConsolePrompts g_console;
Prompts *g_current = nullptr;

} // namespace

Prompts &Prompts::current()
{
    return g_current ? *g_current : static_cast<Prompts &>(g_console);
}

Prompts *Prompts::install(Prompts *prompts)
{
    Prompts *previous = g_current;
    g_current = prompts;
    return previous;
}

int Prompts::Choose(const QString &prompt, const QStringList &choices, MsgIcon, const QString &title)
{
    QTextStream(stderr) << title << ": " << prompt << Qt::endl;
    return int(choices.size()) - 1;
}

std::optional<QString> Prompts::PasswordBox(const QString &prompt, const QString &title)
{
    QTextStream(stderr) << title << ": " << prompt << Qt::endl;
    return std::nullopt;
}

QList<MsgResult> Prompts::answersOf(MsgButtons buttons)
{
    switch (buttons) {
    case MsgButtons::OK: return {MsgResult::OK};
    case MsgButtons::OKCancel: return {MsgResult::OK, MsgResult::Cancel};
    case MsgButtons::AbortRetryIgnore: return {MsgResult::Abort, MsgResult::Retry, MsgResult::Ignore};
    case MsgButtons::YesNoCancel: return {MsgResult::Yes, MsgResult::No, MsgResult::Cancel};
    case MsgButtons::YesNo: return {MsgResult::Yes, MsgResult::No};
    case MsgButtons::RetryCancel: return {MsgResult::Retry, MsgResult::Cancel};
    }
    return {MsgResult::OK};
}

MsgResult Prompts::escapeAnswer(MsgButtons buttons)
{
    const QList<MsgResult> answers = answersOf(buttons);
    if (answers.contains(MsgResult::Cancel))
        return MsgResult::Cancel;
    if (answers.contains(MsgResult::No))
        return MsgResult::No;
    if (answers.contains(MsgResult::Abort))
        return MsgResult::Abort;
    return MsgResult::OK;
}

QString Prompts::qtFilter(const QString &filter)
{
    const QStringList parts = filter.split(QLatin1Char('|'));
    QStringList out;
    for (int i = 0; i + 1 < parts.size(); i += 2) {
        QString patterns = parts.at(i + 1).trimmed();
        patterns.replace(QLatin1Char(';'), QLatin1Char(' '));
        if (patterns.isEmpty())
            continue;
        out << parts.at(i).trimmed() + QStringLiteral(" (") + patterns + QLatin1Char(')');
    }
    return out.join(QStringLiteral(";;"));
}

MsgResult MsgBox(const QString &prompt, MsgButtons buttons, MsgIcon icon, const QString &title)
{
    return Prompts::current().MsgBox(prompt, buttons, icon, title);
}
