// lkrtf: what Lorekeep's RTF reader makes of a file, for checking real documents by hand.
#include "base/Version.h"
#include "print/PdfExport.h"
#include "print/RtfPrintout.h"
#include "rtf/RtfReader.h"
#include "rtf/RtfWriter.h"

#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>
#include <QTextDocument>

#include <cstdio>

namespace {

int writePdf(const QByteArray &rtf, const QString &path, const QString &size)
{
    QPageSize paper;
    if (size.compare(QLatin1String("A4"), Qt::CaseInsensitive) == 0) {
        paper = QPageSize(QPageSize::A4);
    } else if (size.compare(QLatin1String("Letter"), Qt::CaseInsensitive) == 0) {
        paper = QPageSize(QPageSize::Letter);
    } else {
        std::fprintf(stderr, "lkrtf: unknown page size %s (A4 or Letter)\n", qPrintable(size));
        return 2;
    }
    PdfExport file(path, paper);
    QString error;
    // A long text is laid out a part at a time: whole, millions of paragraphs would outgrow the
    // memory and the layout's coordinates.
    RtfPrintout printout(rtf);
    if (!printout.Print(&file.Printer()) || !file.Save(&error)) {
        if (error.isEmpty())
            error = file.Printer().ErrorString();
        std::fprintf(stderr, "lkrtf: %s: %s\n", qPrintable(path), qPrintable(error));
        return 1;
    }
    return 0;
}

// Writes the document as HTML a part at a time, so that memory goes with a part and not with the
// text: the head and the body's tag from the first part, then each part's body. A text of one part
// comes out as the document's own HTML.
void writeHtml(const QByteArray &rtf)
{
    constexpr int partBlocks = 2000;
    QTextDocument document;
    bool first = true;
    RtfReader::ReadInParts(rtf, &document, partBlocks, [&](bool) {
        const QByteArray html = document.toHtml().toUtf8();
        qsizetype from = html.indexOf("<body");
        from = from < 0 ? 0 : html.indexOf('>', from) + 1;
        qsizetype to = html.lastIndexOf("</body>");
        if (to < from)
            to = html.size();
        if (first)
            std::fwrite(html.constData(), 1, std::size_t(from), stdout);
        std::fwrite(html.constData() + from, 1, std::size_t(to - from), stdout);
        first = false;
        return true;
    });
    std::fputs("</body></html>\n", stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    // Documents need a GUI application for fonts; no window is ever shown.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("lkrtf"));
    QGuiApplication::setApplicationVersion(QStringLiteral(LOREKEEP_VERSION_STRING));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Prints what Lorekeep reads in an RTF file: its plain text, "
                                                    "the document as HTML, the RTF Lorekeep would write back, or "
                                                    "its printout as a PDF file."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption html(QStringLiteral("html"), QStringLiteral("Print the document as HTML."));
    const QCommandLineOption roundtrip(QStringLiteral("roundtrip"),
                                       QStringLiteral("Print the RTF that Lorekeep writes of what it read."));
    const QCommandLineOption pdf(QStringLiteral("pdf"),
                                 QStringLiteral("Lay the document out into pages as Lorekeep prints it, and write "
                                                "them to the PDF file OUT."),
                                 QStringLiteral("OUT"));
    const QCommandLineOption pageSize(QStringLiteral("page-size"),
                                      QStringLiteral("The paper of the PDF: A4 (the default) or Letter."),
                                      QStringLiteral("SIZE"), QStringLiteral("A4"));
    parser.addOption(html);
    parser.addOption(roundtrip);
    parser.addOption(pdf);
    parser.addOption(pageSize);
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("The RTF file; - reads standard input."));
    parser.process(app);

    const QStringList files = parser.positionalArguments();
    if (files.size() != 1)
        parser.showHelp(2);

    QFile file;
    const bool opened = files.first() == QLatin1String("-")
                            ? file.open(stdin, QIODevice::ReadOnly)
                            : (file.setFileName(files.first()), file.open(QIODevice::ReadOnly));
    if (!opened) {
        std::fprintf(stderr, "lkrtf: cannot read %s: %s\n", qPrintable(files.first()), qPrintable(file.errorString()));
        return 1;
    }
    const QByteArray rtf = file.readAll();

    if (parser.isSet(pdf))
        return writePdf(rtf, parser.value(pdf), parser.value(pageSize));

    if (parser.isSet(html)) {
        writeHtml(rtf);
        return 0;
    }
    QByteArray out;
    if (parser.isSet(roundtrip)) {
        QTextDocument document;
        RtfReader::Read(rtf, &document);
        out = RtfWriter::FromDocument(document);
    } else {
        out = RtfReader::PlainText(rtf).toUtf8();
    }
    if (!out.endsWith('\n'))
        out.append('\n');
    std::fwrite(out.constData(), 1, std::size_t(out.size()), stdout);
    return 0;
}
