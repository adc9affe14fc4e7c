// lkimport: files from disk and web pages into a game of a Lorekeep store, as File > Import Files and
// the browser's Import This Page do it.
//
// Each imported file prints "PATH<TAB>FILE_ID<TAB>ENCODING" once its row is committed (ENCODING is the
// one detected, or the usual name of the one --encoding named), each web page "URL<TAB>FILE_ID<TAB>web"
// once its row and its snapshot are committed; each file or page left
// out prints "lkimport: PATH: REASON" on standard error. PATH is written as NativePath::Escaped
// writes it, so a name holding a tab or a newline cannot forge a line. Exit 0 when every file was imported or was
// already in the game, 1 when some were left out or failed, 2 when the store or the game cannot be
// used (nothing is written then).
#include "base/Version.h"
#include "data/StoreBackup.h"
#include "data/modADO.h"
#include "html/MhtmlArchive.h"
#include "html/PageRtf.h"
#include "import/ConvertAhead.h"
#include "import/FileImport.h"
#include "import/NativePath.h"
#include "system/TextEncodings.h"
#include "webpage/PageLoader.h"
#include "webpage/StartPageScheme.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QHash>

#include <cstdio>
#include <functional>
#include <unistd.h>

namespace {

void complain(const QString &text)
{
    std::fprintf(stderr, "lkimport: %s\n", qPrintable(text));
}

void complainAbout(const QString &path, const QString &reason)
{
    const QByteArray line = "lkimport: " + NativePath::Escaped(path) + ": " + reason.toUtf8() + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
}

// Standard error carries one line per file left out, which scripts count; Qt's notes about the
// environment (no runtime folder, no display) would be lines of their own, so only its errors pass.
void qtMessages(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtCriticalMsg || type == QtFatalMsg)
        complain(text);
}

bool isWebAddress(const QString &argument)
{
    for (const char *scheme : {"http://", "https://", "file://"}) {
        if (argument.startsWith(QLatin1String(scheme), Qt::CaseInsensitive))
            return true;
    }
    return false;
}

// The files `paths` name, imported one by one; false when some were left out or failed.
bool importPaths(FileImport &import, const QStringList &paths, quint8 subCat, const QString &encoding)
{
    bool allDone = true;
    ErrObject err;
    ConvertAhead ahead(subCat, encoding);
    const QStringList files = FileImport::Collect(paths);
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QString &path = files[i];
        if (import.IsKnown(path)) {
            complainAbout(path, QStringLiteral("already in this game"));
            continue;
        }
        ImportedFile file = ahead.Convert(path);
        if (i + 1 < files.size() && !import.IsKnown(files[i + 1]))
            ahead.Start(files[i + 1]);
        if (file.Skipped.isEmpty() && !import.Store(&file, &err))
            file.Skipped = QStringLiteral("not saved: ") + err.Description;
        if (!file.Skipped.isEmpty()) {
            complainAbout(path, file.Skipped);
            allDone = allDone && file.Duplicate;
            continue;
        }
        // A line stands for a committed row, so a script that reads it may rely on the file being there.
        const QByteArray line = NativePath::Escaped(path) + '\t' + QByteArray::number(file.Row.auto_id) + '\t' +
                                file.Encoding.toUtf8() + '\n';
        std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
        std::fflush(stdout);
    }
    return allDone;
}

// The web engine needs its say before the application exists: a screen or none, and no sandbox for
// root, which it would refuse to start under (as scripts/run does for the program).
void prepareWebEngine()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QByteArray flags = qgetenv("QTWEBENGINE_CHROMIUM_FLAGS");
    if (geteuid() == 0 && !flags.contains("--no-sandbox"))
        qputenv("QTWEBENGINE_CHROMIUM_FLAGS", flags + " --no-sandbox");
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    StartPageScheme::Register();
}

// Web pages and paths, in the order given: each page is loaded, its part taken with a snapshot, and
// both stored in one transaction. Calls `finished` with whether everything was imported.
class WebImport final
{
public:
    WebImport(FileImport &import, const QStringList &arguments, quint8 subCat, const QString &encoding, PagePart part,
              std::function<void(bool)> finished)
        : m_import(import),
          m_arguments(arguments),
          m_subCat(subCat),
          m_encoding(encoding),
          m_part(part),
          m_finished(std::move(finished))
    {}

