#include "PdfExport.h"

#include <QFileInfo>
#include <QPdfWriter>
#include <QRegularExpression>
#include <QSaveFile>

#include <map>

namespace {

// A PDF string for any text: UTF-16BE in hex, with the byte order mark.
QByteArray pdfText(const QString &text)
{
    QByteArray hex = "<FEFF";
    for (const QChar ch : text)
        hex += QByteArray::number(ch.unicode() | 0x10000, 16).mid(1).toUpper();
    return hex + '>';
}

// The PDF as Qt writes it: one cross-reference table at the end, objects in plain text except
// their content streams.
class PdfObjects
{
public:
    explicit PdfObjects(const QByteArray &pdf) : m_pdf(pdf) {}

    bool read()
    {
        const qsizetype start = m_pdf.lastIndexOf("startxref");
        const qsizetype trailer = m_pdf.lastIndexOf("trailer");
        if (start < 0 || trailer < 0)
            return false;
        bool ok = false;
        m_xref = m_pdf.mid(start + 9, 24).trimmed().split('\n').value(0).trimmed().toLongLong(&ok);
        if (!ok || m_xref <= 0 || m_xref >= trailer)
            return false;
        const QByteArray table = m_pdf.mid(m_xref, trailer - m_xref);
        const QList<QByteArray> lines = table.split('\n');
        qint64 number = -1;
        for (const QByteArray &raw : lines) {
            const QList<QByteArray> fields = raw.simplified().split(' ');
            if (fields.size() == 2) {
                number = fields[0].toLongLong();
            } else if (fields.size() == 3 && number >= 0) {
                if (fields[2] == "n")
                    m_offsets[number] = fields[0].toLongLong();
                ++number;
            }
        }
        const QByteArray dict = m_pdf.mid(trailer);
        m_size = intAfter(dict, "/Size");
        m_root = intAfter(dict, "/Root");
        m_info = intAfter(dict, "/Info");
        return m_size > 0 && m_root > 0;
    }

    // The text between "N 0 obj" and "endobj".
    QByteArray body(qint64 number) const
    {
        const auto found = m_offsets.find(number);
        if (found == m_offsets.end())
            return {};
        const qsizetype open = m_pdf.indexOf("obj", found->second);
        const qsizetype close = m_pdf.indexOf("endobj", open);
        return open < 0 || close < 0 ? QByteArray() : m_pdf.mid(open + 3, close - open - 3).trimmed();
    }

    static qint64 intAfter(const QByteArray &text, const char *key)
    {
        static const QRegularExpression number(QStringLiteral("^\\s*(\\d+)"));
        const qsizetype at = text.indexOf(key);
        if (at < 0)
            return 0;
        const auto match = number.match(QString::fromLatin1(text.mid(at + qstrlen(key), 24)));
        return match.hasMatch() ? match.captured(1).toLongLong() : 0;
    }

    qint64 xref() const { return m_xref; }
    qint64 size() const { return m_size; }
    qint64 root() const { return m_root; }
    qint64 info() const { return m_info; }

private:
    const QByteArray &m_pdf;
    std::map<qint64, qint64> m_offsets;
    qint64 m_xref = 0;
    qint64 m_size = 0;
    qint64 m_root = 0;
    qint64 m_info = 0;
};

QString writeError(const QString &path, const QSaveFile &file)
{
    return QStringLiteral("\"%1\" could not be written: %2").arg(QFileInfo(path).fileName(), file.errorString());
}

} // namespace

PdfExport::PdfExport(QString path, const QPageSize &pageSize, const QString &title) : m_path(std::move(path))
{
    m_buffer.open(QIODevice::WriteOnly);
    m_writer = std::make_unique<QPdfWriter>(&m_buffer);
    m_writer->setPageSize(pageSize);
    m_writer->setPageMargins(QMarginsF(0, 0, 0, 0));
    m_writer->setTitle(title);
    m_writer->setCreator(QStringLiteral("Lorekeep"));
    m_printer = std::make_unique<PagePrinter>(m_writer.get());
}

PdfExport::~PdfExport() = default;

void PdfExport::AddOutline(const QString &title, int page)
{
    m_outline.append({title, page});
}

bool PdfExport::Save(QString *error)
{
    if (!m_printer->End()) {
        *error = m_printer->ErrorString();
        return false;
    }
    QByteArray pdf = m_buffer.data();
    if ((!m_outline.isEmpty() || m_lastToFront > 0) && !AddOutline(&pdf, m_outline, m_lastToFront)) {
        *error = QStringLiteral("The PDF's outline could not be written.");
        return false;
    }
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly) || file.write(pdf) != pdf.size() || !file.commit()) {
        *error = writeError(m_path, file);
        return false;
    }
    return true;
}

