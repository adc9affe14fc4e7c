// lkimport: files from disk into a game of a Lorekeep store, as File > Import Files does it.
//
// Each imported file prints "PATH<TAB>FILE_ID<TAB>ENCODING" once its row is committed (ENCODING is the
// one detected, or the usual name of the one --encoding named); each file left
// out prints "lkimport: PATH: REASON" on standard error. PATH is written as NativePath::Escaped
// writes it, so a name holding a tab or a newline cannot forge a line. Exit 0 when every file was imported or was
// already in the game, 1 when some were left out or failed, 2 when the store or the game cannot be
// used (nothing is written then).
#include "base/Version.h"
#include "data/StoreBackup.h"
#include "data/modADO.h"
#include "import/FileImport.h"
#include "import/NativePath.h"
#include "system/TextEncodings.h"

#include <QCommandLineParser>
#include <QGuiApplication>

#include <cstdio>

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

} // namespace

int main(int argc, char *argv[])
{
    // Web pages become documents, which need a GUI application for fonts; no window is ever shown.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(qtMessages);
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("lkimport"));
    QGuiApplication::setApplicationVersion(QStringLiteral(LOREKEEP_VERSION_STRING));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Imports text, RTF and web-page files into a game of a Lorekeep store. Folders are "
                       "imported with everything inside them; files the game already has are passed over."));
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
    parser.addOption(encodingOption);
    parser.addPositionalArgument(QStringLiteral("PATH"), QStringLiteral("Files or folders to import."),
                                 QStringLiteral("PATH..."));
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
                                "paths; see --help"));
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

    bool allDone = true;
    for (const QString &path : FileImport::Collect(parser.positionalArguments())) {
        if (import.IsKnown(path)) {
            complainAbout(path, QStringLiteral("already in this game"));
            continue;
        }
        ImportedFile file = FileImport::Convert(path, quint8(subCat), encoding);
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
    return allDone ? 0 : 1;
}
