#include "RtfPicture.h"

#include "RtfToken.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QImage>
#include <QImageReader>
#include <QTextDocument>
#include <QTextFormat>
#include <QUrl>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr qreal twipsPerCm = 1440 / 2.54;
// Document pixels are 1/96 inch.
constexpr qreal twipsPerPixel = 15;

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

} // namespace

RtfPicture RtfPicture::Parse(QByteArrayView group)
{
    using RtfToken::is;
    RtfPicture picture;
    picture.data.reserve(std::min<qsizetype>(group.size() / 2, maxBytes));
    const char *data = group.data();
    const qsizetype end = group.size();
    qsizetype pos = 0;
    int depth = 0; // inside groups of the picture ({\*\picprop}, {\*\blipuid}): no picture data there
    int high = -1;
    const auto append = [&picture](QByteArrayView bytes) {
        if (picture.tooLarge)
            return;
        if (picture.data.size() + bytes.size() > maxBytes) {
            picture.tooLarge = true;
            picture.data.clear();
            picture.data.squeeze();
            return;
        }
        picture.data.append(bytes);
    };
    while (pos < end) {
        const char c = data[pos++];
        if (c == '{') {
            ++depth;
        } else if (c == '}') {
            depth = std::max(depth - 1, 0);
        } else if (c == '\\') {
            if (pos >= end)
                break;
            if (!isLetter(data[pos])) {
                ++pos;
                continue;
            }
            const qsizetype start = pos;
            while (pos < end && isLetter(data[pos]))
                ++pos;
            const QByteArrayView word(data + start, std::min<qsizetype>(pos - start, 32));
            const bool negative = pos + 1 < end && data[pos] == '-' && isDigit(data[pos + 1]);
            if (negative)
                ++pos;
            long long value = 0;
            for (int digits = 0; pos < end && isDigit(data[pos]); ++pos) {
                if (digits++ < 10)
                    value = value * 10 + (data[pos] - '0');
            }
            if (pos < end && data[pos] == ' ')
                ++pos;
            const int param = RtfToken::clampInt(negative ? -value : value, 0, std::numeric_limits<int>::max());
            if (is(word, "bin")) {
                // Raw bytes in place of hex digits.
                const qsizetype count = std::min<qsizetype>(param, end - pos);
                if (depth == 0)
                    append(QByteArrayView(data + pos, count));
                pos += count;
                continue;
            }
            if (depth > 0)
                continue;
            if (is(word, "pngblip"))
                picture.kind = Png;
            else if (is(word, "jpegblip"))
                picture.kind = Jpeg;
            else if (is(word, "wmetafile") || is(word, "emfblip") || is(word, "pmmetafile"))
                picture.kind = Metafile;
            else if (is(word, "dibitmap") || is(word, "wbitmap") || is(word, "macpict"))
                picture.kind = Bitmap; // QuickDraw pictures give their size in pixels too
            else if (is(word, "picw"))
                picture.width = param;
            else if (is(word, "pich"))
                picture.height = param;
            else if (is(word, "picwgoal"))
                picture.goalWidth = param;
            else if (is(word, "pichgoal"))
                picture.goalHeight = param;
            else if (is(word, "picscalex"))
                picture.scaleX = param;
            else if (is(word, "picscaley"))
                picture.scaleY = param;
        } else if (depth == 0 && !picture.tooLarge) {
            const int nibble = RtfToken::hexValue(c);
            if (nibble < 0)
                continue;
            if (high < 0) {
                high = nibble;
            } else {
                const char byte = char(high * 16 + nibble);
                append(QByteArrayView(&byte, 1));
                high = -1;
            }
        }
    }
    return picture;
}

QSizeF RtfPicture::ShownTwips() const
{
    QSizeF twips(goalWidth, goalHeight);
    if (twips.isEmpty()) {
        // A metafile's own size is in hundredths of a millimetre; a bitmap's in pixels, at 96 to the inch.
        const qreal perUnit = kind == Metafile ? 1440 / 2540.0 : twipsPerPixel;
        twips = QSizeF(width * perUnit, height * perUnit);
    }
    if (twips.isEmpty())
        return {};
    return QSizeF(twips.width() * (scaleX > 0 ? scaleX : 100) / 100.0,
                  twips.height() * (scaleY > 0 ? scaleY : 100) / 100.0);
}

