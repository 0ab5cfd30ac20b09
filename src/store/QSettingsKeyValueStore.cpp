#include "store/QSettingsKeyValueStore.h"

#include "base/AppInfo.h"
#include "base/Durability.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileDevice>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QSaveFile>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <sys/stat.h>
#include <unistd.h>

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

QString reasonOf(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

QString lockFileName(const QString& fileName)
{
    // QSettings holds its own "<file>.lock" only while it syncs, so this one needs another name.
    return fileName + QStringLiteral(".update-lock");
}

} // namespace

std::shared_ptr<QSettingsKeyValueStore> QSettingsKeyValueStore::openApplicationStore()
{
    // Where QSettings keeps the user's preferences, named without opening
    // them: QSettings reads a file as it opens it, whatever its size.
    return std::make_shared<QSettingsKeyValueStore>(
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QLatin1Char('/') +
        QString::fromLatin1(AppInfo::organizationName) + QLatin1Char('/') +
        QString::fromLatin1(AppInfo::applicationName) + QStringLiteral(".json"));
}

QSettingsKeyValueStore::QSettingsKeyValueStore(const QString& fileName) : m_fileName(fileName)
{
    // Reading a good file leaves no trace, not even a lock file coming and going.
    if (judge() != Verdict::fine) {
        QLockFile lock(lockFileName(m_fileName));
        lock.lock();
        // A file that cannot be set aside is not written either: the first write says why.
        setAsideIfUnreadable();
    }
    m_settings = std::make_unique<QSettings>(m_fileName, jsonFormat());
}

QString QSettingsKeyValueStore::setAsideFileName(const QString& fileName, const QDateTime& when)
{
    return fileName + QStringLiteral(".unreadable-") + when.toString(QStringLiteral("yyyy-MM-dd-HHmmss"));
}

QString QSettingsKeyValueStore::unreadableNotice(const QString& fileName, const QString& keptAs)
{
    return QStringLiteral("Tolvane’s settings and history in “%1” could not be read, so the defaults apply. "
                          "The file was kept as “%2”.")
        .arg(fileName, keptAs);
}

QString QSettingsKeyValueStore::tooLargeNotice(const QString& fileName, const QString& keptAs)
{
    return QStringLiteral("Tolvane’s settings and history in “%1” are larger than %2 MB, far more than "
                          "Tolvane writes, so they were not read and the defaults apply. The file was kept "
                          "as “%3”.")
        .arg(fileName)
        .arg(sizeLimit / (1024 * 1024))
        .arg(keptAs);
}

QSettingsKeyValueStore::Verdict QSettingsKeyValueStore::judge()
{
    // Only a regular file can be set aside; anything else in its place fails the writes.
    const std::optional<FileState> state = FileState::of(QFile::encodeName(m_fileName));
    if (!state || state == m_lastGood)
        return Verdict::fine;
    if (state->size > sizeLimit)
        return Verdict::tooLarge;
    QFile file(m_fileName);
    // A file that cannot be opened is left where it is: the write says why.
    if (!file.open(QIODevice::ReadOnly))
        return Verdict::fine;
    // Never more than the limit in memory, whatever the file grew to meanwhile.
    const QByteArray text = file.read(sizeLimit + 1);
    if (text.size() > sizeLimit)
        return Verdict::tooLarge;
    QBuffer buffer;
    buffer.setData(text);
    buffer.open(QIODevice::ReadOnly);
    QSettings::SettingsMap ignored;
    if (!readJsonPreferences(buffer, ignored))
        return Verdict::unreadable;
    m_lastGood = state;
    return Verdict::fine;
}

