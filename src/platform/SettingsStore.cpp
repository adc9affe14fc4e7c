#include "SettingsStore.h"

#include <QLoggingCategory>
#include <QSettings>
#include <QStringList>

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

QString GetSetting(const QString &section, const QString &key, const QString &defaultValue)
{
    const QVariant value = store().value(path(section, key));
    if (!value.isValid())
        return defaultValue;
    // A hand-edited value with an unquoted comma reads back as a list; keep it as the text it was.
    if (value.typeId() == QMetaType::QStringList)
        return value.toStringList().join(QStringLiteral(", "));
    return value.toString();
}

void SaveSetting(const QString &section, const QString &key, const QString &value)
{
    QSettings settings = store();
    settings.setValue(path(section, key), value);
    settings.sync();
    if (settings.status() != QSettings::NoError)
        qCWarning(lcSettings) << "could not save setting" << path(section, key) << "to" << settings.fileName();
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
