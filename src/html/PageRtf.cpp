#include "PageRtf.h"

#include "HtmlNesting.h"
#include "ImportedHtml.h"
#include "MhtmlArchive.h"
#include "PageMarkup.h"
#include "rtf/FixedPitch.h"
#include "rtf/RtfPicture.h"
#include "rtf/RtfWriter.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImageReader>
#include <QPalette>
#include <QRandomGenerator>
#include <QSet>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextList>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace {

using PageMarkup::PictureTag;

const QString pictureScheme = QStringLiteral("lkpicture");

// What becomes of one picture in the text.
struct PictureUse
{
    int position = 0;
    const PictureTag *tag = nullptr; // none for a picture the page did not name
    QTextCharFormat format;
    QByteArray group; // the picture as written, when it is kept
    QString text;     // else the text that stands for it (possibly none)
    QUrl link;        // and where that text links to
};

// The bytes of a data: address ("data:image/png;base64,..."), none when it holds more than a picture may.
QByteArray dataUrlBytes(const QString &address)
{
    const qsizetype comma = address.indexOf(QLatin1Char(','));
    if (comma < 0 || address.size() - comma > RtfPicture::maxBytes * 4 / 3 + 4)
        return {};
    const bool base64 = QStringView(address).first(comma).endsWith(QLatin1String(";base64"), Qt::CaseInsensitive);
    const QByteArray payload = QStringView(address).sliced(comma + 1).toLatin1();
    return base64 ? QByteArray::fromBase64(QByteArray::fromPercentEncoding(payload))
                  : QByteArray::fromPercentEncoding(payload);
}

enum class Decoded { Ok, Tiny, Failed };

// Pictures are decoded whole before they are scaled: 24 megapixels (a camera's photo) take 100 MB.
constexpr qint64 maxPixels = 25'000'000;

struct Picture
{
    QImage image;
    QByteArray format; // "png", "jpeg", ...
    bool scaled = false;
};

// Decodes a raster picture at most `textWidth` wide and three times that high, proportions kept.
Decoded decodePicture(const QByteArray &bytes, int textWidth, Picture *picture)
{
    if (bytes.isEmpty() || bytes.size() > RtfPicture::maxBytes)
        return Decoded::Failed;
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    static const QList<QByteArray> raster = {"png", "jpeg", "gif", "webp", "bmp"};
    picture->format = reader.format() == "jpg" ? QByteArray("jpeg") : reader.format();
    if (!raster.contains(picture->format))
        return Decoded::Failed;
    const QSize size = reader.size();
    if (!size.isValid() || size.isEmpty() || size.width() > RtfPicture::maxSide || size.height() > RtfPicture::maxSide)
        return Decoded::Failed;
    if (qint64(size.width()) * size.height() > maxPixels)
        return Decoded::Failed;
    if (size.width() <= 2 && size.height() <= 2)
        return Decoded::Tiny;
    QSizeF fitted(size);
    const qreal maxWidth = std::max(1, textWidth);
    if (fitted.width() > maxWidth)
        fitted = QSizeF(maxWidth, fitted.height() * maxWidth / fitted.width());
    if (fitted.height() > 3 * maxWidth)
        fitted = QSizeF(fitted.width() * 3 * maxWidth / fitted.height(), 3 * maxWidth);
    const QSize target(std::max(1, qRound(fitted.width())), std::max(1, qRound(fitted.height())));
    picture->scaled = target != size;
    if (picture->scaled)
        reader.setScaledSize(target); // JPEG decodes straight at the smaller size
    QImage &image = picture->image;
    if (!reader.read(&image) || image.isNull())
        return Decoded::Failed;
    if (image.size() != target)
        image = image.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return Decoded::Ok;
}

