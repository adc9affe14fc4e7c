#include "Contrast.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

double linear(double channel)
{
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

// The least step from `color` towards `end` that reaches `ratio` against `background`; none when
// even `end` does not.
std::optional<QColor> towards(const QColor &color, const QColor &end, const QColor &background, double ratio)
{
    if (ContrastRatio(end, background) < ratio)
        return std::nullopt;
    // On the way towards black or white the luminance only moves one way, so the contrast rises
    // once the colour is past the background's luminance; halving finds the first step that reads.
    double low = 0;
    double high = 1;
    for (int i = 0; i < 16; ++i) {
        const double middle = (low + high) / 2;
        const QColor step = Blend(color, end, middle);
        const bool beyond = (RelativeLuminance(step) - RelativeLuminance(background)) *
                                (RelativeLuminance(end) - RelativeLuminance(background)) >=
                            0;
        if (beyond && ContrastRatio(step, background) >= ratio)
            high = middle;
        else
            low = middle;
    }
    return Blend(color, end, high);
}

} // namespace

QColor Blend(const QColor &from, const QColor &to, double amount)
{
    // Whole steps of 8 bits, so that a colour written out as #rrggbb is the colour measured.
    const QColor a = from.toRgb();
    const QColor b = to.toRgb();
    const auto channel = [amount](int x, int y) {
        return qRound(x + (y - x) * amount);
    };
    return QColor(channel(a.red(), b.red()), channel(a.green(), b.green()), channel(a.blue(), b.blue()));
}

double RelativeLuminance(const QColor &color)
{
    const QColor rgb = color.toRgb();
    return 0.2126 * linear(rgb.redF()) + 0.7152 * linear(rgb.greenF()) + 0.0722 * linear(rgb.blueF());
}

double ContrastRatio(const QColor &a, const QColor &b)
{
    const double first = RelativeLuminance(a);
    const double second = RelativeLuminance(b);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

QColor FurtherFrom(const QColor &color, const QColor &background, double ratio)
{
    QColor opaque = color.toRgb();
    opaque.setAlpha(255);
    if (ContrastRatio(opaque, background) >= ratio)
        return opaque;
    const QColor end = RelativeLuminance(opaque) >= RelativeLuminance(background) ? Qt::white : Qt::black;
    return towards(opaque, end, background, ratio).value_or(QColor(end));
}

QColor ReadableOn(const QColor &color, const QColor &background, double ratio)
{
    const QColor away = FurtherFrom(color, background, ratio);
    if (ContrastRatio(away, background) >= ratio)
        return away;
    const QColor other = RelativeLuminance(away) >= RelativeLuminance(background) ? Qt::black : Qt::white;
    if (const auto step = towards(away, other, background, ratio))
        return *step;
    return ContrastRatio(other, background) > ContrastRatio(away, background) ? other : away;
}

QColor SubduedText(const QPalette &palette, QPalette::ColorRole background)
{
    const QColor ground = palette.color(background);
    const QColor subdued = palette.color(QPalette::PlaceholderText);
    return ReadableOn(Blend(ground, subdued, subdued.alphaF()), ground);
}