std::optional<QString> QSettingsKeyValueStore::setAsideIfUnreadable()
{
    const Verdict verdict = judge();
    if (verdict == Verdict::fine)
        return std::nullopt;
    const bool tooLarge = verdict == Verdict::tooLarge;
    const QByteArray nativeName = QFile::encodeName(m_fileName);
    QString keptAs = setAsideFileName(m_fileName, QDateTime::currentDateTime());
    for (int attempt = 2; QFileInfo::exists(keptAs); ++attempt)
        keptAs =
            setAsideFileName(m_fileName, QDateTime::currentDateTime()) + QStringLiteral("-%1").arg(attempt);
    if (::rename(nativeName.constData(), QFile::encodeName(keptAs).constData()) != 0)
        return QStringLiteral("Cannot be read, and could not be kept aside (%1)").arg(reasonOf(errno));
    m_lastGood.reset();
    tell(tooLarge ? tooLargeNotice(m_fileName, keptAs) : unreadableNotice(m_fileName, keptAs));
    QSaveFile defaults(m_fileName);
    if (!defaults.open(QIODevice::WriteOnly) || defaults.write("{\n}\n") < 0 || !defaults.commit())
        return defaults.errorString();
    return std::nullopt;
}

void QSettingsKeyValueStore::tell(const QString& notice)
{
    if (m_setAsideListener)
        m_setAsideListener(notice);
    else
        m_untoldNotices.append(notice);
}

void QSettingsKeyValueStore::setSetAsideListener(std::function<void(const QString& notice)> listener)
{
    m_setAsideListener = std::move(listener);
    const QStringList untold = std::exchange(m_untoldNotices, {});
    for (const QString& notice : untold)
        tell(notice);
}

QString QSettingsKeyValueStore::writeFailureReason() const
{
    // Opening for writing without truncating changes nothing, and fails as a
    // write would: "Is a directory", "Operation not permitted" (immutable),
    // "Read-only file system".
    const int descriptor =
        ::open(QFile::encodeName(m_fileName).constData(), O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (descriptor >= 0)
        ::close(descriptor);
    else if (errno != ENOENT)
        return reasonOf(errno);
    // The file is replaced by a new one written beside it.
    QTemporaryFile probe(QFileInfo(m_fileName).absolutePath() + QStringLiteral("/.Tolvane-XXXXXX"));
    if (!probe.open())
        return probe.errorString();
    return QStringLiteral("The file could not be replaced");
}
std::optional<QVariant> QSettingsKeyValueStore::value(const QString& key) const
{
    if (!m_settings->contains(key))
        return std::nullopt;
    return m_settings->value(key);
}

void QSettingsKeyValueStore::setValue(const QString& key, const QVariant& value)
{
    exclusively([&] { m_settings->setValue(key, value); });
}

void QSettingsKeyValueStore::remove(const QString& key)
{
    exclusively([&] { m_settings->remove(key); });
}

std::optional<QString> QSettingsKeyValueStore::exclusively(const std::function<void()>& work)
{
    if (m_inExclusiveSection) {
        work();
        return std::nullopt;
    }
    QDir().mkpath(QFileInfo(m_fileName).absolutePath());
    QLockFile lock(lockFileName(m_fileName));
    // Should the lock file be impossible to create, the writes still go ahead, each one whole.
    lock.lock();
    const std::optional<QString> unreadable = setAsideIfUnreadable();
    if (!unreadable) {
        // QSettings keeps the first error it met: a fresh one tells of this
        // section alone. Writes that failed before stay pending in the
        // process, and go with this section's.
        if (m_settings->status() != QSettings::NoError)
            m_settings = std::make_unique<QSettings>(m_fileName, jsonFormat());
        m_settings->sync();
    }
    m_inExclusiveSection = true;
    {
        const auto leave = qScopeGuard([this] { m_inExclusiveSection = false; });
        work();
    }
    std::optional<QString> failure = unreadable;
    if (!failure) {
        m_settings->sync();
        if (m_settings->status() == QSettings::NoError) {
            // The rename into place reaches the disk with the folder.
            Durability::flushFolderOf(m_fileName);
            m_lastGood = FileState::of(QFile::encodeName(m_fileName));
        }
        else
            failure = writeFailureReason();
    }
    if (!failure)
        return std::nullopt;
    m_lastGood.reset();
    return QStringLiteral("“%1”: %2").arg(m_fileName, *failure);
}
