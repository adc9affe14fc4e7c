// Import into the tree: text dragged onto a node, or the page the browser shows, becomes a new file
// of a game. The tree decides the game (the node dropped on, or the user's choice in the selector)
// and opens the file viewer in its new-file mode; the viewer stores the file and reports it back.
// Files and folders dragged from a file manager, or chosen in File > Import Files, are imported into
// the game whole, without the viewer.

#include "ctlTree.h"

#include "base/AppPath.h"
#include "base/ErrorLog.h"
#include "components/FileImporter.h"
#include "components/FileViewer.h"
#include "components/GameSelector.h"
#include "components/TreeLoader.h"
#include "data/FileTable.h"
#include "data/NodeKey.h"
#include "data/modADO.h"
#include "html/ImportedHtml.h"
#include "rtf/RtfReader.h"
#include "system/DroppedFiles.h"
#include "system/Prompts.h"
#include "widgets/TreeView.h"

#include <QDropEvent>
#include <QFileInfo>
#include <QMimeData>
#include <QUrl>

#include <algorithm>

namespace {

const QString module = QStringLiteral("ctlTree");
const QString dropProcedure = QStringLiteral("OLEDragDrop");
const QString dropCaption = QStringLiteral("Save drag text to a File in...");
const QString importCaption = QStringLiteral("Import Files...");
const QString folderCaption = QStringLiteral("Import Folder...");

const QStringList rtfFormats = {QStringLiteral("text/rtf"), QStringLiteral("application/rtf")};

bool offersPlainText(const QMimeData *data)
{
    // Not hasText(): that is true for a dragged file too, whose "text" would be its address.
    const QStringList formats = data->formats();
    return std::any_of(formats.cbegin(), formats.cend(),
                       [](const QString &format) { return format.startsWith(QLatin1String("text/plain")); });
}

bool offersText(const QMimeData *data)
{
    return data && (offersPlainText(data) || data->hasHtml() ||
                    std::any_of(rtfFormats.cbegin(), rtfFormats.cend(),
                                [data](const QString &format) { return data->hasFormat(format); }));
}

// The dropped text in its plain form, whichever forms the source offers.
QString droppedText(const QMimeData *data)
{
    if (offersPlainText(data))
        return data->text();
    for (const QString &format : rtfFormats) {
        if (data->hasFormat(format))
            return RtfReader::PlainText(data->data(format));
    }
    return ImportedHtml(data->html()).toPlainText();
}

// Where a drag from another program says its text comes from: the address it carries (a link or
// a page's address, as browsers add them) and, when given, its title.
std::pair<QString, QString> draggedSource(const QMimeData *data)
{
    const QString mozFormat = QStringLiteral("text/x-moz-url");
    if (data->hasFormat(mozFormat)) {
        const QByteArray bytes = data->data(mozFormat);
        const QStringList lines =
            QString::fromUtf16(reinterpret_cast<const char16_t *>(bytes.constData()), bytes.size() / 2)
                .split(QLatin1Char('\n'));
        const QUrl url(lines.value(0).trimmed());
        if (url.isValid() && !url.isLocalFile())
            return {url.toString(), lines.value(1).trimmed()};
    }
    for (const QUrl &url : data->urls()) {
        if (url.isValid() && !url.isLocalFile() && !url.scheme().isEmpty())
            return {url.toString(), QString()};
    }
    return {};
}

QString read(const std::function<QString()> &getter)
{
    return getter ? getter() : QString();
}

} // namespace

void ctlTree::setBrowsedPage(BrowsedPage page)
{
    m_page = std::move(page);
}

bool ctlTree::CloseEditors()
{
    return FileViewer::CloseAll(this);
}

