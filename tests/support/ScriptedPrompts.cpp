#include "ScriptedPrompts.h"

#include <QTest>

namespace {

const char *kindName(PromptRecord::Kind kind)
{
    switch (kind) {
    case PromptRecord::Message: return "message box";
    case PromptRecord::Input: return "input box";
    case PromptRecord::OpenFile: return "open dialog";
    case PromptRecord::SaveFile: return "save dialog";
    }
    return "prompt";
}

} // namespace

ScriptedPrompts::ScriptedPrompts() : m_previous(Prompts::install(this)) {}

ScriptedPrompts::~ScriptedPrompts()
{
    Prompts::install(m_previous);
}

void ScriptedPrompts::answerMsgBox(MsgResult answer)
{
    m_answers.append({PromptRecord::Message, answer, std::nullopt});
}

void ScriptedPrompts::answerInput(std::optional<QString> text)
{
    m_answers.append({PromptRecord::Input, MsgResult::OK, std::move(text)});
}

void ScriptedPrompts::answerOpenFile(std::optional<QString> path)
{
    m_answers.append({PromptRecord::OpenFile, MsgResult::OK, std::move(path)});
}

void ScriptedPrompts::answerSaveFile(std::optional<QString> path)
{
    m_answers.append({PromptRecord::SaveFile, MsgResult::OK, std::move(path)});
}

void ScriptedPrompts::clear()
{
    m_shown.clear();
    m_answers.clear();
}

std::optional<ScriptedPrompts::Answer> ScriptedPrompts::take(const PromptRecord &record)
{
    m_shown.append(record);
    if (!m_answers.isEmpty() && m_answers.constFirst().kind == record.kind)
        return m_answers.takeFirst();
    const QByteArray what = QByteArray("unexpected ") + kindName(record.kind) + " \"" + record.text.toUtf8() +
                            "\" titled \"" + record.title.toUtf8() + '"';
    QTest::qFail(what.constData(), __FILE__, __LINE__);
    return std::nullopt;
}

MsgResult ScriptedPrompts::MsgBox(const QString &prompt, MsgButtons buttons, MsgIcon icon, const QString &title)
{
    PromptRecord record;
    record.kind = PromptRecord::Message;
    record.text = prompt;
    record.title = title;
    record.buttons = buttons;
    record.icon = icon;
    const std::optional<Answer> answer = take(record);
    if (!answer)
        return escapeAnswer(buttons);
    if (!answersOf(buttons).contains(answer->result)) {
        QTest::qFail("the queued answer is not one of the message box's buttons", __FILE__, __LINE__);
        return escapeAnswer(buttons);
    }
    return answer->result;
}

std::optional<QString> ScriptedPrompts::askText(PromptRecord record)
{
    const std::optional<Answer> answer = take(record);
    return answer ? answer->text : std::nullopt;
}

std::optional<QString> ScriptedPrompts::InputBox(const QString &prompt, const QString &title,
                                                 const QString &defaultText)
{
    PromptRecord record;
    record.kind = PromptRecord::Input;
    record.text = prompt;
    record.title = title;
    record.defaultText = defaultText;
    return askText(record);
}

std::optional<QString> ScriptedPrompts::GetOpenFileName(const FileDialogOptions &options)
{
    return askText({PromptRecord::OpenFile, options.Title, options.Title, MsgButtons::OK, MsgIcon::None, {}, options});
}

std::optional<QString> ScriptedPrompts::GetSaveFileName(const FileDialogOptions &options)
{
    return askText({PromptRecord::SaveFile, options.Title, options.Title, MsgButtons::OK, MsgIcon::None, {}, options});
}
