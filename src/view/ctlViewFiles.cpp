// The file commands of the view pane's pop-up menus: view, new, edit, copy, move, delete, bookmark,
// open the source, and send text to the Quick Clips. Every change is told to the host so the tree's
// counts and the bookmarks follow.

#include "ctlView.h"

#include "base/AppPath.h"
#include "base/ErrorLog.h"
#include "components/BackgroundWork.h"
#include "components/BackupJob.h"
#include "components/FileTextReader.h"
#include "components/FileViewer.h"
#include "components/GameSelector.h"
#include "data/FileTable.h"
#include "data/NodeKey.h"
#include "data/ShortDesc.h"
#include "data/modADO.h"
#include "data/modNames.h"
#include "frmReopenEncoding.h"
#include "import/FileConversion.h"
#include "import/FileImport.h"
#include "reader/FindBar.h"
#include "reader/TextReader.h"
#include "store/StoreAddress.h"
#include "system/Prompts.h"
#include "system/TextDecoder.h"
#include "system/TextEncodings.h"
#include "widgets/ListView.h"
#include "widgets/RichTextLoader.h"

#include <QDateTime>
#include <QFileInfo>
#include <QLocale>
#include <QMenu>
#include <QTextDocumentFragment>
#include <QTextEdit>

#include <functional>
#include <memory>

namespace {

const QString module = QStringLiteral("ctlView");
const QString crlf = QStringLiteral("\r\n");

QAction *addItem(QMenu *menu, const char *name, const QString &caption)
{
    QAction *action = menu->addAction(caption);
    action->setObjectName(QLatin1String(name));
    return action;
}

bool isWebAddress(const QString &source)
{
    const QString lower = source.toLower();
    return lower.startsWith(QLatin1String("http://")) || lower.startsWith(QLatin1String("https://")) ||
           lower.startsWith(QLatin1String("www."));
}

std::optional<qint32> fileId(const ListItem *item)
{
    return item ? NodeKey::Id(item->Key(), 0) : std::nullopt;
}

} // namespace

void ctlView::buildMenus()
{
    mnuFile = new QMenu(this);
    mnuFile->setObjectName(QStringLiteral("mnuFile"));
    connect(addItem(mnuFile, "mnuFileView", QStringLiteral("View")), &QAction::triggered, this,
            [this] { OpenViewer(0); });
    mnuFile->addSeparator();
    connect(addItem(mnuFile, "mnuFileAddFile", QStringLiteral("New File")), &QAction::triggered, this,
            [this] { OpenViewer(2); });
    connect(addItem(mnuFile, "mnuFileEdit", QStringLiteral("Edit File...")), &QAction::triggered, this,
            [this] { OpenViewer(1); });
    mnuFileReopen = addItem(mnuFile, "mnuFileReopen", QStringLiteral("Reopen With Encoding..."));
    connect(mnuFileReopen, &QAction::triggered, this, &ctlView::mnuFileReopen_Click);
    // A greyed-out Reopen says why it is.
    mnuFile->setToolTipsVisible(true);
    buildPageMenus();
    mnuFile->addSeparator();
    connect(addItem(mnuFile, "mnuFileCopyTo", QStringLiteral("Copy To...")), &QAction::triggered, this, [this] {
        m_copyFlag = 1;
        mnuFileMove_Click();
    });
    connect(addItem(mnuFile, "mnuFileMove", QStringLiteral("Move To...")), &QAction::triggered, this,
            &ctlView::mnuFileMove_Click);
    mnuFile->addSeparator();
    connect(addItem(mnuFile, "mnuFileDel", QStringLiteral("Delete")), &QAction::triggered, this,
            &ctlView::mnuFileDel_Click);
    mnuFile->addSeparator();
    connect(addItem(mnuFile, "mnuFileBookmark", QStringLiteral("Bookmark...")), &QAction::triggered, this,
            &ctlView::mnuFileBookmark_Click);
    mnusepNav = mnuFile->addSeparator();
    mnusepNav->setObjectName(QStringLiteral("mnusepNav"));
    mnuNavToSrc = addItem(mnuFile, "mnuNavToSrc", QStringLiteral("Navigate To Source"));
    connect(mnuNavToSrc, &QAction::triggered, this, &ctlView::mnuNavToSrc_Click);

    mnuAddOnly = new QMenu(this);
    mnuAddOnly->setObjectName(QStringLiteral("mnuAddOnly"));
    connect(addItem(mnuAddOnly, "mnuAOAdd", QStringLiteral("Add New File")), &QAction::triggered, this,
            &ctlView::mnuAOAdd_Click);

    mnuQuickMenu = new QMenu(this);
    mnuQuickMenu->setObjectName(QStringLiteral("mnuQuickMenu"));
    connect(addItem(mnuQuickMenu, "mnuAddQuick", QStringLiteral("Send To Quick Clips...")), &QAction::triggered, this,
            [this] { mnuAddQuick_Click(false); });
    connect(addItem(mnuQuickMenu, "mnuSendQuick", QStringLiteral("Add Selected Text To Quick Clip...")),
            &QAction::triggered, this, [this] { mnuAddQuick_Click(true); });
    // What every text's menu offers; the keys themselves are the text's own.
    mnuQuickMenu->addSeparator()->setObjectName(QStringLiteral("mnuSepCopy"));
    QAction *copy = addItem(mnuQuickMenu, "mnuCopy", QStringLiteral("&Copy"));
    copy->setShortcut(QKeySequence::Copy);
    copy->setShortcutContext(Qt::WidgetShortcut);
    connect(copy, &QAction::triggered, rtbText, &QTextEdit::copy);
    QAction *selectAll = addItem(mnuQuickMenu, "mnuSelectAll", QStringLiteral("Select &All"));
    selectAll->setShortcut(QKeySequence::SelectAll);
    selectAll->setShortcutContext(Qt::WidgetShortcut);
    connect(selectAll, &QAction::triggered, this, [this] {
        m_textLoader->Complete();
        rtbText->selectAll();
    });
    // Ctrl+F itself reaches the find bar from the text; the menu shows where to find it.
    QAction *find = addItem(mnuQuickMenu, "mnuFindInText", QStringLiteral("&Find in Text..."));
    find->setShortcut(QKeySequence::Find);
    find->setShortcutContext(Qt::WidgetShortcut);
    connect(find, &QAction::triggered, this, [this] { m_reader->Finder()->Open(); });
}

