#include "FileViewer.h"

#include "RichTextToolBar.h"
#include "data/FileTable.h"
#include "data/ShortDesc.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "reader/TextReader.h"
#include "rtf/RtfWriter.h"
#include "system/ErrObject.h"
#include "system/Prompts.h"
#include "system/SettingsStore.h"
#include "widgets/KeyboardAccess.h"
#include "widgets/RichText.h"
#include "widgets/RichTextLoader.h"
#include "widgets/TextEditor.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QFormLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QStyle>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>
#include <QToolBar>
#include <QVBoxLayout>

namespace {

QAction *command(QToolBar *bar, const char *name, const QString &text, const QIcon &icon)
{
    auto *action = bar->addAction(icon, text);
    action->setObjectName(QLatin1String(name));
    return action;
}

QIcon themeIcon(const char *name, const QWidget *widget, QStyle::StandardPixmap fallback)
{
    return QIcon::fromTheme(QLatin1String(name), widget->style()->standardIcon(fallback, nullptr, widget));
}

} // namespace

FileViewer::FileViewer(QWidget *parent)
    : QWidget(parent, Qt::Window),
      lblSubCat(new QLabel(QStringLiteral("Category:"), this)),
      cboSubCat(new QComboBox(this)),
      lblDesc(new QLabel(QStringLiteral("Description:"), this)),
      txtDesc(new QLineEdit(this)),
      lblSource(new QLabel(QStringLiteral("Source:"), this)),
      txtSource(new QLineEdit(this)),
      rtbText(new TextEditor(this)),
      tbrMain(new QToolBar(QStringLiteral("File"), this)),
      cmdSave(command(tbrMain, "cmdSave", QStringLiteral("Save"),
                      themeIcon("document-save", this, QStyle::SP_DialogSaveButton))),
      cmdEdit(command(tbrMain, "cmdEdit", QStringLiteral("Edit"),
                      themeIcon("document-edit", this, QStyle::SP_FileDialogDetailedView))),
      cmdPrint(command(tbrMain, "cmdPrint", QStringLiteral("Print..."),
                       themeIcon("document-print", this, QStyle::SP_FileIcon))),
      cmdClose(command(tbrMain, "cmdClose", QStringLiteral("Close"),
                       themeIcon("window-close", this, QStyle::SP_DialogCloseButton))),
      cmdWrap(command(tbrMain, "cmdWrap", QStringLiteral("Wrap Lines"),
                      themeIcon("format-justify-left", this, QStyle::SP_ArrowForward))),
      tbrFormat(new RichTextToolBar(rtbText, this)),
      m_textLoader(new RichTextLoader(rtbText))
{
    setObjectName(QStringLiteral("FileViewer"));
    setAttribute(Qt::WA_DeleteOnClose);
    if (!QGuiApplication::windowIcon().isNull())
        setWindowIcon(QGuiApplication::windowIcon());
    lblSubCat->setObjectName(QStringLiteral("lblSubCat"));
    cboSubCat->setObjectName(QStringLiteral("cboSubCat"));
    lblDesc->setObjectName(QStringLiteral("lblDesc"));
    txtDesc->setObjectName(QStringLiteral("txtDesc"));
    lblSource->setObjectName(QStringLiteral("lblSource"));
    txtSource->setObjectName(QStringLiteral("txtSource"));
    rtbText->setObjectName(QStringLiteral("rtbText"));
    tbrMain->setObjectName(QStringLiteral("tbrMain"));
    tbrFormat->setObjectName(QStringLiteral("tbrFormat"));

    for (quint8 code = 1; code <= modNames::SubCatCount; ++code)
        cboSubCat->addItem(modNames::GetSubCatName(code), code);
    cboSubCat->setPlaceholderText(QStringLiteral("Choose a category"));
    cboSubCat->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    lblSubCat->setBuddy(cboSubCat);
    lblDesc->setBuddy(txtDesc);
    lblSource->setBuddy(txtSource);

    cmdSave->setShortcut(QKeySequence::Save);
    cmdPrint->setShortcut(QKeySequence::Print);
    QList<QKeySequence> closeKeys{QKeySequence(Qt::Key_Escape)};
    closeKeys += QKeySequence::keyBindings(QKeySequence::Close);
    cmdClose->setShortcuts(closeKeys);
    for (QAction *action : {cmdSave, cmdPrint, cmdClose}) {
        action->setToolTip(action->text().remove(QStringLiteral("...")) + QStringLiteral(" (") +
                           action->shortcut().toString(QKeySequence::NativeText) + QLatin1Char(')'));
    }
    cmdEdit->setToolTip(QStringLiteral("Edit this file"));
    cmdWrap->setCheckable(true);
    cmdWrap->setChecked(SettingNumber(GetSetting(SettingKeys::FileWindowWrapLines)) == 1L);
    cmdWrap->setEnabled(false);
    cmdWrap->setToolTip(QStringLiteral("Wrap the lines of a fixed-pitch text at the window's edge"));
    tbrMain->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    // The text with its find bar and list of sections, shown and hidden from the toolbar.
    auto *reader = new TextReader(rtbText, this);
    tbrMain->addAction(reader->SectionsAction());
    OpenToKeyboard(tbrMain);
    rtbText->setAccessibleName(QStringLiteral("Text"));
    LeaveWithCtrlTab(rtbText);

    auto *bars = new QHBoxLayout;
    bars->setSpacing(0);
    bars->addWidget(tbrMain);
    bars->addWidget(tbrFormat);
    bars->addStretch(1);

    auto *fields = new QFormLayout;
    fields->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    fields->addRow(lblSubCat, cboSubCat);
    fields->addRow(lblDesc, txtDesc);
    fields->addRow(lblSource, txtSource);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(bars);
    layout->addLayout(fields);
    layout->addWidget(reader, 1);
    resize(720, 560);

    connect(cmdSave, &QAction::triggered, this, &FileViewer::Save);
    connect(cmdEdit, &QAction::triggered, this, [this] {
        if (m_mode != ViewMode)
            return;
        // Only the whole text can be edited.
        m_textLoader->Complete();
        m_mode = EditMode;
        ApplyMode();
        UpdateTitle();
        rtbText->setFocus();
    });
    connect(cmdPrint, &QAction::triggered, this, &FileViewer::Print);
    connect(cmdClose, &QAction::triggered, this, &QWidget::close);
    connect(cmdWrap, &QAction::toggled, this, [this](bool wrap) {
        ApplyLineWrap(rtbText, wrap);
        SaveSetting(SettingKeys::FileWindowWrapLines, wrap ? QStringLiteral("1") : QStringLiteral("0"));
    });
    connect(cboSubCat, &QComboBox::currentIndexChanged, this, &FileViewer::MarkDirty);
    connect(txtDesc, &QLineEdit::textChanged, this, &FileViewer::MarkDirty);
    connect(txtSource, &QLineEdit::textChanged, this, &FileViewer::MarkDirty);
    // Format changes count as well: the document reports them as content changes.
    connect(rtbText, &QTextEdit::textChanged, this, &FileViewer::MarkDirty);
    connect(m_textLoader, &RichTextLoader::Shown, this, &FileViewer::TextShown);
    connect(m_textLoader, &RichTextLoader::Completed, this, &FileViewer::TextCompleted);

    ApplyMode();
    UpdateTitle();
}