    void next()
    {
        prefetch();
        while (m_next < m_arguments.size()) {
            if (!isWebAddress(m_arguments.at(m_next))) {
                // Paths between two pages go as they would alone.
                QStringList paths;
                while (m_next < m_arguments.size() && !isWebAddress(m_arguments.at(m_next)))
                    paths << m_arguments.at(m_next++);
                m_allDone = importPaths(m_import, paths, m_subCat, m_encoding) && m_allDone;
                continue;
            }
            const QString address = m_arguments.at(m_next);
            if (!m_loads.contains(m_next)) {
                // Known already when its turn came to be loaded.
                complainAbout(address, QStringLiteral("already in this game"));
                ++m_next;
                continue;
            }
            const Load &load = m_loads.value(m_next);
            if (!load.done)
                return; // its answer calls again
            const Load taken = m_loads.take(m_next++);
            store(address, taken.page, taken.err);
            prefetch();
        }
        m_finished(m_allDone);
    }

private:
    struct Load
    {
        bool done = false;
        CapturedPage page;
        ErrObject err;
    };

    // Pages load a few at a time ahead of the one stored next, since most of a page's time is spent
    // waiting for it; they are still stored, and reported, in the order given.
    void prefetch()
    {
        constexpr int ahead = 4;
        while (m_loading < ahead && m_prefetched < m_arguments.size()) {
            const int index = m_prefetched++;
            const QString address = m_arguments.at(index);
            if (!isWebAddress(address) || m_import.IsKnown(address))
                continue;
            ++m_loading;
            m_loads.insert(index, Load());
            m_loader.Load(QUrl::fromUserInput(address), m_part,
                          [this, index](const CapturedPage &page, const ErrObject &err) {
                              --m_loading;
                              m_loads[index] = Load{true, page, err};
                              next();
                          });
        }
    }

    void store(const QString &address, const CapturedPage &page, const ErrObject &loadErr)
    {
        if (loadErr.isError()) {
            complainAbout(address, loadErr.Description);
            m_allDone = false;
            return;
        }
        ImportedFile file;
        file.Path = address;
        file.Row.src = address;
        file.Row.desc = page.title;
        file.Row.sub_cat = m_subCat != 0 ? m_subCat : FileImport::SubCategoryFor(page.title);
        file.Row.txt_rtf = PageRtf(page.html, page.address, MhtmlArchive::Read(page.mhtml)).rtf;
        file.Encoding = QStringLiteral("web");
        file.Snapshot = page.mhtml;
        file.SnapshotAddress = page.address.toString();
        file.Captured = page.captured;
        ErrObject err;
        if (!m_import.Store(&file, &err)) {
            complainAbout(address, QStringLiteral("not saved: ") + err.Description);
            m_allDone = false;
            return;
        }
        if (file.Duplicate) {
            complainAbout(address, file.Skipped);
            return;
        }
        const QByteArray line = NativePath::Escaped(address) + '\t' + QByteArray::number(file.Row.auto_id) + "\tweb\n";
        std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
        std::fflush(stdout);
    }

    FileImport &m_import;
    const QStringList m_arguments;
    const quint8 m_subCat;
    const QString m_encoding;
    const PagePart m_part;
    std::function<void(bool)> m_finished;
    PageLoader m_loader;
    int m_next = 0;
    // Where loading ahead has got to, and how many pages are loading now.
    int m_prefetched = 0;
    int m_loading = 0;
    QHash<int, Load> m_loads;
    bool m_allDone = true;
};

} // namespace

