#pragma once

#include <QStringList>

class QMimeData;

// The local files and folders a drag carries, as paths; empty for text, web links and the like.
QStringList DroppedFiles(const QMimeData *data);