void FileViewer::setStore(modADO *store)
{
    m_store = store;
}

void FileViewer::setErrorLog(const QString &path)
{
    m_errorLog = path;
}

void FileViewer::Open(quint8 bytMode, quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, const QString &strGame,
                      qint32 lngFileId, quint8 bytSubCat, const QString &strSource, const QString &strDesc,
                      const QString &strTextRTF)
{
    m_mode = bytMode == EditMode || bytMode == NewMode ? Mode(bytMode) : ViewMode;
    m_platformId = bytPlatformId;
    m_genreId = bytGenreId;
    m_gameId = lngGameId;
    m_game = strGame;
    m_fileId = m_mode == NewMode ? 0 : lngFileId;
    m_desc = strDesc;

    m_loading = true;
    SelectSubCat(bytSubCat);
    txtDesc->setText(strDesc);
    txtSource->setText(strSource);
    m_storedRtf = strTextRTF;
    m_storedSubCat = bytSubCat;
    m_storedSource = strSource;
    LoadText(strTextRTF);
    m_loading = false;

    // Text handed to a new file (a drop, an imported page) is not in the store yet: closing the
    // window asks about it as it asks after an edit.
    SetDirty(m_mode == NewMode &&
             (m_textLoader->IsLoading() || !rtbText->document()->toPlainText().trimmed().isEmpty()));
    ApplyMode();
    UpdateTitle();
    show();
    raise();
    activateWindow();
    if (m_mode == NewMode && SelectedSubCat() == 0)
        cboSubCat->setFocus();
    else
        rtbText->setFocus();
}

void FileViewer::ApplyColor(const QColor &color)
{
    tbrFormat->ApplyColor(color);
}

bool FileViewer::CloseAll(QObject *owner)
{
    const QList<FileViewer *> windows = owner->findChildren<FileViewer *>(Qt::FindDirectChildrenOnly);
    bool allClosed = true;
    for (FileViewer *window : windows)
        allClosed = (!window->isVisible() || window->close()) && allClosed;
    return allClosed;
}

