// Suite "print": laying the generator's 1 MB document out into pages for a PDF with our page
// routine, against Qt's own paginator (QTextDocument::print) of the same document into the same
// page size.

#include "BenchContext.h"
#include "data/modADO.h"
#include "print/PagePrinter.h"
#include "rtf/RtfReader.h"

#include <QBuffer>
#include <QPdfWriter>
#include <QSqlQuery>
#include <QTextDocument>

#include <memory>

namespace {

constexpr qint64 documentBytes = 1024 * 1024;

bool loadDocument(const BenchContext &context, QByteArray *rtf)
{
    modADO store(QStringLiteral("bench-print"));
    if (!context.openStore(&store))
        return false;
    {
        QSqlQuery query(store.Connection());
        query.prepare(QStringLiteral("SELECT txt_rtf FROM file ORDER BY abs(length(txt_rtf) - ?) LIMIT 1"));
        query.addBindValue(documentBytes);
        if (!query.exec() || !query.next()) {
            context.note(QStringLiteral("the store holds no documents"));
            return false;
        }
        *rtf = query.value(0).toString().toLatin1();
    }
    store.Close();
    return true;
}

// A PDF writer into memory, A4 without margins of its own, as the export makes it.
std::unique_ptr<QPdfWriter> pdfWriter(QBuffer *buffer)
{
    buffer->setData(QByteArray());
    buffer->open(QIODevice::WriteOnly);
    auto writer = std::make_unique<QPdfWriter>(buffer);
    writer->setPageSize(QPageSize(QPageSize::A4));
    writer->setPageMargins(QMarginsF(0, 0, 0, 0));
    return writer;
}

} // namespace

int runPrintSuite(const BenchContext &context)
{
    QByteArray rtf;
    if (!loadDocument(context, &rtf))
        return 1;
    QTextDocument source;
    RtfReader::Read(rtf, &source);
    context.note(
        QStringLiteral("paginate-1mb: %1 bytes of RTF, %2 characters").arg(rtf.size()).arg(source.characterCount()));

    // Each run lays out a fresh copy, so neither side finds the layout of an earlier run.
    int ourPages = 0;
    const auto ours = [&] {
        std::unique_ptr<QTextDocument> document(source.clone());
        QBuffer buffer;
        const auto writer = pdfWriter(&buffer);
        PagePrinter pages(writer.get());
        const bool printed = pages.Print(document.get()) && pages.End();
        ourPages = pages.PageCount();
        return printed && ourPages > 1 && buffer.size() > 0;
    };
    const auto baseline = [&] {
        std::unique_ptr<QTextDocument> document(source.clone());
        QBuffer buffer;
        const auto writer = pdfWriter(&buffer);
        document->print(writer.get());
        return buffer.size() > 0;
    };
    const bool measured = context.compare(QStringLiteral("paginate-1mb"), ours, baseline);
    context.note(QStringLiteral("paginate-1mb: %1 pages").arg(ourPages));
    return measured ? 0 : 1;
}
