#pragma once

#include "StoreBackup.h"

#include <QString>

#include <optional>

// How many games and files each store held when the program last closed it cleanly, kept in a
// small file in the backup folder, so that a backup holding less can be told apart from the
// library the user had. A store is known by its path, or by its address for a server's store.
class ClosedCounts final
{
public:
    static const QString FileName; // "last-closed.json"

    // Keeps `counts` as those of `store` when last closed; false with `err` when the file cannot be written.
    static bool Remember(const QString &folder, const QString &store, const BackupContents &counts, ErrObject *err);
    // The counts kept for `store`; nothing when it was never closed here, or the file is unreadable.
    static std::optional<BackupContents> Recall(const QString &folder, const QString &store);
};
