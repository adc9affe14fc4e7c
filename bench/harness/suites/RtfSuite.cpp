// Suite "rtf": our RTF reader against Qt's own HTML import of the same content, and a long text
// read in parts against the same read whole.

#include "BenchContext.h"
#include "data/modADO.h"
#include "rtf/RtfReader.h"

#include <QSqlQuery>
#include <QTextDocument>

namespace {

// Enough of the library's documents to smooth out their differences in size and formatting.
constexpr int sampleSize = 300;

struct Sample
{
    QList<QByteArray> rtf;
    QList<QString> html;
    qsizetype bytes = 0;
};

bool loadSample(const BenchContext &context, Sample *sample)
{
    modADO store(QStringLiteral("bench-rtf"));
    if (!context.openStore(&store))
        return false;
    {
        QSqlQuery query(store.Connection());
        query.setForwardOnly(true);
        if (!query.exec(QStringLiteral("SELECT txt_rtf FROM file ORDER BY auto_id LIMIT %1").arg(sampleSize))) {
            context.note(QStringLiteral("cannot read the documents"));
            return false;
        }
        while (query.next()) {
            sample->rtf.append(query.value(0).toString().toLatin1());
            sample->bytes += sample->rtf.constLast().size();
        }
    }
    store.Close();
    if (sample->rtf.isEmpty()) {
        context.note(QStringLiteral("the store holds no documents"));
        return false;
    }
    // The baseline reads the same content, made into HTML by Qt from what our reader read.
    for (const QByteArray &rtf : std::as_const(sample->rtf)) {
        QTextDocument document;
        RtfReader::Read(rtf, &document);
        sample->html.append(document.toHtml());
    }
    return true;
}

bool readHtml(const Sample &sample)
{
    for (const QString &html : sample.html) {
        QTextDocument document;
        document.setHtml(html);
        if (document.isEmpty())
            return false;
    }
    return true;
}

} // namespace

int runRtfSuite(const BenchContext &context)
{
    Sample sample;
    if (!loadSample(context, &sample))
        return 1;
    context.note(QStringLiteral("%1 documents, %2 KB of RTF").arg(sample.rtf.size()).arg(sample.bytes / 1024));

    const auto plainText = [&sample] {
        qsizetype characters = 0;
        for (const QByteArray &rtf : std::as_const(sample.rtf))
            characters += RtfReader::PlainText(rtf).size();
        return characters > 0;
    };
    const auto read = [&sample] {
        for (const QByteArray &rtf : std::as_const(sample.rtf)) {
            QTextDocument document;
            RtfReader::Read(rtf, &document);
            if (document.isEmpty())
                return false;
        }
        return true;
    };
    const auto baseline = [&sample] {
        return readHtml(sample);
    };
    bool measured = context.compare(QStringLiteral("plaintext"), plainText, baseline);
    measured = context.compare(QStringLiteral("read"), read, baseline) && measured;

    // A text of 300,000 short paragraphs written as HTML as lkrtf does, in parts of 2,000, against
    // the whole document read and written at once.
    QByteArray longText = "{\\rtf1\\ansi ";
    for (int line = 0; line < 300000; ++line)
        longText += "line " + QByteArray::number(line) + "\\par\n";
    longText += '}';
    const auto inParts = [&longText] {
        QTextDocument document;
        qsizetype bytes = 0;
        RtfReader::ReadInParts(longText, &document, 2000, [&](bool) {
            bytes += document.toHtml().size();
            return true;
        });
        return bytes > 0;
    };
    const auto whole = [&longText] {
        QTextDocument document;
        RtfReader::Read(longText, &document);
        return !document.toHtml().isEmpty();
    };
    measured = context.compare(QStringLiteral("long-text-html"), inParts, whole) && measured;
    return measured ? 0 : 1;
}
