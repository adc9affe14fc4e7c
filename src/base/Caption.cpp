#include "Caption.h"

#include "base/Version.h"

#include <QApplication>
#include <QLabel>
#include <QPalette>

void SetCaptionColors(QLabel *label, short state)
{
    if (!label || (state != CaptionActive && state != CaptionInactive))
        return;
    QPalette palette = label->palette();
    const QPalette system = QApplication::palette();
    const bool active = state == CaptionActive;
    palette.setColor(QPalette::Window, active ? QColor(Qt::black) : system.color(QPalette::Dark));
    palette.setColor(QPalette::WindowText, active ? QColor(Qt::white) : system.color(QPalette::Button));
    label->setAutoFillBackground(true);
    label->setPalette(palette);
}

QString FilesCaption(const QString &databaseName)
{
    return QStringLiteral(LOREKEEP_TITLE " - [") + databaseName + QStringLiteral("] - Files");
}
