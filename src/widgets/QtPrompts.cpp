#include "QtPrompts.h"

#include <QApplication>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHash>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPrintDialog>
#include <QPushButton>

#include <algorithm>

namespace {

QWidget *dialogParent()
{
    return QApplication::activeModalWidget() ? QApplication::activeModalWidget() : QApplication::activeWindow();
}

QMessageBox::StandardButton standardButton(MsgResult answer)
{
    switch (answer) {
    case MsgResult::OK: return QMessageBox::Ok;
    case MsgResult::Cancel: return QMessageBox::Cancel;
    case MsgResult::Abort: return QMessageBox::Abort;
    case MsgResult::Retry: return QMessageBox::Retry;
    case MsgResult::Ignore: return QMessageBox::Ignore;
    case MsgResult::Yes: return QMessageBox::Yes;
    case MsgResult::No: return QMessageBox::No;
    }
    return QMessageBox::Ok;
}

QMessageBox::Icon messageIcon(MsgIcon icon)
{
    switch (icon) {
    case MsgIcon::None: return QMessageBox::NoIcon;
    case MsgIcon::Critical: return QMessageBox::Critical;
    case MsgIcon::Question: return QMessageBox::Question;
    case MsgIcon::Exclamation: return QMessageBox::Warning;
    case MsgIcon::Information: return QMessageBox::Information;
    }
    return QMessageBox::NoIcon;
}

void setUp(QFileDialog &dialog, const FileDialogOptions &options)
{
    dialog.setWindowTitle(options.Title);
    const QString filter = Prompts::qtFilter(options.Filter);
    if (!filter.isEmpty())
        dialog.setNameFilters(filter.split(QStringLiteral(";;")));
    if (!options.InitDir.isEmpty())
        dialog.setDirectory(options.InitDir);
    if (!options.FileName.isEmpty())
        dialog.selectFile(options.FileName);
    if (!options.DefaultExt.isEmpty())
        dialog.setDefaultSuffix(options.DefaultExt);
}

// The options' choice as a row of the dialog's own grid, under the file name and type. The system's
// dialog takes no rows of ours, so Qt's own is used then. Null without a choice.
QComboBox *addChoice(QFileDialog &dialog, const FileDialogOptions &options)
{
    if (options.Choices.isEmpty())
        return nullptr;
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    auto *grid = qobject_cast<QGridLayout *>(dialog.layout());
    if (!grid)
        return nullptr;
    auto *choice = new QComboBox(&dialog);
    choice->setObjectName(QStringLiteral("cboChoice"));
    choice->addItems(options.Choices);
    choice->setCurrentIndex(options.Chosen ? std::clamp(*options.Chosen, 0, int(options.Choices.size()) - 1) : 0);
    auto *label = new QLabel(options.ChoiceLabel, &dialog);
    label->setBuddy(choice);
    const int row = grid->rowCount();
    grid->addWidget(label, row, 0);
    grid->addWidget(choice, row, 1);
    return choice;
}

std::optional<QStringList> runFileDialog(QFileDialog &dialog, const FileDialogOptions &options)
{
    const QComboBox *choice = addChoice(dialog, options);
    QGuiApplication::setOverrideCursor(Qt::ArrowCursor);
    const bool accepted = dialog.exec() == QDialog::Accepted && !dialog.selectedFiles().isEmpty();
    QGuiApplication::restoreOverrideCursor();
    if (!accepted)
        return std::nullopt;
    if (choice && options.Chosen)
        *options.Chosen = choice->currentIndex();
    return dialog.selectedFiles();
}

std::optional<QString> firstOf(const std::optional<QStringList> &paths)
{
    return paths ? std::optional<QString>(paths->constFirst()) : std::nullopt;
}

// A line of text asked for in a box of its own; none when the user cancels.
std::optional<QString> askText(const QString &prompt, const QString &title, const QString &defaultText,
                               QLineEdit::EchoMode echo)
{
    QInputDialog dialog(dialogParent());
    dialog.setWindowTitle(title);
    dialog.setLabelText(prompt);
    dialog.setTextValue(defaultText);
    dialog.setTextEchoMode(echo);
    QGuiApplication::setOverrideCursor(Qt::ArrowCursor);
    const bool accepted = dialog.exec() == QDialog::Accepted;
    QGuiApplication::restoreOverrideCursor();
    if (!accepted)
        return std::nullopt;
    return dialog.textValue();
}

} // namespace

