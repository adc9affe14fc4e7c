#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QSizeF>
#include <QString>
#include <QTextFormat>

class QImage;
class QTextDocument;

// A {\pict ...} group taken apart: the kind of data, the data itself and the sizes RTF gives it.
struct RtfPicture
{
    enum Kind : unsigned char { Unknown, Png, Jpeg, Metafile, Bitmap };
    // More picture data than this, or more pixels a side, is not decoded: it stays a placeholder.
    static constexpr qsizetype maxBytes = 20 * 1024 * 1024;
    static constexpr int maxSide = 10000;

    Kind kind = Unknown;
    QByteArray data;
    bool tooLarge = false;
    int width = 0, height = 0;         // \picw, \pich: pixels, or 0.01 mm for a Windows or OS/2 metafile
    int goalWidth = 0, goalHeight = 0; // \picwgoal, \pichgoal: twips
    int scaleX = 100, scaleY = 100;    // \picscalex, \picscaley: per cent

    // Reads the group's content, from just after "\pict" to before its closing brace.
    static RtfPicture Parse(QByteArrayView group);

    // The size it is shown at, in twips, from what the RTF says; empty when it says nothing usable.
    QSizeF ShownTwips() const;
    // Stands in for a picture that is not shown: "[picture 4.2 × 3.0 cm]".
    QString Placeholder() const;
    // The character format of the placeholder's text: grey and italic, and marked with the picture's
    // size in twips (an empty size when it has none), which the writer writes back as a picture
    // group without data, so that a saved document neither loses the picture's place nor turns its
    // placeholder into text.
    static constexpr int placeholderProperty = QTextFormat::UserProperty + 1;
    QTextCharFormat PlaceholderFormat() const;
    // The placeholder's text for a picture of that size, and the picture group that reads back as it.
    static QString PlaceholderText(QSizeF twips);
    static QByteArray WritePlaceholder(QSizeF twips);

    // Decodes a PNG or JPEG picture into an image resource of `document` and sets `format` to show
    // it at its size; false for other kinds, and for data that is broken or too large.
    bool AddTo(QTextDocument *document, QTextImageFormat *format) const;
    // A document's image as a PNG picture group, shown at `shown` (document pixels, 96 to the
    // inch; the image's own size when empty).
    static QByteArray Write(const QImage &image, QSizeF shown);

private:
    QSizeF placeholderTwips() const;
};
