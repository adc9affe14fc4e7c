#include "FixedPitch.h"

#include <QFont>
#include <QFontMetricsF>
#include <QStringList>
#include <QTextBlock>
#include <QTextDocument>

#include <algorithm>

namespace {

// Enough of a text to tell its font by; the rest costs time on a text of megabytes.
constexpr qsizetype sampledCharacters = 200000;

// Families that are fixed-pitch wherever a document names them, whether or not it marks them so and
// whether or not this machine has them.
bool isFixedPitchFamily(const QString &family)
{
    static const QStringList families{
        QStringLiteral("courier new"),   QStringLiteral("courier"),         QStringLiteral("lucida console"),
        QStringLiteral("consolas"),      QStringLiteral("terminal"),        QStringLiteral("fixedsys"),
        QStringLiteral("monospace"),     QStringLiteral("dejavu sans mono"), QStringLiteral("liberation mono"),
        QStringLiteral("andale mono"),   QStringLiteral("monaco"),          QStringLiteral("lucida sans typewriter"),
        QStringLiteral("ms gothic"),     QStringLiteral("gulimche"),        QStringLiteral("ms mincho")};
    return families.contains(family.trimmed().toLower());
}

} // namespace

bool IsFixedPitchFormat(const QTextCharFormat &format)
{
    if (format.fontFixedPitch())
        return true;
    const QStringList families = format.fontFamilies().toStringList();
    return !families.isEmpty() && isFixedPitchFamily(families.constFirst());
}

bool IsFixedPitchText(const QTextDocument *document)
{
    qsizetype fixed = 0;
    qsizetype all = 0;
    for (QTextBlock block = document->begin(); block.isValid() && all < sampledCharacters; block = block.next()) {
        for (QTextBlock::iterator it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            const qsizetype length = fragment.length();
            all += length;
            if (IsFixedPitchFormat(fragment.charFormat()))
                fixed += length;
        }
    }
    // A heading or a note in another font leaves a guide fixed-pitch.
    return all > 0 && fixed * 5 >= all * 4;
}

int LongestLine(const QTextDocument *document, int cap)
{
    int longest = 0;
    for (QTextBlock block = document->begin(); block.isValid() && longest < cap; block = block.next()) {
        const QString text = block.text();
        if (text.size() <= longest && !text.contains(QLatin1Char('\t')))
            continue;
        int column = 0;
        for (const QChar c : text) {
            // A line break inside a paragraph starts a new line.
            if (c == QChar::LineSeparator)
                column = 0;
            else
                column = c == QLatin1Char('\t') ? (column / 8 + 1) * 8 : column + 1;
            longest = std::max(longest, column);
        }
    }
    return std::min(longest, cap);
}

qreal ColumnsFitSize(const QFont &font, int columns, qreal width, QPaintDevice *device)
{
    // Advances grow in proportion to the size, so one measure at a known size tells the rest.
    constexpr qreal measured = 100;
    QFont probe(font);
    probe.setPointSizeF(measured);
    const qreal advance = QFontMetricsF(probe, device).horizontalAdvance(QLatin1Char('M'));
    if (advance <= 0 || columns <= 0)
        return font.pointSizeF();
    return measured * width / (advance * columns);
}
