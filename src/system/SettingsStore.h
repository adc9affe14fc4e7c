#pragma once

#include "SettingKeys.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>
#include <utility>

// The per-user settings store: strings by section and key under the application "Lorekeep", kept in
// an INI file in the user's configuration folder. Every reader supplies its own default.
QString GetSetting(const QString &section, const QString &key, const QString &defaultValue);
void SaveSetting(const QString &section, const QString &key, const QString &value);

// The same through the table of keys, with the table's default.
QString GetSetting(const SettingKey &setting);
void SaveSetting(const SettingKey &setting, const QString &value);
// Several at once, with one write of the file. Values the file already holds are not written again.
void SaveSettings(const QList<std::pair<SettingKey, QString>> &values);

// The usual conversions of a stored string. A value that does not convert gives nothing, and the
// reader keeps its own design value.
std::optional<long> SettingNumber(const QString &value);
std::optional<bool> SettingBool(const QString &value);
// A stored column width in twips: a number from 0 up, held to 1,000,000 at most so a hand-edited
// value cannot make a column absurd; nothing when it does not read or is negative.
std::optional<int> SettingWidth(const QString &value);
// Booleans are stored as "True"/"False".
QString SettingText(bool value);

// Called with every read's section, key and default while set; for checking which keys the program
// reads. An empty function stops it.
using SettingReadObserver =
    std::function<void(const QString &section, const QString &key, const QString &defaultValue)>;
void ObserveSettingReads(SettingReadObserver observer);

// Where the store lives; useful for messages and tests.
QString SettingsFileName();