QString ctlView::GameKey() const
{
    return NodeKey::Game(M_GAME_ID, M_GENRE_ID, M_PLATFORM_ID);
}

void ctlView::lvFiles_MouseDown(Qt::MouseButton button, const QPoint &globalPos)
{
    if (button != Qt::RightButton)
        return;
    const ListItem *item = lvFiles->SelectedItem();
    if (!item) {
        mnuAddOnly->popup(globalPos);
        return;
    }
    const QString source = item->SubItem(1);
    const bool web = isWebAddress(source);
    if (web)
        m_navURL = source;
    mnusepNav->setVisible(web);
    mnuNavToSrc->setVisible(web);
    offerReopen(source);
    offerPages(fileId(item).value_or(0), source);
    mnuFile->popup(globalPos);
}

FileViewer *ctlView::NewViewer()
{
    objViewer = new FileViewer(this);
    objViewer->setStore(m_store);
    objViewer->setErrorLog(AppPath() + QStringLiteral("error.log"));
    connect(objViewer, &FileViewer::AddFile, this, &ctlView::objViewer_AddFile);
    connect(objViewer, &FileViewer::SaveEdit, this,
            [this, gameKey = GameKey()](qint32 lngFileId, quint8 bytSubCat, const QString &strSource,
                                        const QString &strDesc, const QString &strTextRTF) {
                objViewer_SaveEdit(gameKey, lngFileId, bytSubCat, strSource, strDesc, strTextRTF);
            });
    connect(objViewer, &FileViewer::PrintInfo, this,
            qOverload<const QString &, const QString &, const QString &, const QString &>(&ctlView::PrintInfo));
    return objViewer;
}

bool ctlView::CloseEditors()
{
    return FileViewer::CloseAll(this);
}

void ctlView::OpenViewer(quint8 mode)
{
    m_viewerMode = 0;
    const ListItem *item = lvFiles->SelectedItem();
    FileTextReader reader;
    if (!item || !ReadFile(item, &reader, QStringLiteral("lvFiles DblClick"), true))
        return;
    const qint32 id = *fileId(item);
    FileViewer *viewer = NewViewer();
    if (mode == FileViewer::NewMode)
        viewer->Open(mode, M_PLATFORM_ID, M_GENRE_ID, M_GAME_ID, M_GAME, 0, 0, QString(), QString(), QString());
    else
        viewer->Open(mode, M_PLATFORM_ID, M_GENRE_ID, M_GAME_ID, M_GAME, id, reader.SubCat(), reader.Source(),
                     reader.Desc(), reader.TextRTF());
}