MsgResult QtPrompts::MsgBox(const QString &prompt, MsgButtons buttons, MsgIcon icon, const QString &title)
{
    // Messages are written with CR LF line breaks; a label wants plain line feeds.
    QString text = prompt;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    QMessageBox box(messageIcon(icon), title, text, QMessageBox::NoButton, dialogParent());
    box.setTextFormat(Qt::PlainText);
    const QList<MsgResult> answers = answersOf(buttons);
    QHash<QAbstractButton *, MsgResult> answerOf;
    for (MsgResult answer : answers)
        answerOf.insert(box.addButton(standardButton(answer)), answer);
    // The first button is the default one, as users of message boxes expect.
    box.setDefaultButton(standardButton(answers.constFirst()));
    box.setEscapeButton(box.button(standardButton(escapeAnswer(buttons))));
    QGuiApplication::setOverrideCursor(Qt::ArrowCursor);
    box.exec();
    QGuiApplication::restoreOverrideCursor();
    return answerOf.value(box.clickedButton(), escapeAnswer(buttons));
}

int QtPrompts::Choose(const QString &prompt, const QStringList &choices, MsgIcon icon, const QString &title)
{
    if (choices.isEmpty())
        return -1;
    QMessageBox box(messageIcon(icon), title, prompt, QMessageBox::NoButton, dialogParent());
    box.setTextFormat(Qt::PlainText);
    QList<QAbstractButton *> buttons;
    for (qsizetype i = 0; i < choices.size(); ++i)
        buttons << box.addButton(choices.at(i),
                                 i + 1 == choices.size() ? QMessageBox::RejectRole : QMessageBox::AcceptRole);
    box.setDefaultButton(qobject_cast<QPushButton *>(buttons.constFirst()));
    box.setEscapeButton(buttons.constLast());
    QGuiApplication::setOverrideCursor(Qt::ArrowCursor);
    box.exec();
    QGuiApplication::restoreOverrideCursor();
    const qsizetype chosen = buttons.indexOf(box.clickedButton());
    return int(chosen < 0 ? choices.size() - 1 : chosen);
}

std::optional<QString> QtPrompts::InputBox(const QString &prompt, const QString &title, const QString &defaultText)
{
    return askText(prompt, title, defaultText, QLineEdit::Normal);
}

std::optional<QString> QtPrompts::PasswordBox(const QString &prompt, const QString &title)
{
    return askText(prompt, title, QString(), QLineEdit::Password);
}

std::optional<QString> QtPrompts::GetOpenFileName(const FileDialogOptions &options)
{
    QFileDialog dialog(dialogParent());
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(QFileDialog::ExistingFile);
    setUp(dialog, options);
    return firstOf(runFileDialog(dialog, options));
}

std::optional<QString> QtPrompts::GetSaveFileName(const FileDialogOptions &options)
{
    QFileDialog dialog(dialogParent());
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    // The callers ask their own "already exists" question where the program needs one.
    dialog.setOption(QFileDialog::DontConfirmOverwrite);
    setUp(dialog, options);
    return firstOf(runFileDialog(dialog, options));
}

std::optional<QStringList> QtPrompts::GetOpenFileNames(const FileDialogOptions &options)
{
    QFileDialog dialog(dialogParent());
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(QFileDialog::ExistingFiles);
    setUp(dialog, options);
    return runFileDialog(dialog, options);
}

std::optional<QString> QtPrompts::GetFolder(const FileDialogOptions &options)
{
    QFileDialog dialog(dialogParent());
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    setUp(dialog, options);
    return firstOf(runFileDialog(dialog, options));
}

bool QtPrompts::PrintDialog(QPrinter *printer, bool hasSelection)
{
    QPrintDialog dialog(printer, dialogParent());
    dialog.setOption(QAbstractPrintDialog::PrintSelection, hasSelection);
    dialog.setOption(QAbstractPrintDialog::PrintPageRange, false);
    return dialog.exec() == QDialog::Accepted;
}

void QtPrompts::Beep()
{
    QApplication::beep();
}
