#include "ScriptedPrompts.h"

#include <QPrinter>
#include <QTest>

ScriptedPrompts::ScriptedPrompts() : m_previous(Prompts::install(this)) {}

ScriptedPrompts::~ScriptedPrompts()
{
    Prompts::install(m_previous);
    // An answer left over is a prompt the test expected and the program never showed.
    if (!m_answers.isEmpty())
        QTest::qFail("a queued answer was never asked for", __FILE__, __LINE__);
}

std::optional<ScriptedPrompts::Answer> ScriptedPrompts::take(const PromptRecord &record)
{
    m_shown.append(record);
    if (!m_answers.isEmpty() && m_answers.constFirst().kind == record.kind)
        return m_answers.takeFirst();
    const QByteArray what =
        "unexpected prompt \"" + record.text.toUtf8() + "\" titled \"" + record.title.toUtf8() + '"';
    QTest::qFail(what.constData(), __FILE__, __LINE__);
    return std::nullopt;
}

MsgResult ScriptedPrompts::MsgBox(const QString &prompt, MsgButtons buttons, MsgIcon icon, const QString &title)
{
    const std::optional<Answer> answer = take({PromptRecord::Message, prompt, title, buttons, icon, {}, {}});
    if (!answer)
        return escapeAnswer(buttons);
    if (!answersOf(buttons).contains(answer->result)) {
        QTest::qFail("the queued answer is not one of the message box's buttons", __FILE__, __LINE__);
        return escapeAnswer(buttons);
    }
    return answer->result;
}

int ScriptedPrompts::Choose(const QString &prompt, const QStringList &choices, MsgIcon icon, const QString &title)
{
    const std::optional<Answer> answer =
        take({PromptRecord::Choice, prompt, title, MsgButtons::OK, icon, {}, {}, choices});
    for (int i = 0; answer && i < choices.size(); ++i)
        if (QString(choices.at(i)).remove(QLatin1Char('&')).startsWith(*answer->text))
            return i;
    if (answer)
        QTest::qFail(qPrintable(QStringLiteral("no button \"%1\" among %2").arg(*answer->text, choices.join(u", "))),
                     __FILE__, __LINE__);
    return int(choices.size()) - 1; // the last button declines, as Escape does
}

std::optional<QString> ScriptedPrompts::askText(PromptRecord record)
{
    const std::optional<Answer> answer = take(record);
    return answer ? answer->text : std::nullopt;
}

std::optional<QString> ScriptedPrompts::InputBox(const QString &prompt, const QString &title,
                                                 const QString &defaultText)
{
    return askText({PromptRecord::Input, prompt, title, MsgButtons::OK, MsgIcon::None, defaultText, {}});
}

std::optional<QString> ScriptedPrompts::PasswordBox(const QString &prompt, const QString &title)
{
    return askText({PromptRecord::Password, prompt, title});
}

std::optional<QString> ScriptedPrompts::GetOpenFileName(const FileDialogOptions &options)
{
    return askText({PromptRecord::OpenFile, options.Title, options.Title, MsgButtons::OK, MsgIcon::None, {}, options});
}

std::optional<QString> ScriptedPrompts::GetSaveFileName(const FileDialogOptions &options)
{
    return askText({PromptRecord::SaveFile, options.Title, options.Title, MsgButtons::OK, MsgIcon::None, {}, options});
}

void ScriptedPrompts::choose(const FileDialogOptions &options, const std::optional<Answer> &answer)
{
    if (!answer || !answer->choice)
        return;
    for (int i = 0; i < options.Choices.size(); ++i) {
        if (options.Chosen && options.Choices.at(i).startsWith(*answer->choice)) {
            *options.Chosen = i;
            return;
        }
    }
    QTest::qFail(qPrintable(QStringLiteral("the dialog offers no choice \"%1\"").arg(*answer->choice)), __FILE__,
                 __LINE__);
}

std::optional<QStringList> ScriptedPrompts::GetOpenFileNames(const FileDialogOptions &options)
{
    const std::optional<Answer> answer =
        take({PromptRecord::OpenFiles, options.Title, options.Title, MsgButtons::OK, MsgIcon::None, {}, options});
    choose(options, answer);
    return answer ? answer->paths : std::nullopt;
}

std::optional<QString> ScriptedPrompts::GetFolder(const FileDialogOptions &options)
{
    const std::optional<Answer> answer =
        take({PromptRecord::Folder, options.Title, options.Title, MsgButtons::OK, MsgIcon::None, {}, options});
    choose(options, answer);
    return answer ? answer->text : std::nullopt;
}

bool ScriptedPrompts::PrintDialog(QPrinter *printer, bool hasSelection)
{
    PromptRecord record{PromptRecord::Print, QStringLiteral("Print"), QStringLiteral("Print")};
    record.defaultText = hasSelection ? QStringLiteral("selection") : QString();
    const std::optional<Answer> answer = take(record);
    if (!answer || !answer->text)
        return false;
    printer->setOutputFormat(QPrinter::PdfFormat);
    printer->setOutputFileName(*answer->text);
    printer->setPrintRange(answer->result == MsgResult::Yes ? QPrinter::Selection : QPrinter::AllPages);
    return true;
}