QString RtfPicture::Placeholder() const
{
    return PlaceholderText(placeholderTwips());
}

QSizeF RtfPicture::placeholderTwips() const
{
    // Whole twips, as the writer writes them, so that a saved placeholder reads back as the same text.
    const QSizeF twips = ShownTwips();
    if (twips.isEmpty() || twips.width() > 1e7 || twips.height() > 1e7)
        return QSizeF(0, 0);
    return QSizeF(std::round(twips.width()), std::round(twips.height()));
}

QString RtfPicture::PlaceholderText(QSizeF twips)
{
    if (twips.isEmpty() || twips.width() > 1e7 || twips.height() > 1e7)
        return QStringLiteral("[picture]");
    return QStringLiteral("[picture %1 \u00D7 %2 cm]")
        .arg(twips.width() / twipsPerCm, 0, 'f', 1)
        .arg(twips.height() / twipsPerCm, 0, 'f', 1);
}

bool RtfPicture::AddTo(QTextDocument *document, QTextImageFormat *format) const
{
    if ((kind != Png && kind != Jpeg) || tooLarge || data.isEmpty())
        return false;
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, kind == Png ? "png" : "jpeg");
    // The header's size is checked before any pixel is decoded.
    const QSize size = reader.size();
    if (!size.isValid() || size.isEmpty() || size.width() > maxSide || size.height() > maxSide)
        return false;
    QImage image;
    if (!reader.read(&image) || image.isNull())
        return false;
    // Named by its content: pasting the same picture twice, or into a document holding others, never
    // mixes two up.
    const QUrl name(QStringLiteral("rtf-picture:") +
                    QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Sha1).toHex()));
    document->addResource(QTextDocument::ImageResource, name, image);
    QSizeF shown = ShownTwips() / twipsPerPixel;
    if (goalWidth <= 0 || goalHeight <= 0)
        shown = QSizeF(image.width() * (scaleX > 0 ? scaleX : 100) / 100.0,
                       image.height() * (scaleY > 0 ? scaleY : 100) / 100.0);
    format->setName(name.toString());
    format->setWidth(std::clamp<qreal>(shown.width(), 1, 4 * maxSide));
    format->setHeight(std::clamp<qreal>(shown.height(), 1, 4 * maxSide));
    return true;
}

QByteArray RtfPicture::Write(const QImage &image, QSizeF shown)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (image.isNull() || !image.save(&buffer, "PNG"))
        return {};
    if (shown.isEmpty())
        shown = image.size();
    QByteArray out = "{\\pict\\pngblip\\picw" + QByteArray::number(image.width()) + "\\pich" +
                     QByteArray::number(image.height()) + "\\picwgoal" +
                     QByteArray::number(qRound(shown.width() * twipsPerPixel)) + "\\pichgoal" +
                     QByteArray::number(qRound(shown.height() * twipsPerPixel)) + "\r\n";
    out.reserve(out.size() + png.size() * 2 + png.size() / 32 + 8);
    // Lines of 64 bytes, as word processors write them.
    for (qsizetype at = 0; at < png.size(); at += 64) {
        out.append(QByteArrayView(png).sliced(at, std::min<qsizetype>(64, png.size() - at)).toByteArray().toHex());
        out.append("\r\n");
    }
    out.append('}');
    return out;
}

QTextCharFormat RtfPicture::PlaceholderFormat() const
{
    QTextCharFormat format;
    format.setFontItalic(true);
    format.setForeground(Qt::darkGray);
    format.setProperty(placeholderProperty, placeholderTwips());
    return format;
}

QByteArray RtfPicture::WritePlaceholder(QSizeF twips)
{
    QByteArray out = "{\\pict\\wmetafile8";
    if (!twips.isEmpty() && twips.width() < 1e7 && twips.height() < 1e7)
        out += "\\picwgoal" + QByteArray::number(qRound(twips.width())) + "\\pichgoal" +
               QByteArray::number(qRound(twips.height()));
    out += '}';
    return out;
}
