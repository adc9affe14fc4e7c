#include "SettingsStore.h"

#include <QLoggingCategory>
#include <QSettings>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <limits>

Q_LOGGING_CATEGORY(lcSettings, "lorekeep.settings")

namespace {

// A QSettings per call is cheap: Qt keeps the parsed file per process and shares it.
QSettings store()
{
    return QSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Lorekeep"),
                     QStringLiteral("Lorekeep"));
}

QString path(const QString &section, const QString &key)
{
    return section + QLatin1Char('/') + key;
}

} // namespace

namespace {

SettingReadObserver &readObserver()
{
    static SettingReadObserver observer;
    return observer;
}

} // namespace

void ObserveSettingReads(SettingReadObserver observer)
{
    readObserver() = std::move(observer);
}

QString GetSetting(const QString &section, const QString &key, const QString &defaultValue)
{
    if (readObserver())
        readObserver()(section, key, defaultValue);
    const QVariant value = store().value(path(section, key));
    if (!value.isValid())
        return defaultValue;
    // A hand-edited value with an unquoted comma reads back as a list; keep it as the text it was.
    if (value.typeId() == QMetaType::QStringList)
        return value.toStringList().join(QStringLiteral(", "));
    return value.toString();
}

namespace {

// Writes name/value pairs with one sync of the file. Values the file already holds are skipped: each
// sync takes the file's lock and rewrites and flushes the whole file.
void write(const QList<std::pair<QString, QString>> &values)
{
    QSettings settings = store();
    QStringList written;
    for (const auto &[name, value] : values) {
        const QVariant stored = settings.value(name);
        if (stored.typeId() == QMetaType::QString && stored.toString() == value)
            continue;
        settings.setValue(name, value);
        written << name;
    }
    if (written.isEmpty())
        return;
    settings.sync();
    if (settings.status() != QSettings::NoError)
        qCWarning(lcSettings) << "could not save setting(s)" << written.join(QStringLiteral(", ")) << "to"
                              << settings.fileName();
}

} // namespace

void SaveSetting(const QString &section, const QString &key, const QString &value)
{
    write({{path(section, key), value}});
}

void SaveSettings(const QList<std::pair<SettingKey, QString>> &values)
{
    QList<std::pair<QString, QString>> named;
    named.reserve(values.size());
    for (const auto &[setting, value] : values)
        named.append({path(setting.section(), setting.key()), value});
    write(named);
}

QString GetSetting(const SettingKey &setting)
{
    return GetSetting(setting.section(), setting.key(), setting.defaultValue());
}

void SaveSetting(const SettingKey &setting, const QString &value)
{
    SaveSetting(setting.section(), setting.key(), value);
}

std::optional<long> SettingNumber(const QString &value)
{
    const QString text = value.trimmed();
    bool ok = false;
    const long whole = text.toLong(&ok);
    if (ok)
        return whole;
    const double number = text.toDouble(&ok);
    if (!ok || !std::isfinite(number) || std::fabs(number) > double(std::numeric_limits<int>::max()))
        return std::nullopt;
    // Halves go to the even neighbour, as the classic string-to-integer rules do.
    return long(std::nearbyint(number));
}

std::optional<int> SettingWidth(const QString &value)
{
    const auto number = SettingNumber(value);
    if (!number || *number < 0)
        return std::nullopt;
    return int(std::min(*number, 1000000L));
}

std::optional<bool> SettingBool(const QString &value)
{
    const QString text = value.trimmed();
    if (text.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0)
        return true;
    if (text.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0)
        return false;
    bool ok = false;
    const double number = text.toDouble(&ok);
    if (!ok)
        return std::nullopt;
    return number != 0.0;
}

QString SettingText(bool value)
{
    return value ? QStringLiteral("True") : QStringLiteral("False");
}

QString SettingsFileName()
{
    return store().fileName();
}