// A picture group of PNG or JPEG data, in the lines of hexadecimal digits the writer writes.
QByteArray pictureGroup(QByteArrayView blip, QByteArrayView data, QSize size)
{
    constexpr int twipsPerPixel = 15;
    QByteArray out = "{\\pict\\" + blip.toByteArray() + "\\picw" + QByteArray::number(size.width()) + "\\pich" +
                     QByteArray::number(size.height()) + "\\picwgoal" +
                     QByteArray::number(size.width() * twipsPerPixel) + "\\pichgoal" +
                     QByteArray::number(size.height() * twipsPerPixel) + "\r\n";
    const qsizetype start = out.size();
    out.resize(start + data.size() * 2 + (data.size() + 63) / 64 * 2 + 1);
    static constexpr char digits[] = "0123456789abcdef";
    char *to = out.data() + start;
    for (qsizetype i = 0; i < data.size(); ++i) {
        const auto byte = static_cast<unsigned char>(data[i]);
        *to++ = digits[byte >> 4];
        *to++ = digits[byte & 15];
        if (i % 64 == 63 || i + 1 == data.size()) {
            *to++ = '\r';
            *to++ = '\n';
        }
    }
    *to++ = '}';
    out.truncate(to - out.constData());
    return out;
}

// The picture as the text holds it: PNG and JPEG data as they came when their size is kept, a
// scaled photo as JPEG again (as PNG it would take several times the room), anything else as PNG.
QByteArray pictureData(const QByteArray &bytes, const Picture &picture)
{
    const QSize size = picture.image.size();
    if (!picture.scaled && (picture.format == "png" || picture.format == "jpeg"))
        return pictureGroup(picture.format == "png" ? "pngblip" : "jpegblip", bytes, size);
    if (picture.format != "jpeg")
        return RtfPicture::Write(picture.image, size);
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    if (!picture.image.save(&buffer, "JPEG", 85))
        return {};
    return pictureGroup("jpegblip", jpeg, size);
}

QTextCharFormat textFormatOf(const QTextCharFormat &picture)
{
    QTextCharFormat format;
    if (picture.isAnchor()) {
        format.setAnchor(true);
        format.setAnchorHref(picture.anchorHref());
    }
    if (picture.hasProperty(QTextFormat::FontWeight))
        format.setFontWeight(picture.fontWeight());
    if (picture.hasProperty(QTextFormat::FontItalic))
        format.setFontItalic(picture.fontItalic());
    return format;
}

class PageConverter
{
public:
    PageConverter(const QUrl &page, const MhtmlArchive &archive, const PageRtfOptions &options)
        : m_page(page),
          m_archive(archive),
          m_options(options),
          m_token(QByteArrayLiteral("lkpicture") + QByteArray::number(QRandomGenerator::global()->generate64(), 36))
    {}

