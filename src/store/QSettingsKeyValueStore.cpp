#include "store/QSettingsKeyValueStore.h"

#include "base/AppInfo.h"
#include "base/Durability.h"

#include <QDir>
#include <QFileDevice>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QScopeGuard>

namespace {

const QString bytesMember = QStringLiteral("base64");

QJsonValue toJson(const QVariant& value)
{
    if (value.typeId() == QMetaType::QByteArray)
        return QJsonObject{{bytesMember, QString::fromLatin1(value.toByteArray().toBase64())}};
    return QJsonValue::fromVariant(value);
}

QVariant fromJson(const QJsonValue& value)
{
    if (value.isArray()) {
        QStringList strings;
        for (const QJsonValue element : value.toArray()) {
            if (!element.isString())
                return value.toVariant();
            strings.append(element.toString());
        }
        return strings;
    }
    if (value.isObject()) {
        const QJsonObject object = value.toObject();
        if (object.size() == 1 && object.value(bytesMember).isString()) {
            const auto decoded = QByteArray::fromBase64Encoding(
                object.value(bytesMember).toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
            if (decoded)
                return *decoded;
        }
    }
    return value.toVariant();
}

} // namespace

bool QSettingsKeyValueStore::readJsonPreferences(QIODevice& device, QSettings::SettingsMap& map)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(device.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return false;
    const QJsonObject object = document.object();
    for (auto member = object.begin(); member != object.end(); ++member)
        map.insert(member.key(), fromJson(member.value()));
    return true;
}

namespace {

bool writeJsonPreferences(QIODevice& device, const QSettings::SettingsMap& map)
{
    QJsonObject object;
    for (auto entry = map.begin(); entry != map.end(); ++entry)
        object.insert(entry.key(), toJson(entry.value()));
    const QByteArray text = QJsonDocument(object).toJson(QJsonDocument::Indented);
    if (device.write(text) != text.size())
        return false;
    // QSettings renames the file into place without flushing it: the content
    // reaches the disk first, so a power cut leaves the old file or the new one.
    auto* file = qobject_cast<QFileDevice*>(&device);
    return !file || (file->flush() && !Durability::flushDescriptor(file->handle()));
}

QSettings::Format jsonFormat()
{
    static const QSettings::Format format = QSettings::registerFormat(
        QStringLiteral("json"), QSettingsKeyValueStore::readJsonPreferences, writeJsonPreferences);
    return format;
}

} // namespace

std::shared_ptr<QSettingsKeyValueStore> QSettingsKeyValueStore::openApplicationStore()
{
    const QSettings located(jsonFormat(), QSettings::UserScope,
                            QString::fromLatin1(AppInfo::organizationName),
                            QString::fromLatin1(AppInfo::applicationName));
    return std::make_shared<QSettingsKeyValueStore>(located.fileName());
}

QSettingsKeyValueStore::QSettingsKeyValueStore(const QString& fileName) : m_settings(fileName, jsonFormat())
{
}

std::optional<QVariant> QSettingsKeyValueStore::value(const QString& key) const
{
    if (!m_settings.contains(key))
        return std::nullopt;
    return m_settings.value(key);
}

void QSettingsKeyValueStore::setValue(const QString& key, const QVariant& value)
{
    exclusively([&] { m_settings.setValue(key, value); });
}

void QSettingsKeyValueStore::remove(const QString& key)
{
    exclusively([&] { m_settings.remove(key); });
}

void QSettingsKeyValueStore::exclusively(const std::function<void()>& work)
{
    if (m_inExclusiveSection) {
        work();
        return;
    }
    QDir().mkpath(QFileInfo(m_settings.fileName()).absolutePath());
    // QSettings holds its own "<file>.lock" only while it syncs, so this one needs another name.
    QLockFile lock(m_settings.fileName() + QStringLiteral(".update-lock"));
    // Should the lock file be impossible to create, the writes still go ahead, each one whole.
    lock.lock();
    m_settings.sync();
    m_inExclusiveSection = true;
    const auto writeThrough = qScopeGuard([this] {
        m_inExclusiveSection = false;
        m_settings.sync();
        // The rename into place reaches the disk with the folder.
        Durability::flushFolderOf(m_settings.fileName());
    });
    work();
}