void ctlView::AddNewFile()
{
    mnuAOAdd_Click();
}

void ctlView::mnuAOAdd_Click()
{
    if (M_GAME_ID == 0)
        return;
    // A new file starts out named by when it was made, which the user usually replaces.
    const QString now = QLocale().toString(QDateTime::currentDateTime(), QLocale::ShortFormat);
    NewViewer()->Open(FileViewer::NewMode, M_PLATFORM_ID, M_GENRE_ID, M_GAME_ID, M_GAME, 0, 0, now,
                      QStringLiteral("New File"), QString());
}

void ctlView::objViewer_AddFile(quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, qint32 lngFileId,
                                quint8 bytSubCat, const QString &strSource, const QString &strDesc,
                                const QString &strTextRTF)
{
    // The list may show another game by the time the new file is saved; the row belongs only in
    // its own game's list, while the count always changes.
    ListItem *item = nullptr;
    if (lngGameId == m_listedGameId) {
        item = addRow(NodeKey::File(lngFileId), strDesc, strSource, bytSubCat);
        showText(strTextRTF);
        m_currentFileKey = NodeKey::File(lngFileId);
        SetCaption(M_GAME);
    }
    Q_EMIT UpdateGameNode(NodeKey::Game(lngGameId, bytGenreId, bytPlatformId), 0);
    if (item)
        lvFiles->Select(item);
}

void ctlView::objViewer_SaveEdit(const QString &gameKey, qint32 lngFileId, quint8 bytSubCat, const QString &strSource,
                                 const QString &strDesc, const QString &strTextRTF)
{
    const QString key = NodeKey::File(lngFileId);
    if (key == m_currentFileKey)
        showText(strTextRTF);
    if (ListItem *item = lvFiles->Item(key))
        updateRow(item, strDesc, strSource, bytSubCat);
    Q_EMIT UpdateBookmark(bytSubCat, NodeKey::FilePath(lngFileId, gameKey), ShortDesc(strDesc));
}

void ctlView::mnuFileDel_Click()
{
    ListItem *item = lvFiles->SelectedItem();
    const auto id = fileId(item);
    if (!id)
        return;
    const QString prompt =
        QStringLiteral("Are you sure you wish to delete this ") + item->SubItem(2) + QStringLiteral(" file?");
    if (MsgBox(prompt, MsgButtons::YesNo, MsgIcon::Exclamation) != MsgResult::Yes)
        return;
    // The store goes first, so a store that refuses leaves the list as it was; a file someone else
    // deleted already is simply taken off the list.
    ErrObject err;
    if (!FileTable::Delete(m_store->Connection(), *id, &err) && err.Number != ErrNumber::NoCurrentRecord) {
        LogError(err, module, QStringLiteral("File Delete"), true);
        return;
    }
    lvFiles->Remove(item);
    Q_EMIT UpdateGameNode(GameKey(), 1);
    Q_EMIT DeleteBookmark(NodeKey::FilePath(*id, GameKey()));
    SetCaption(M_GAME);
    clearText();
    m_currentFileKey.clear();
    Q_EMIT TextShown();
    SelectFirst();
}

void ctlView::mnuFileMove_Click()
{
    if (!lvFiles->SelectedItem()) {
        m_copyFlag = 0;
        return;
    }
    // It lives for the one choice; its signals have all come by the time Show returns.
    const std::unique_ptr<GameSelector> objSelector = std::make_unique<GameSelector>(this);
    objSelector->setObjectName(QStringLiteral("objSelector"));
    objSelector->setStore(m_store);
    connect(objSelector.get(), &GameSelector::CompleteSelect, this, &ctlView::objSelector_CompleteSelect);
    connect(objSelector.get(), &GameSelector::AddGameNode, this, &ctlView::AddGameNode);
    objSelector->Show(M_PLATFORM_ID, M_GENRE_ID, M_GAME_ID,
                      m_copyFlag == 1 ? QStringLiteral("Copy selected file to...")
                                      : QStringLiteral("Move selected file to..."));
    m_copyFlag = 0;
}

