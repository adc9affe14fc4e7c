#include "Twips.h"

#include <QGuiApplication>
#include <QScreen>

#include <cmath>

namespace {

constexpr double fallbackDpi = 96.0;

QScreen *primaryScreen()
{
    return qobject_cast<QGuiApplication *>(QCoreApplication::instance()) ? QGuiApplication::primaryScreen() : nullptr;
}

} // namespace

int Twips::toPixels(int twips, double dpi)
{
    return int(std::lround(double(twips) * dpi / PerInch));
}

int Twips::fromPixels(int pixels, double dpi)
{
    return dpi > 0 ? int(std::lround(double(pixels) * PerInch / dpi)) : 0;
}

double Twips::dpiX()
{
    QScreen *screen = primaryScreen();
    return screen && screen->logicalDotsPerInchX() > 0 ? screen->logicalDotsPerInchX() : fallbackDpi;
}

double Twips::dpiY()
{
    QScreen *screen = primaryScreen();
    return screen && screen->logicalDotsPerInchY() > 0 ? screen->logicalDotsPerInchY() : fallbackDpi;
}

int Twips::toPixelsX(int twips)
{
    return toPixels(twips, dpiX());
}
int Twips::toPixelsY(int twips)
{
    return toPixels(twips, dpiY());
}
int Twips::fromPixelsX(int pixels)
{
    return fromPixels(pixels, dpiX());
}
int Twips::fromPixelsY(int pixels)
{
    return fromPixels(pixels, dpiY());
}