bool ctlTree::tvwFiles_OLEEvent(QEvent *event)
{
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: tvwFiles_OLEDragOver(static_cast<QDragMoveEvent *>(event)); return true;
    case QEvent::DragLeave: tvwFiles->SetDropHighlight(nullptr); return true;
    case QEvent::Drop: tvwFiles_OLEDragDrop(static_cast<QDropEvent *>(event)); return true;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
        // A drop on empty space leaves its highlight; the next press takes it away. The press
        // itself goes on to the tree.
        tvwFiles->SetDropHighlight(nullptr);
        return false;
    default: return false;
    }
}

void ctlTree::tvwFiles_OLEDragOver(QDragMoveEvent *event)
{
    if (DroppedFiles(event->mimeData()).isEmpty() && !offersText(event->mimeData())) {
        tvwFiles->SetDropHighlight(nullptr);
        event->ignore();
        return;
    }
    tvwFiles->SetDropHighlight(static_cast<TreeNode *>(tvwFiles->itemAt(event->position().toPoint())));
    // Taken as a copy, so that a source offering a move never deletes the user's text.
    if (event->possibleActions() & Qt::CopyAction) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else {
        event->acceptProposedAction();
    }
}

void ctlTree::tvwFiles_OLEDragDrop(QDropEvent *event)
{
    const QMimeData *data = event->mimeData();
    const QStringList files = DroppedFiles(data);
    if (files.isEmpty() && !offersText(data)) {
        tvwFiles->SetDropHighlight(nullptr);
        event->ignore();
        return;
    }
    tvwFiles->SetDropHighlight(static_cast<TreeNode *>(tvwFiles->itemAt(event->position().toPoint())));
    const TreeNode *target = tvwFiles->DropHighlight();
    // The source is told that nothing was done to its data, and it is let go at once: the
    // questions that follow would otherwise keep it (often another program) waiting in mid-drag.
    event->setDropAction(Qt::IgnoreAction);
    event->accept();
    if (!target) {
        // Nothing to open; the highlight is already gone.
        return LogError({ErrNumber::NoObject, QStringLiteral("No node under the pointer to drop the text on")}, module,
                        dropProcedure, false);
    }
    if (!files.isEmpty()) {
        QMetaObject::invokeMethod(
            this,
            [this, key = target->Key(), files] {
                tvwFiles->SetDropHighlight(nullptr);
                if (tvwFiles->Node(key)) {
                    SelectNode(key);
                    ImportFiles(key, files);
                }
            },
            Qt::QueuedConnection);
        return;
    }
    // The browser's page is the source only of text dragged out of the browser itself.
    const bool fromBrowser = m_page.IsBrowser && m_page.IsBrowser(event->source());
    const auto [source, desc] = fromBrowser ? std::pair<QString, QString>() : draggedSource(data);
    QMetaObject::invokeMethod(
        this,
        [this, key = target->Key(), text = droppedText(data), fromBrowser, source = source, desc = desc] {
            OLEDragDrop(key, text, fromBrowser, source, desc);
        },
        Qt::QueuedConnection);
}

void ctlTree::OLEDragDrop(const QString &strKey, const QString &strText, bool fromBrowser, const QString &source,
                          const QString &desc)
{
    TreeNode *node = tvwFiles->Node(strKey);
    // A drop while an earlier import is still asking for its game waits for no one.
    if (!node || objSelector) {
        if (node)
            Prompts::current().Beep();
        return tvwFiles->SetDropHighlight(nullptr);
    }
    const std::optional<NodeKey::GameIds> current = currentGame();
    SelectNode(strKey);

    NodeKey::GameIds ids;
    QString game;
    const bool chosen =
        gameOf(node, QStringLiteral("Save drag text..."), dropCaption, dropProcedure, current, &ids, &game);
    if (chosen) {
        const QString url = fromBrowser ? read(m_page.URL) : source;
        bool recheck = false;
        if (confirmNewSource(url, dropProcedure, &recheck))
            openImport(ids, game, url, fromBrowser ? read(m_page.Title) : desc, strText, recheck);
    }
    tvwFiles->SetDropHighlight(nullptr);
}

