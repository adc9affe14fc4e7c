#pragma once

#include "system/ErrObject.h"

#include <QString>
#include <QStringList>

class QDir;

// Lorekeep's home on disk. A new home (a folder that does not exist yet, or an empty one) gets the
// bundled files: an empty store, the pictures of the start page, the tips and the Quick Clip folder.
// A home that holds anything gets the bundled files it lacks, but never a store: one the user
// deleted is not brought back.
class HomeFolder final
{
public:
    static const QString StoreFileName; // "lorekeep.lkb"

    // The files a new home receives, by name.
    static QStringList BundledFiles();

    static bool IsNew(const QString &home);
    // Installs the bundled files into `home` when it is new, and the ones it lacks (not the store)
    // when it is not, and clears what a backup cut off part-way left there. `installed` (may be
    // null) tells whether a new home was installed. A failure leaves no half-written store behind;
    // a missing file that cannot be added to an existing home is logged, not an error.
    static bool Prepare(const QString &home, bool *installed, ErrObject *err);
    // Adds the bundled files other than the store that `dir` lacks; returns their names.
    static QStringList CompleteHome(const QDir &dir);
};