int main(int argc, char *argv[])
{
    // Web pages become documents, which need a GUI application for fonts; no window is ever shown.
    bool webPages = false;
    for (int i = 1; i < argc; ++i)
        webPages = webPages || isWebAddress(QString::fromLocal8Bit(argv[i]));
    if (webPages)
        prepareWebEngine();
    else if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(qtMessages);
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("lkimport"));
    QGuiApplication::setApplicationVersion(QStringLiteral(LOREKEEP_VERSION_STRING));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Imports text, RTF and web-page files, and web pages by their address, into a game of a "
                       "Lorekeep store. Folders are imported with everything inside them; files and pages the "
                       "game already has are passed over. A web page keeps its article (or the whole page) "
                       "and a snapshot of it."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption storeOption(
        QStringLiteral("store"),
        QStringLiteral("The Lorekeep store: a .lkb file or a shared library's postgresql:// address."),
        QStringLiteral("STORE"));
    const QCommandLineOption gameOption(QStringLiteral("game"), QStringLiteral("The id of the game to add files to."),
                                        QStringLiteral("GAME_ID"));
    const QCommandLineOption subCatOption(
        QStringLiteral("subcat"),
        QStringLiteral("The sub-category of every file, 1 to 6 (default: by the file's name)."), QStringLiteral("N"));
    const QCommandLineOption encodingOption(
        QStringLiteral("encoding"),
        QStringLiteral("Read every plain-text file in this encoding instead of the one detected: utf-8, "
                       "windows-1252, ibm437, shift_jis, euc-kr, gb18030, ... (RTF and web pages say their own)."),
        QStringLiteral("NAME"));
    parser.addOption(storeOption);
    parser.addOption(gameOption);
    parser.addOption(subCatOption);
    const QCommandLineOption wholePageOption(
        QStringLiteral("whole-page"),
        QStringLiteral("Keep the whole of each web page as shown, not only its article."));
    parser.addOption(encodingOption);
    parser.addOption(wholePageOption);
    parser.addPositionalArgument(QStringLiteral("PATH"),
                                 QStringLiteral("Files or folders to import, and http://, https:// or file:// "
                                                "addresses of web pages, in any order."),
                                 QStringLiteral("PATH|URL..."));
    // The arguments as given: Qt would turn a name's bytes that are not UTF-8 into U+FFFD and miss the file.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << NativePath::FromNative(QByteArray(argv[i]));
    parser.process(arguments);

    bool gameOk = false;
    const qint32 gameId = parser.value(gameOption).toInt(&gameOk);
    bool subCatOk = !parser.isSet(subCatOption);
    const int subCat = parser.isSet(subCatOption) ? parser.value(subCatOption).toInt(&subCatOk) : 0;
    if (!parser.isSet(storeOption) || !gameOk || gameId <= 0 || !subCatOk || subCat < 0 || subCat > 6 ||
        parser.positionalArguments().isEmpty()) {
        complain(QStringLiteral("give --store, --game (a game's id), at most --subcat 1 to 6, and one or more "
                                "paths or addresses; see --help"));
        return 2;
    }

    // An encoding that cannot be read is refused before the store is touched.
    QString encoding;
    if (parser.isSet(encodingOption)) {
        const TextEncodings::Encoding *named = TextEncodings::Find(parser.value(encodingOption));
        if (!named) {
            QStringList known;
            for (const TextEncodings::Encoding &offered : TextEncodings::All())
                known << offered.Name;
            complain(QStringLiteral("unknown encoding \"%1\"; known are %2")
                         .arg(parser.value(encodingOption), known.join(QStringLiteral(", "))));
            return 2;
        }
        encoding = named->Name;
    }

    const QString storePath = parser.value(storeOption);
    modADO store(QStringLiteral("lkimport"));
    ErrObject err;
    if (!store.Open(storePath, &err) || !store.CanWrite(&err) || !StoreBackup::QuickCheck(store.Connection(), &err)) {
        complain(err.Description);
        return 2;
    }
    FileImport import(store.Connection(), gameId);
    if (!import.Begin(&err)) {
        complain(err.Number == ErrNumber::NoCurrentRecord
                     ? QStringLiteral("the store \"%1\" has no game with id %2").arg(storePath).arg(gameId)
                     : err.Description);
        return 2;
    }

    if (!webPages)
        return importPaths(import, parser.positionalArguments(), quint8(subCat), encoding) ? 0 : 1;
    WebImport web(import, parser.positionalArguments(), quint8(subCat), encoding,
                  parser.isSet(wholePageOption) ? PagePart::WholePage : PagePart::Article,
                  [](bool allDone) { QCoreApplication::exit(allDone ? 0 : 1); });
    QMetaObject::invokeMethod(
        &app, [&web] { web.next(); }, Qt::QueuedConnection);
    return app.exec();
}
