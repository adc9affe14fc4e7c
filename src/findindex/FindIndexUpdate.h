#pragma once

#include "FindIndex.h"

// Bringing the queued files into the index, for FindIndex::Update: a store file's own index, made
// on every core, and a shared library's.
namespace FindIndexUpdate {

bool Lean(const QSqlDatabase &db, qint64 maxFiles, qint64 *done, ErrObject *err, const FindIndex::Progress &progress);
bool Shared(const QSqlDatabase &db, qint64 maxFiles, qint64 *done, ErrObject *err, const FindIndex::Progress &progress);

} // namespace FindIndexUpdate
