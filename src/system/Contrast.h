#pragma once

#include <QColor>
#include <QPalette>

// How well one colour reads on another, by the measure of the web's accessibility guidelines
// (WCAG 2): relative luminance, and the ratio of two luminances from 1 (the same) to 21 (black on
// white). Text of normal size wants at least 4.5.

constexpr double ReadableContrast = 4.5;

double RelativeLuminance(const QColor &color);
// The opaque colour `amount` (0 to 1) of the way from `from` to `to`, in whole 8-bit steps.
QColor Blend(const QColor &from, const QColor &to, double amount);
double ContrastRatio(const QColor &a, const QColor &b);

// `color`, moved away from `background` (towards white when it is the lighter of the two, towards
// black when it is the darker) until it reaches `ratio` against it, or as far as that end allows.
QColor FurtherFrom(const QColor &color, const QColor &background, double ratio = ReadableContrast);
// `color`, moved as little as it takes to reach `ratio` against `background`: towards white when it
// is the lighter of the two, towards black when it is the darker, and the other way only when that
// end cannot get there. Where neither can, the better of black and white. A colour that reads
// already comes back as it is.
QColor ReadableOn(const QColor &color, const QColor &background, double ratio = ReadableContrast);

// The subdued text of the palette (its placeholder colour, laid over `background`), made readable
// on that background: for notes that should not stand out but must still be read.
QColor SubduedText(const QPalette &palette, QPalette::ColorRole background);
