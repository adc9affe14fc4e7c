// lkfind: Find Files without a window. Prints the ids of the matching files in ascending order, one
// per line and nothing else, and exits 0 (also when nothing is found); 2 when the store cannot be
// used or the arguments are wrong. A store without the search index gets it built first.
#include "base/Version.h"
#include "data/modADO.h"
#include "search/FileSearch.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

void complain(const QString &text)
{
    std::fprintf(stderr, "lkfind: %s\n", qPrintable(text));
}

// "desc,src,text" into the request's fields; false on a name that is none of them.
bool parseFields(const QString &list, FindRequest *request)
{
    request->Desc = request->Src = request->Text = false;
    for (const QString &field : list.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QString name = field.trimmed().toLower();
        if (name == QLatin1String("desc"))
            request->Desc = true;
        else if (name == QLatin1String("src"))
            request->Src = true;
        else if (name == QLatin1String("text"))
            request->Text = true;
        else
            return false;
    }
    return request->Desc || request->Src || request->Text;
}

bool parseCategories(const QString &list, QList<quint8> *subCats)
{
    for (const QString &item : list.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        bool ok = false;
        const int code = item.trimmed().toInt(&ok);
        if (!ok || code < 1 || code > 6)
            return false;
        if (!subCats->contains(quint8(code)))
            subCats->append(quint8(code));
    }
    return !subCats->isEmpty();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("lkfind"));
    QCoreApplication::setApplicationVersion(QStringLiteral(LOREKEEP_VERSION_STRING));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints the ids of the files of a Lorekeep store whose fields contain PHRASE, as Find Files does: "
        "case-sensitive, the fields joined by one blank in the order desc, src, text, the text as the reader "
        "shows it."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption storeOption(
        QStringLiteral("store"),
        QStringLiteral("The Lorekeep store: a .lkb file or a shared library's postgresql:// address."),
        QStringLiteral("STORE"));
    const QCommandLineOption fieldsOption(QStringLiteral("fields"),
                                          QStringLiteral("The fields to search (default: desc,src,text)."),
                                          QStringLiteral("desc,src,text"));
    const QCommandLineOption catsOption(QStringLiteral("cats"),
                                        QStringLiteral("The sub-categories to search, 1 to 6 (default: all)."),
                                        QStringLiteral("1,2,3,4,5,6"));
    const QCommandLineOption gameOption(QStringLiteral("game"), QStringLiteral("Search one game's files only."),
                                        QStringLiteral("ID"));
    parser.addOptions({storeOption, fieldsOption, catsOption, gameOption});
    parser.addPositionalArgument(QStringLiteral("PHRASE"), QStringLiteral("The text to find; blanks at its ends "
                                                                          "are dropped, as in the dialog."));
    parser.process(app);

    FindRequest request;
    request.Text = true;
    bool ok = parser.isSet(storeOption) && parser.positionalArguments().size() == 1;
    if (ok && parser.isSet(fieldsOption))
        ok = parseFields(parser.value(fieldsOption), &request);
    if (ok && parser.isSet(catsOption))
        ok = parseCategories(parser.value(catsOption), &request.Criteria.SubCats);
    if (ok && parser.isSet(gameOption)) {
        request.Criteria.GameId = parser.value(gameOption).toInt(&ok);
        ok = ok && request.Criteria.GameId > 0;
    }
    if (ok) {
        request.Phrase = FileSearch::TrimBlanks(parser.positionalArguments().constFirst());
        ok = !request.Phrase.isEmpty();
    }
    if (!ok) {
        complain(QStringLiteral("give --store and one non-blank PHRASE; --fields takes desc, src and text, --cats "
                                "1 to 6, --game a game's id; see --help"));
        return 2;
    }

    modADO store(QStringLiteral("lkfind"));
    ErrObject err;
    if (!store.Open(parser.value(storeOption), &err)) {
        complain(err.Description);
        return 2;
    }
    QVector<FindHit> hits;
    IndexRepair repair;
    if (!FileSearch::Find(store.Connection(), request, &hits, &err, &repair)) {
        complain(err.Description);
        return 2;
    }
    if (repair.Done)
        complain(QStringLiteral("the search index was damaged and has been rebuilt"));
    else if (repair.Tried)
        complain(QStringLiteral("the search index is damaged and could not be rebuilt (%1); every file was read "
                                "instead, so the ids are complete")
                     .arg(repair.Failure.Description));
    QByteArray out;
    out.reserve(hits.size() * 8);
    for (const FindHit &hit : std::as_const(hits))
        out += QByteArray::number(hit.FileId) + '\n';
    std::fwrite(out.constData(), 1, size_t(out.size()), stdout);
    return 0;
}
