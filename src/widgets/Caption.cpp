#include "Caption.h"

#include "base/Version.h"
#include "system/Contrast.h"

#include <QApplication>
#include <QLabel>
#include <QPalette>

void SetCaptionColors(QLabel *label, short state)
{
    if (!label || (state != CaptionActive && state != CaptionInactive))
        return;
    QPalette palette = label->palette();
    const QPalette system = QApplication::palette();
    if (state == CaptionActive) {
        palette.setColor(QPalette::Window, Qt::black);
        palette.setColor(QPalette::WindowText, Qt::white);
    } else {
        // Button face on the workspace reads poorly on most desktops, light or dark. The text moves
        // away from the strip first, so that the strip keeps the workspace's colour and stays
        // apart from the black of the active one; only where the text cannot get far enough does
        // the strip give way as well.
        const QColor strip = system.color(QPalette::Dark);
        const QColor text = FurtherFrom(system.color(QPalette::Button), strip);
        palette.setColor(QPalette::Window, ReadableOn(strip, text));
        palette.setColor(QPalette::WindowText, text);
    }
    label->setAutoFillBackground(true);
    label->setPalette(palette);
}

QString FilesCaption(const QString &databaseName)
{
    return QStringLiteral(LOREKEEP_TITLE " - [") + databaseName + QStringLiteral("] - Files");
}