    PageRtfResult convert(const QString &html)
    {
        std::vector<PictureTag> tags;
        const QString numbered = PageMarkup::Prepared(
            HtmlNesting::Capped(html, HtmlNesting::MaxDepth, HtmlNesting::Scripts::Drop), pictureScheme, &tags);
        ImportedHtml document(numbered, m_page);
        document.setUndoRedoEnabled(false);
        placePictures(document, tags);
        plainLook(document);
        collapseBlankParagraphs(document);

        QByteArray rtf = RtfWriter::FromDocument(document);
        if (!m_groups.empty())
            rtf = withPictures(rtf);
        m_result.rtf = QString::fromLatin1(rtf);
        return m_result;
    }

private:
    void placePictures(QTextDocument &document, const std::vector<PictureTag> &tags)
    {
        std::vector<PictureUse> uses;
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
            for (QTextBlock::iterator it = block.begin(); !it.atEnd(); ++it) {
                const QTextFragment fragment = it.fragment();
                if (!fragment.charFormat().isImageFormat())
                    continue;
                const QTextImageFormat format = fragment.charFormat().toImageFormat();
                const QUrl name(format.name());
                bool ok = false;
                const qsizetype index = name.scheme() == pictureScheme ? name.path().toLongLong(&ok) : -1;
                for (int k = 0; k < fragment.length(); ++k) {
                    PictureUse use;
                    use.position = fragment.position() + k;
                    use.format = textFormatOf(format);
                    if (ok && index >= 0 && index < qsizetype(tags.size()))
                        use.tag = &tags[size_t(index)];
                    uses.push_back(std::move(use));
                }
            }
        }
        decodeAll(uses);
        for (PictureUse &use : uses) {
            if (use.tag)
                decide(*use.tag, &use);
        }
        for (PictureUse &use : uses) {
            if (use.group.isEmpty())
                continue;
            use.text = QString::fromLatin1(m_token) + QString::number(m_groups.size()) + QLatin1Char('.');
            m_groups.push_back(std::move(use.group));
        }
        // From the end, so that the positions of the pictures before stay where they were.
        QTextCursor cursor(&document);
        for (auto use = uses.rbegin(); use != uses.rend(); ++use) {
            cursor.setPosition(use->position);
            cursor.setPosition(use->position + 1, QTextCursor::KeepAnchor);
            QTextCharFormat format = use->format;
            if (use->link.isValid()) {
                format.setAnchor(true);
                format.setAnchorHref(use->link.toString(QUrl::FullyEncoded));
            }
            cursor.insertText(use->text, format);
        }
    }

    static bool isTracker(const PictureTag &tag)
    {
        return tag.width >= 0 && tag.width <= 2 && tag.height >= 0 && tag.height <= 2;
    }

    static QString keyOf(const PictureTag &tag) { return tag.sources.join(QLatin1Char(' ')); }

    // Pictures are decoded and encoded side by side: on a page of hundreds of them, that is most of
    // the work. Each is done once, however often the page shows it.
    void decodeAll(const std::vector<PictureUse> &uses)
    {
        if (!m_options.keepPictures)
            return;
        std::vector<std::pair<QString, const PictureTag *>> pending;
        QSet<QString> seen;
        for (const PictureUse &use : uses) {
            if (!use.tag || isTracker(*use.tag))
                continue;
            const QString key = keyOf(*use.tag);
            if (!seen.contains(key)) {
                seen.insert(key);
                pending.emplace_back(key, use.tag);
            }
        }
        std::vector<Written> done(pending.size());
        std::atomic<size_t> next{0};
        const auto work = [&] {
            for (size_t i = next++; i < pending.size(); i = next++)
                done[i] = writtenPicture(*pending[i].second);
        };
        // Few threads: each may hold a large picture while it decodes it.
        const size_t threads =
            std::min<size_t>({pending.size(), size_t(std::max(1u, std::thread::hardware_concurrency())), 4});
        std::vector<std::thread> pool;
        for (size_t t = 1; t < threads; ++t)
            pool.emplace_back(work);
        work();
        for (std::thread &thread : pool)
            thread.join();
        for (size_t i = 0; i < pending.size(); ++i)
            m_written.insert(pending[i].first, std::move(done[i]));
    }

    void decide(const PictureTag &tag, PictureUse *use)
    {
        if (isTracker(tag))
            return;
        // The link goes to the address the page gave; the picture is whichever of its addresses the
        // browser loaded and saved.
        QUrl address;
        for (const QString &source : tag.sources) {
            const QUrl candidate = resolved(source);
            const QString scheme = candidate.scheme();
            if ((scheme == QLatin1String("http") || scheme == QLatin1String("https")) &&
                ImportedHtml::KeptLink(candidate.toString(QUrl::FullyEncoded), QUrl()).isValid()) {
                address = candidate;
                break;
            }
        }
        const auto standIn = [&] {
            use->text = tag.alt;
            if (address.isValid()) {
                use->link = address;
                if (use->text.isEmpty())
                    use->text = QStringLiteral("[picture]");
            }
        };
        if (!m_options.keepPictures)
            // A tracking pixel named by its address only is no picture to link to either.
            return isTiny(pictureBytes(tag)) ? void() : standIn();
        const auto written = m_written.constFind(keyOf(tag));
        if (written == m_written.cend())
            return standIn();
        if (written->tiny)
            return; // a tracking pixel
        const QByteArray &group = written->group;
        if (group.isEmpty())
            return standIn();
        if (m_used + group.size() > m_options.pictureBudget) {
            ++m_result.picturesLinked;
            return standIn();
        }
        m_used += group.size();
        ++m_result.pictures;
        use->group = group;
    }

    struct Written
    {
        QByteArray group; // empty when the picture cannot be shown
        bool tiny = false;
    };

    // The picture group of the first of the picture's addresses the archive (or the address itself)
    // holds a picture for.
    Written writtenPicture(const PictureTag &tag) const
    {
        const QByteArray bytes = pictureBytes(tag);
        Picture picture;
        switch (decodePicture(bytes, m_options.textWidth, &picture)) {
        case Decoded::Tiny: return {{}, true};
        case Decoded::Failed: return {};
        case Decoded::Ok: break;
        }
        return {pictureData(bytes, picture), false};
    }

    QByteArray pictureBytes(const PictureTag &tag) const
    {
        QByteArray bytes;
        for (qsizetype i = 0; i < tag.sources.size() && i < 16 && bytes.isEmpty(); ++i) {
            const QString &source = tag.sources[i];
            bytes = source.startsWith(QLatin1String("data:"), Qt::CaseInsensitive) ? dataUrlBytes(source)
                                                                                   : m_archive.Part(resolved(source));
        }
        return bytes;
    }

    static bool isTiny(const QByteArray &bytes)
    {
        QBuffer buffer;
        buffer.setData(bytes);
        buffer.open(QIODevice::ReadOnly);
        const QSize size = QImageReader(&buffer).size(); // from the header alone
        return size.isValid() && size.width() <= 2 && size.height() <= 2;
    }

    QUrl resolved(const QString &source) const
    {
        const QUrl address(source);
        if (!address.isValid())
            return {};
        return address.isRelative() && m_page.isValid() ? m_page.resolved(address) : address;
    }

    // The text in the program's own look: no colours or fonts of the page, but headings keep their
    // sizes, links their look, and code its fixed-pitch font.
    static void plainLook(QTextDocument &document)
    {
        // Links in the colour the program shows links in (a tool without a GUI has no palette).
        const QBrush linkColor = qobject_cast<QGuiApplication *>(QCoreApplication::instance())
                                     ? QGuiApplication::palette().link()
                                     : QBrush(Qt::blue);
        // Only headings keep a size of their own: <small>, <big> and <font size> are the page's look.
        const auto plain = [&](QTextCharFormat format, bool heading) {
            if (!heading)
                format.clearProperty(QTextFormat::FontSizeAdjustment);
            const bool fixed = IsFixedPitchFormat(format);
            for (const int property :
                 {int(QTextFormat::ForegroundBrush), int(QTextFormat::BackgroundBrush), int(QTextFormat::FontFamilies),
                  int(QTextFormat::FontStyleHint), int(QTextFormat::FontPointSize), int(QTextFormat::FontPixelSize),
                  int(QTextFormat::FontFixedPitch), int(QTextFormat::FontLetterSpacing),
                  int(QTextFormat::FontWordSpacing), int(QTextFormat::TextUnderlineColor),
                  int(QTextFormat::TextOutline), int(QTextFormat::FontCapitalization)})
                format.clearProperty(property);
            if (fixed) {
                format.setFontFamilies({QStringLiteral("Courier New")});
                format.setFontFixedPitch(true);
            }
            if (format.isAnchor() && !format.anchorHref().isEmpty()) {
                format.setForeground(linkColor);
                format.setFontUnderline(true);
            }
            return format;
        };
        struct Change
        {
            int position;
            int length;
            QTextCharFormat format;
        };
        std::vector<Change> changes;
        QTextCursor cursor(&document);
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
            QTextBlockFormat blockFormat = block.blockFormat();
            const bool heading = blockFormat.headingLevel() > 0;
            if (blockFormat.hasProperty(QTextFormat::BackgroundBrush)) {
                blockFormat.clearProperty(QTextFormat::BackgroundBrush);
                cursor.setPosition(block.position());
                cursor.setBlockFormat(blockFormat);
            }
            const QTextCharFormat blockChars = plain(block.charFormat(), heading);
            if (blockChars != block.charFormat()) {
                cursor.setPosition(block.position());
                cursor.setBlockCharFormat(blockChars);
            }
            for (QTextBlock::iterator it = block.begin(); !it.atEnd(); ++it) {
                const QTextFragment fragment = it.fragment();
                const QTextCharFormat format = plain(fragment.charFormat(), heading);
                if (format != fragment.charFormat())
                    changes.push_back({fragment.position(), fragment.length(), format});
            }
        }
        for (const Change &change : changes) {
            cursor.setPosition(change.position);
            cursor.setPosition(change.position + change.length, QTextCursor::KeepAnchor);
            cursor.setCharFormat(change.format);
        }
    }

    static bool isBlank(const QTextBlock &block)
    {
        if (block.textList())
            return false;
        const QString text = block.text();
        return std::all_of(text.cbegin(), text.cend(),
                           [](QChar c) { return c.isSpace() || c == QChar::LineSeparator; });
    }

    // Pages space their text with empty elements; in the file one empty paragraph is enough, and
    // none at its start or end.
    static void collapseBlankParagraphs(QTextDocument &document)
    {
        std::vector<int> doomed; // blocks removed with the paragraph mark before them
        bool startOfText = true;
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
            const QTextBlock previous = block.previous();
            const bool sameFrame = previous.isValid() &&
                                   document.frameAt(previous.position()) == document.frameAt(block.position()) &&
                                   !QTextCursor(previous).currentTable() && !QTextCursor(block).currentTable();
            if (!isBlank(block)) {
                startOfText = false;
                continue;
            }
            if (sameFrame && isBlank(previous) && !startOfText)
                doomed.push_back(block.blockNumber());
        }
        QTextCursor cursor(&document);
        for (auto number = doomed.rbegin(); number != doomed.rend(); ++number) {
            const QTextBlock block = document.findBlockByNumber(*number);
            cursor.setPosition(block.position() - 1);
            cursor.setPosition(block.position() + block.length() - 1, QTextCursor::KeepAnchor);
            cursor.removeSelectedText();
        }
        // Blank paragraphs at the very start and end.
        while (document.blockCount() > 1 && isBlank(document.firstBlock()) &&
               !QTextCursor(document.firstBlock().next()).currentTable() &&
               document.frameAt(document.firstBlock().next().position()) == document.rootFrame()) {
            cursor.setPosition(0);
            cursor.setPosition(document.firstBlock().length(), QTextCursor::KeepAnchor);
            cursor.removeSelectedText();
        }
        while (document.blockCount() > 1 && isBlank(document.lastBlock()) &&
               document.frameAt(document.lastBlock().position()) == document.rootFrame() &&
               !QTextCursor(document.lastBlock().previous()).currentTable()) {
            const QTextBlock last = document.lastBlock();
            cursor.setPosition(last.position() - 1);
            cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
            cursor.removeSelectedText();
        }
    }

    // The pictures go where their tokens were written: each picture is encoded once, in the
    // size it is counted at, and no image is held in memory while the text is written.
    QByteArray withPictures(const QByteArray &rtf) const
    {
        QByteArray out;
        qsizetype total = rtf.size();
        for (const QByteArray &group : m_groups)
            total += group.size();
        out.reserve(total);
        qsizetype copied = 0;
        qsizetype at = 0;
        while ((at = rtf.indexOf(m_token, at)) >= 0) {
            qsizetype digits = at + m_token.size();
            qsizetype index = 0;
            while (digits < rtf.size() && rtf[digits] >= '0' && rtf[digits] <= '9' &&
                   index < qsizetype(m_groups.size()))
                index = index * 10 + (rtf[digits++] - '0');
            if (digits >= rtf.size() || rtf[digits] != '.' || index >= qsizetype(m_groups.size())) {
                at = digits;
                continue;
            }
            out.append(QByteArrayView(rtf).sliced(copied, at - copied));
            out.append(m_groups[size_t(index)]);
            copied = at = digits + 1;
        }
        out.append(QByteArrayView(rtf).sliced(copied));
        return out;
    }

    const QUrl m_page;
    const MhtmlArchive &m_archive;
    const PageRtfOptions m_options;
    const QByteArray m_token;
    std::vector<QByteArray> m_groups;
    QHash<QString, Written> m_written;
    qint64 m_used = 0;
    PageRtfResult m_result;
};

} // namespace

PageRtfResult PageRtf(const QString &html, const QUrl &page, const MhtmlArchive &archive, const PageRtfOptions &options)
{
    return PageConverter(page, archive, options).convert(html);
}
