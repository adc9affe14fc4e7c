#pragma once

#include "platform/ErrObject.h"

#include <QString>
#include <QStringList>

// Lorekeep's home on disk. A new home (a folder that does not exist yet, or an empty one) gets the
// bundled files: an empty store, the pictures of the start page, the tips and the Quick Clip folder.
// A home that holds anything is left as it is, so a store the user deleted is never brought back.
class HomeFolder final
{
public:
    static const QString StoreFileName; // "lorekeep.lkb"

    // The files a new home receives, by name.
    static QStringList BundledFiles();

    static bool IsNew(const QString &home);
    // Installs the bundled files into `home` when it is new. `installed` (may be null) tells whether
    // it was. A failure leaves no half-written store behind.
    static bool Prepare(const QString &home, bool *installed, ErrObject *err);
};
