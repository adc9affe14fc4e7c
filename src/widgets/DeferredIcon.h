#pragma once

#include <QIcon>
#include <QList>
#include <QSize>
#include <QString>
#include <QStyle>

#include <utility>

class QWidget;

// Icons whose image files are read the first time the icon is drawn or measured. A plain QIcon reads
// and decodes every file it is given at once, so a window that sets up icons for rows, tabs and file
// kinds the user may not see yet would pay for all of them while it starts. Each file is given with
// the size it holds, or an invalid size when it may hold any (its "@2x" partner is then found as
// QIcon finds it).
QIcon DeferredIcon(const QList<std::pair<QString, QSize>> &files);
QIcon DeferredIcon(const QString &file);
// The style's own icon for `which`, asked of `widget`'s style (the application's once the widget is
// gone) the first time it is drawn or measured: the style decodes every size of it when asked, and
// most of a pane's buttons are not on screen when the pane is made.
QIcon DeferredStandardIcon(QStyle::StandardPixmap which, const QWidget *widget);