void ctlView::objSelector_CompleteSelect(quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, bool blnCancel)
{
    ListItem *item = lvFiles->SelectedItem();
    const auto id = fileId(item);
    if (blnCancel || !id || (bytPlatformId == M_PLATFORM_ID && bytGenreId == M_GENRE_ID && lngGameId == M_GAME_ID))
        return;
    const QString target = NodeKey::Game(lngGameId, bytGenreId, bytPlatformId);
    const QSqlDatabase db = m_store->Connection();
    ErrObject err;
    if (m_copyFlag == 1) {
        qint32 newId = 0;
        if (!FileTable::Copy(db, *id, lngGameId, &newId, &err)) {
            LogError(err, module, QStringLiteral("File Copy"), true);
            return;
        }
        Q_EMIT UpdateGameNode(target, 0);
        return;
    }
    if (!FileTable::Move(db, *id, lngGameId, &err)) {
        LogError(err, module, QStringLiteral("File Move"), true);
        return;
    }
    Q_EMIT UpdateGameNode(GameKey(), 1);
    Q_EMIT UpdateGameNode(target, 0);
    Q_EMIT MoveBookmark(NodeKey::FilePath(*id, GameKey()), NodeKey::FilePath(*id, target));
    lvFiles->Remove(item);
    SetCaption(M_GAME);
}

void ctlView::mnuFileBookmark_Click()
{
    const ListItem *item = lvFiles->SelectedItem();
    const auto id = fileId(item);
    if (!id)
        return;
    Q_EMIT Bookmark(modNames::GetSubCatCode(item->SubItem(2)), NodeKey::FilePath(*id, GameKey()),
                    ShortDesc(item->Text()));
}

void ctlView::mnuNavToSrc_Click()
{
    if (m_navURL.isEmpty())
        return;
    BrowseNavigate(m_navURL);
    SelectTab(Tab::Browser);
}

void ctlView::mnuAddQuick_Click(bool selectedOnly)
{
    const QString header = QStringLiteral("Platform: ") + modNames::GetPlatformName(M_PLATFORM_ID) + crlf +
                           QStringLiteral("Game: ") + M_GAME + crlf + QStringLiteral("Genre: ") +
                           modNames::GetGenreName(M_GENRE_ID);
    // The whole text goes, not the beginning shown while it is read.
    if (!selectedOnly)
        m_textLoader->Complete();
    QString text = selectedOnly ? QTextDocumentFragment(rtbText->textCursor()).toPlainText() : rtbText->toPlainText();
    text = text.trimmed();
    text.replace(QLatin1Char('\n'), crlf);
    Q_EMIT SendQuick(header, text);
}

void ctlView::offerReopen(const QString &source)
{
    const QString path = FileImport::LocalSource(source);
    QString why;
    if (path.isEmpty())
        why = QStringLiteral("Only a file imported from a file on this computer can be read again.");
    else if (!QFileInfo(path).isFile())
        why = QStringLiteral("\u201C%1\u201D is no longer there.").arg(path);
    else if (m_store && m_store->IsReadOnly())
        why = m_store->ReadOnlyError().Description;
    mnuFileReopen->setEnabled(why.isEmpty());
    mnuFileReopen->setToolTip(why);
}

