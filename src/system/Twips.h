#pragma once

// Lengths in the layout code are twips (1/1440 inch); widgets want pixels. Conversions round to the
// nearest pixel or twip and use the screen's logical DPI unless one is given.
class Twips final
{
public:
    static constexpr int PerInch = 1440;

    static int toPixelsX(int twips);
    static int toPixelsY(int twips);
    static int fromPixelsX(int pixels);
    static int fromPixelsY(int pixels);

    static int toPixels(int twips, double dpi);
    static int fromPixels(int pixels, double dpi);

    // The logical DPI of the primary screen, 96 when there is none.
    static double dpiX();
    static double dpiY();
};