void ctlTree::DirectImport(const WebPage &page)
{
    if (objSelector)
        return Prompts::current().Beep();
    NodeKey::GameIds ids;
    QString game;
    if (!chooseGame(currentGame().value_or(NodeKey::GameIds()), QStringLiteral("Import..."), &ids, &game))
        return;
    bool recheck = false;
    if (!confirmNewSource(page.URL, QStringLiteral("Direct Import"), &recheck))
        return;
    openImport(ids, game, page.URL, page.Title, page.Text, recheck);
    // The page as it was goes into the store with the file, when the file is saved.
    if (objViewer && !page.Snapshot.isEmpty())
        objViewer->setSnapshot(page.URL, page.Captured, page.Snapshot);
}

std::optional<NodeKey::GameIds> ctlTree::currentGame() const
{
    const TreeNode *node = selectedGame();
    return node ? NodeKey::ParseGame(node->Key()) : std::nullopt;
}

bool ctlTree::gameOf(const TreeNode *node, const QString &rootCaption, const QString &caption, const QString &procedure,
                     const std::optional<NodeKey::GameIds> &current, NodeKey::GameIds *ids, QString *game)
{
    const QString key = node->Key();
    NodeKey::GameIds preset;
    switch (NodeKey::Kind(key)) {
    case NodeKind::Root: return chooseGame(current.value_or(preset), rootCaption, ids, game);
    case NodeKind::Platform:
        preset.PlatformId = NodeKey::Code(key, 0).value_or(0);
        return chooseGame(preset, caption, ids, game);
    case NodeKind::Genre:
        preset.PlatformId = NodeKey::Code(key, 1).value_or(0);
        preset.GenreId = NodeKey::Code(key, 0).value_or(0);
        return chooseGame(preset, caption, ids, game);
    case NodeKind::Game: {
        const auto parsed = NodeKey::ParseGame(key);
        if (!parsed) {
            LogError(NodeKey::BadKey(key), module, procedure, false);
            return false;
        }
        *ids = *parsed;
        *game = node->Tag();
        return true;
    }
    case NodeKind::File:
    case NodeKind::Other: break;
    }
    return chooseGame(preset, caption, ids, game);
}

void ctlTree::ImportFiles(const QString &strKey, const QStringList &paths, const QString &encoding)
{
    if (paths.isEmpty())
        return;
    // One import at a time, and none while a selector is asking for a game.
    if (objSelector || m_importing)
        return Prompts::current().Beep();
    const TreeNode *node = !strKey.isEmpty()          ? tvwFiles->Node(strKey)
                           : tvwFiles->SelectedItem() ? tvwFiles->SelectedItem()
                                                      : tvwFiles->Node(QStringLiteral("ROOT"));
    if (!node)
        return;
    NodeKey::GameIds ids;
    QString game;
    const bool folders =
        std::all_of(paths.cbegin(), paths.cend(), [](const QString &path) { return QFileInfo(path).isDir(); });
    const QString &caption = folders ? folderCaption : importCaption;
    if (!gameOf(node, caption, caption, QStringLiteral("ImportFiles"), std::nullopt, &ids, &game))
        return;

    m_importing = true;
    FileImporter importer(window(), store(), ids.GameId);
    importer.setEncoding(encoding);
    ErrObject err;
    const bool ran = importer.Run(paths, &err);
    m_importing = false;
    if (!ran)
        return LogError(err, module, QStringLiteral("ImportFiles"), true);
    if (importer.StoreFailure().Number != 0)
        LogError(importer.StoreFailure(), module, QStringLiteral("ImportFiles"), false);

    const QString gameKey = NodeKey::Game(ids.GameId, ids.GenreId, ids.PlatformId);
    if (!importer.Imported().isEmpty()) {
        UpdateGameCaption(gameKey, 0);
        const QString title = GameName(gameKey);
        for (const FileRow &row : importer.Imported())
            Q_EMIT AddToView(NodeKey::File(row.auto_id), row.desc, row.src, row.sub_cat, title);
    }
    // One file that went in as asked shows itself in the list; anything else is summed up.
    const bool quiet = importer.Imported().size() == 1 && importer.Skipped().isEmpty() && !importer.Cancelled();
    if (!quiet) {
        const MsgIcon icon = importer.StoreFailure().Number != 0 ? MsgIcon::Critical
                             : importer.Skipped().isEmpty()      ? MsgIcon::Information
                                                                 : MsgIcon::Exclamation;
        MsgBox(importer.Summary(), MsgButtons::OK, icon);
    }
}