bool PdfExport::CanWrite(const QString &path, QString *error)
{
    QSaveFile probe(path);
    if (probe.open(QIODevice::WriteOnly)) {
        probe.cancelWriting();
        return true;
    }
    *error = writeError(path, probe);
    return false;
}

bool PdfExport::AddOutline(QByteArray *pdf, const QVector<OutlineEntry> &entries, int lastToFront)
{
    PdfObjects objects(*pdf);
    if (!objects.read())
        return false;
    const QByteArray catalog = objects.body(objects.root());
    const qint64 pagesNumber = PdfObjects::intAfter(catalog, "/Pages");
    const QByteArray pages = objects.body(pagesNumber);
    const qsizetype kidsOpen = pages.indexOf('[', pages.indexOf("/Kids"));
    const qsizetype kidsClose = pages.indexOf(']', kidsOpen);
    if (!catalog.endsWith(">>") || kidsOpen < 0 || kidsClose < 0)
        return false;
    static const QRegularExpression reference(QStringLiteral("(\\d+)\\s+0\\s+R"));
    QList<QByteArray> kids;
    for (auto it = reference.globalMatch(QString::fromLatin1(pages.mid(kidsOpen, kidsClose - kidsOpen))); it.hasNext();)
        kids.append(it.next().captured(1).toLatin1());
    if (lastToFront > 0 && lastToFront <= kids.size())
        kids = kids.mid(kids.size() - lastToFront) + kids.mid(0, kids.size() - lastToFront);

    QByteArray update = "\n";
    std::map<qint64, qint64> written;
    const auto write = [&](qint64 number, const QByteArray &body) {
        written[number] = pdf->size() + update.size();
        update += QByteArray::number(number) + " 0 obj\n" + body + "\nendobj\n";
    };

    QByteArray newPages = pages.left(kidsOpen + 1);
    for (const QByteArray &kid : kids)
        newPages += ' ' + kid + " 0 R";
    write(pagesNumber, newPages + ' ' + pages.mid(kidsClose));

    QByteArray newCatalog = catalog.left(catalog.size() - 2);
    qint64 next = objects.size();
    if (!entries.isEmpty()) {
        const qint64 outlines = next++;
        const qint64 first = next;
        const qint64 last = first + entries.size() - 1;
        write(outlines, "<< /Type /Outlines /First " + QByteArray::number(first) + " 0 R /Last " +
                            QByteArray::number(last) + " 0 R /Count " + QByteArray::number(entries.size()) + " >>");
        for (int i = 0; i < entries.size(); ++i) {
            const qint64 number = first + i;
            const QByteArray page = kids.value(qBound(0, entries[i].Page, int(kids.size()) - 1));
            QByteArray item = "<< /Title " + pdfText(entries[i].Title) + " /Parent " + QByteArray::number(outlines) +
                              " 0 R /Dest [" + page + " 0 R /XYZ null null null]";
            if (i > 0)
                item += " /Prev " + QByteArray::number(number - 1) + " 0 R";
            if (number < last)
                item += " /Next " + QByteArray::number(number + 1) + " 0 R";
            write(number, item + " >>");
        }
        next = last + 1;
        newCatalog += "/Outlines " + QByteArray::number(outlines) + " 0 R\n/PageMode /UseOutlines\n";
    }
    write(objects.root(), newCatalog + ">>");

    const qint64 xref = pdf->size() + update.size();
    update += "xref\n";
    for (auto it = written.begin(); it != written.end();) {
        auto end = it;
        qint64 expected = it->first;
        while (end != written.end() && end->first == expected) {
            ++end;
            ++expected;
        }
        update += QByteArray::number(it->first) + ' ' + QByteArray::number(expected - it->first) + '\n';
        for (; it != end; ++it)
            update += QByteArray::number(it->second).rightJustified(10, '0') + " 00000 n \n";
    }
    update += "trailer\n<< /Size " + QByteArray::number(next) + " /Root " + QByteArray::number(objects.root()) + " 0 R";
    if (objects.info() > 0)
        update += " /Info " + QByteArray::number(objects.info()) + " 0 R";
    update +=
        " /Prev " + QByteArray::number(objects.xref()) + " >>\nstartxref\n" + QByteArray::number(xref) + "\n%%EOF\n";
    pdf->append(update);
    return true;
}
