#pragma once

#include <QString>

// The fixed code tables: sub-categories of files, genres and platforms, stored as small numbers.
// Code 0 means none in every table and has no name. Names compare exactly, case included.
namespace modNames {

constexpr quint8 SubCatCount = 6;
constexpr quint8 GenreCount = 8;
constexpr quint8 PlatformCount = 19;

QString GetSubCatName(quint8 code);
quint8 GetSubCatCode(const QString &name);
QString GetGenreName(quint8 code);
quint8 GetGenreCode(const QString &name);
QString GetPlatformName(quint8 code);

} // namespace modNames