bool ctlTree::chooseGame(const NodeKey::GameIds &preset, const QString &caption, NodeKey::GameIds *ids, QString *game)
{
    objSelector = std::make_unique<GameSelector>(this);
    m_selectorReleased = false;
    objSelector->setStore(store());
    connect(objSelector.get(), &GameSelector::AddGameNode, this, &ctlTree::objSelector_AddGameNode);
    connect(objSelector.get(), &GameSelector::CompleteSelect, this, &ctlTree::objSelector_CompleteSelect);
    objSelector->Show(preset.PlatformId, preset.GenreId, preset.GameId, caption);
    const bool chosen = !m_selectorReleased;
    if (chosen) {
        *ids = {objSelector->GameId(), objSelector->GenreId(), objSelector->PlatformId()};
        *game = objSelector->GameName();
    }
    objSelector.reset();
    return chosen;
}

bool ctlTree::confirmNewSource(const QString &source, const QString &procedure, bool *recheck)
{
    *recheck = false;
    const QString address = source.trimmed();
    if (address.isEmpty() || address == QLatin1String("Start Page"))
        return true;
    SourceMatch match;
    bool found = false;
    ErrObject err;
    if (!FileTable::FindBySource(store()->Connection(), address, &match, &found, &err)) {
        // Only a courtesy: a store that cannot answer will say so when the file is saved.
        LogError(err, module, procedure, false);
        return true;
    }
    if (!found) {
        *recheck = true;
        return true;
    }
    return MsgBox(FileViewer::AlreadyStoredPrompt(match), MsgButtons::YesNo, MsgIcon::Question) == MsgResult::Yes;
}

void ctlTree::openImport(const NodeKey::GameIds &ids, const QString &game, const QString &source, const QString &desc,
                         const QString &text, bool askIfStored)
{
    auto *viewer = new FileViewer(this);
    viewer->setAskIfSourceStored(askIfStored);
    viewer->setStore(store());
    viewer->setErrorLog(AppPath() + QStringLiteral("error.log"));
    // Every window reports to the tree for as long as it is open, not only the latest one.
    connect(viewer, &FileViewer::AddFile, this, &ctlTree::objViewer_AddFile);
    connect(viewer, &FileViewer::PrintInfo, this, &ctlTree::objViewer_PrintInfo);
    objViewer = viewer;
    objViewer->Open(FileViewer::NewMode, ids.PlatformId, ids.GenreId, ids.GameId, game, 0, 0, source, desc, text);
}

void ctlTree::objViewer_AddFile(quint8 bytPlatformId, quint8 bytGenreId, qint32 lngGameId, qint32 lngFileId,
                                quint8 bytSubCat, const QString &strSource, const QString &strDesc,
                                const QString &strTextRTF)
{
    Q_UNUSED(strTextRTF)
    const QString gameKey = NodeKey::Game(lngGameId, bytGenreId, bytPlatformId);
    UpdateGameCaption(gameKey, 0);
    Q_EMIT AddToView(NodeKey::File(lngFileId), strDesc, strSource, bytSubCat, GameName(gameKey));
}

void ctlTree::objViewer_PrintInfo(const QString &strTitle, const QString &strFile, const QString &strSource,
                                  const QString &strTextRTF)
{
    Q_EMIT PrintInfo(strTitle, strFile, strSource, strTextRTF);
}