void ctlView::mnuFileReopen_Click()
{
    const QString procedure = QStringLiteral("Reopen With Encoding");
    const ListItem *item = lvFiles->SelectedItem();
    FileTextReader reader;
    if (!item || !ReadFile(item, &reader, procedure, true))
        return;
    const qint32 id = *fileId(item);
    const QString key = item->Key();
    const FileRow loaded{id, reader.GameId(), reader.SubCat(), reader.Source(), reader.Desc(), reader.TextRTF()};
    const QString path = FileImport::LocalSource(loaded.src);
    // Reading, detecting and converting a large file take a while: on a worker thread, with the
    // window alive and, past half a second, a progress window.
    const auto inBackground = [this](const QString &text, const std::function<void()> &work) {
        QString error;
        return BackgroundWork::Run(
                   window(), QStringLiteral("Reopen With Encoding"),
                   [&work](const BackgroundWork::Report &, QString *) {
                       work();
                       return true;
                   },
                   [&text](const BackgroundWork::Step &) {
                       return BackgroundWork::Shown{-1, text};
                   },
                   &error) == BackgroundWork::Outcome::Done;
    };
    QByteArray bytes;
    QString why;
    bool read = false;
    QString detected;
    if (path.isEmpty()) {
        MsgBox(QStringLiteral("\u201C%1\u201D was not imported from a file on this computer, so there is nothing to "
                              "read again.")
                   .arg(loaded.desc),
               MsgButtons::OK, MsgIcon::Information);
        return;
    }
    if (!inBackground(QStringLiteral("Reading the file..."), [&] {
            read = FileImport::ReadBytes(path, &bytes, &why);
            if (read && !m_reopenedAs.contains(id))
                detected = TextDecoder::Decode(bytes).Encoding;
        }))
        return;
    if (!read) {
        const QString prefix = QStringLiteral("cannot be read: ");
        MsgBox(why == QLatin1String("not found")
                   ? QStringLiteral("The file \u201C%1\u201D is no longer there, so its text cannot be read again.")
                         .arg(path)
                   : QStringLiteral("The file \u201C%1\u201D cannot be read again: %2.")
                         .arg(path, why.startsWith(prefix) ? why.mid(prefix.size()) : why),
               MsgButtons::OK, MsgIcon::Exclamation);
        return;
    }
    const QString suffix = QFileInfo(path).suffix();
    const FileConversion::Kind kind = FileConversion::KindOf(suffix, bytes);
    if (kind != FileConversion::Kind::PlainText) {
        MsgBox(QStringLiteral("\u201C%1\u201D is %2, which says its own encoding, and Lorekeep reads it so. Reopen "
                              "With Encoding is for plain-text files.")
                   .arg(QFileInfo(path).fileName(), kind == FileConversion::Kind::Rtf
                                                        ? QStringLiteral("an RTF document")
                                                        : QStringLiteral("a web page")),
               MsgButtons::OK, MsgIcon::Information);
        return;
    }
    frmReopenEncoding dialog(window(), path, bytes, m_reopenedAs.value(id, detected));
    if (dialog.exec() != QDialog::Accepted || dialog.Encoding().isEmpty())
        return;
    const QString encoding = dialog.Encoding();
    const QString label = TextEncodings::Find(encoding)->Label;
    FileConversion::Converted converted;
    if (!inBackground(QStringLiteral("Reading the file as %1...").arg(label),
                      [&] { converted = FileConversion::FromBytes(suffix, bytes, encoding); }))
        return;
    if (!converted.Skipped.isEmpty()) {
        MsgBox(
            QStringLiteral("Read as %1, \u201C%2\u201D is %3; its text was left as it is.")
                .arg(label, QFileInfo(path).fileName(),
                     converted.Skipped == QLatin1String("holds no text") ? QStringLiteral("empty") : converted.Skipped),
            MsgButtons::OK, MsgIcon::Exclamation);
        return;
    }

    // The text stored now goes into the day's backup first; a shared library keeps none here.
    const QSqlDatabase db = m_store->Connection();
    if (StoreAddress::IsShared(db)) {
        if (MsgBox(QStringLiteral("\u201C%1\u201D will be read again as %2. This library is shared on a server, where "
                                  "Lorekeep keeps no backups, so the text it holds now will not be kept.\n\nReplace "
                                  "the text?")
                       .arg(loaded.desc, label),
                   MsgButtons::YesNo, MsgIcon::Question) != MsgResult::Yes)
            return;
    } else if (!BackupJob::KeepText(window(), db, id, loaded.txt_rtf)) {
        return;
    }
    bool replaced = false;
    ErrObject err;
    if (!FileImport::Replace(db, loaded, converted.Rtf, &replaced, &err))
        return LogError(err, module, procedure, true);
    if (!replaced) {
        MsgBox(QStringLiteral("\u201C%1\u201D was changed or deleted elsewhere meanwhile; its text was left as it "
                              "is.")
                   .arg(loaded.desc),
               MsgButtons::OK, MsgIcon::Exclamation);
        return;
    }
    m_reopenedAs.insert(id, encoding);
    FileRow row = loaded;
    row.txt_rtf = converted.Rtf;
    if (key == m_currentFileKey)
        showText(row.txt_rtf);
    FileViewer::FollowReplaced(row);
}