void FileViewer::FollowReplaced(const FileRow &row)
{
    for (QWidget *window : QApplication::topLevelWidgets()) {
        auto *viewer = qobject_cast<FileViewer *>(window);
        if (!viewer || viewer->m_mode == NewMode || viewer->m_fileId != row.auto_id || viewer->IsDirty())
            continue;
        viewer->m_storedRtf = row.txt_rtf;
        viewer->m_loading = true;
        viewer->LoadText(row.txt_rtf);
        viewer->m_loading = false;
        viewer->ApplyMode();
    }
}

void FileViewer::closeEvent(QCloseEvent *event)
{
    if (IsDirty()) {
        switch (MsgBox(QStringLiteral("Do you want to save the changes to this file?"), MsgButtons::YesNoCancel,
                       MsgIcon::Question)) {
        case MsgResult::Yes:
            // Discarding the changes for someone else's version closes as well: that is what the
            // user was doing.
            if (Store(true) == SaveOutcome::NotStored) {
                event->ignore();
                return;
            }
            break;
        case MsgResult::No: break;
        default: event->ignore(); return;
        }
    }
    event->accept();
}

void FileViewer::ApplyMode()
{
    const bool editable = m_mode != ViewMode;
    cboSubCat->setEnabled(editable);
    txtDesc->setReadOnly(!editable);
    txtSource->setReadOnly(!editable);
    // A text shown cut is never edited: saving what is shown would drop the rest.
    const bool textEditable = editable && m_wholeText.isNull();
    rtbText->setReadOnly(!textEditable);
    // Read-only text stays selectable and copyable from the keyboard too.
    if (!textEditable)
        rtbText->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    cmdSave->setEnabled(editable);
    cmdEdit->setEnabled(!editable);
    cmdEdit->setVisible(!editable);
    tbrFormat->setEnabled(textEditable);
}

void FileViewer::UpdateTitle()
{
    QString title;
    switch (m_mode) {
    case EditMode: title = QStringLiteral("Edit File"); break;
    case NewMode: title = QStringLiteral("New File"); break;
    default: title = QStringLiteral("View File"); break;
    }
    if (!m_game.isEmpty())
        title += QStringLiteral(" - ") + m_game;
    if (!m_desc.isEmpty())
        title += QStringLiteral(" - ") + ShortDesc(m_desc);
    setWindowTitle(title + QStringLiteral("[*]"));
}

void FileViewer::MarkDirty()
{
    if (!m_loading && !m_textLoader->IsLoading() && m_mode != ViewMode)
        SetDirty(true);
}

void FileViewer::SetDirty(bool dirty)
{
    m_dirty = dirty;
    setWindowModified(dirty);
}

void FileViewer::SelectSubCat(quint8 code)
{
    cboSubCat->setCurrentIndex(cboSubCat->findData(code));
}

quint8 FileViewer::SelectedSubCat() const
{
    return cboSubCat->currentIndex() < 0 ? 0 : quint8(cboSubCat->currentData().toUInt());
}

bool FileViewer::Refuse(const QString &prompt, QWidget *field)
{
    MsgBox(prompt, MsgButtons::OK, MsgIcon::Exclamation);
    field->setFocus();
    return false;
}

void FileViewer::LoadText(const QString &rtf)
{
    // A long text is read on a worker thread and handed over; TextShown follows either way.
    m_wholeText = rtf;
    m_textLoader->Show(rtf);
}

void FileViewer::TextShown()
{
    rtbText->moveCursor(QTextCursor::Start);
    cmdWrap->setEnabled(ApplyLineWrap(rtbText, cmdWrap->isChecked()));
}

void FileViewer::TextCompleted()
{
    cmdWrap->setEnabled(ApplyLineWrap(rtbText, cmdWrap->isChecked()));
    if (!IsCutRichText(rtbText->document()))
        m_wholeText = QString();
    ApplyMode();
}

QString FileViewer::DocumentRtf() const
{
    if (!m_wholeText.isNull())
        return LooksLikeStoredRtf(m_wholeText) ? m_wholeText
                                               : QString::fromLatin1(RtfWriter::FromPlainText(m_wholeText));
    return QString::fromLatin1(RtfWriter::FromDocument(*rtbText->document()));
}

void FileViewer::Print()
{
    const quint8 subCat = SelectedSubCat();
    QString title = m_game;
    if (subCat != 0)
        title += QStringLiteral(" - ") + modNames::GetSubCatName(subCat);
    // A long text unchanged since it was stored prints from the store's text: what the window shows
    // of it may not be all of it, and writing it out again would hold the window up.
    const bool stored = !m_dirty && m_storedRtf.size() > RichTextLoader::threadedLength;
    Q_EMIT PrintInfo(title, txtDesc->text().trimmed(), txtSource->text().trimmed(),
                     stored ? m_storedRtf : DocumentRtf());
}
