#include "backup/MhlXml.h"

#include "backup/Xxh64.h"

#include <QXmlStreamReader>
#include <QXmlStreamWriter>

namespace MhlXml {

namespace {

const QString manifestNamespace = QStringLiteral("urn:ASC:MHL:v2.0");
const QString chainNamespace = QStringLiteral("urn:ASC:MHL:DIRECTORY:v2.0");

void writeDirectoryHash(QXmlStreamWriter& xml, const Mhl::DirectoryHash& hash)
{
    xml.writeStartElement(QStringLiteral("content"));
    xml.writeTextElement(QStringLiteral("xxh64"), Xxh64::hex(hash.content));
    xml.writeEndElement();
    xml.writeStartElement(QStringLiteral("structure"));
    xml.writeTextElement(QStringLiteral("xxh64"), Xxh64::hex(hash.structure));
    xml.writeEndElement();
}

QString processName(Mhl::Process process)
{
    return process == Mhl::Process::transfer ? QStringLiteral("transfer") : QStringLiteral("in-place");
}

// Reads the XXH64 inside a content or structure element into `hash`.
bool readHashContainer(QXmlStreamReader& xml, Mhl::DirectoryHash& hash)
{
    const bool isContent = xml.name() == u"content";
    bool found = false;
    while (xml.readNextStartElement()) {
        if (xml.name() != u"xxh64") {
            xml.skipCurrentElement();
            continue;
        }
        const std::optional<quint64> value = Xxh64::fromHex(xml.readElementText().trimmed());
        if (!value)
            return false;
        (isContent ? hash.content : hash.structure) = *value;
        found = true;
    }
    return found;
}

bool isHashContainer(const QXmlStreamReader& xml)
{
    return xml.name() == u"content" || xml.name() == u"structure";
}

QDateTime readDate(const QXmlStreamAttributes& attributes, const QString& name)
{
    return QDateTime::fromString(attributes.value(name).toString(), Qt::ISODate);
}

bool readFile(QXmlStreamReader& xml, Mhl::FileRecord& file, QString& error)
{
    bool hashed = false;
    while (xml.readNextStartElement()) {
        if (xml.name() == u"path") {
            const QXmlStreamAttributes attributes = xml.attributes();
            file.size = attributes.value(QStringLiteral("size")).toLongLong();
            file.lastModified = readDate(attributes, QStringLiteral("lastmodificationdate"));
            file.path = xml.readElementText();
        } else if (xml.name() == u"xxh64") {
            const std::optional<Mhl::Action> action =
                Mhl::actionNamed(xml.attributes().value(QStringLiteral("action")).toString());
            const std::optional<quint64> value = Xxh64::fromHex(xml.readElementText().trimmed());
            if (!action || !value) {
                error = QStringLiteral("an XXH64 hash that cannot be read");
                return false;
            }
            file.action = *action;
            file.xxh64 = *value;
            hashed = true;
        } else {
            xml.skipCurrentElement();
        }
    }
    if (file.path.isEmpty() || !hashed) {
        error = QStringLiteral("a file record without a path or an XXH64 hash");
        return false;
    }
    return true;
}

} // namespace

QString dateTime(const QDateTime& moment)
{
    return moment.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ssZ"));
}

QByteArray manifest(const Mhl::Manifest& manifest)
{
    QByteArray bytes;
    QXmlStreamWriter xml(&bytes);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(2);
    xml.writeStartDocument();
    xml.writeDefaultNamespace(manifestNamespace);
    xml.writeStartElement(manifestNamespace, QStringLiteral("hashlist"));
    xml.writeAttribute(QStringLiteral("version"), QStringLiteral("2.0"));

    xml.writeStartElement(QStringLiteral("creatorinfo"));
    xml.writeTextElement(QStringLiteral("creationdate"), dateTime(manifest.created));
    xml.writeTextElement(QStringLiteral("hostname"), manifest.hostName);
    xml.writeStartElement(QStringLiteral("tool"));
    xml.writeAttribute(QStringLiteral("version"), manifest.toolVersion);
    xml.writeCharacters(manifest.toolName);
    xml.writeEndElement();
    xml.writeEndElement();

    xml.writeStartElement(QStringLiteral("processinfo"));
    xml.writeTextElement(QStringLiteral("process"), processName(manifest.process));
    if (manifest.root) {
        xml.writeStartElement(QStringLiteral("roothash"));
        writeDirectoryHash(xml, *manifest.root);
        xml.writeEndElement();
    }
    xml.writeStartElement(QStringLiteral("ignore"));
    for (const QString& pattern : Mhl::ignorePatterns())
        xml.writeTextElement(QStringLiteral("pattern"), pattern);
    xml.writeEndElement();
    xml.writeEndElement();

    if (!manifest.files.isEmpty() || !manifest.directories.isEmpty()) {
        xml.writeStartElement(QStringLiteral("hashes"));
        for (const Mhl::FileRecord& file : manifest.files) {
            xml.writeStartElement(QStringLiteral("hash"));
            xml.writeStartElement(QStringLiteral("path"));
            xml.writeAttribute(QStringLiteral("size"), QString::number(file.size));
            xml.writeAttribute(QStringLiteral("lastmodificationdate"), dateTime(file.lastModified));
            xml.writeCharacters(file.path);
            xml.writeEndElement();
            xml.writeStartElement(QStringLiteral("xxh64"));
            xml.writeAttribute(QStringLiteral("action"), Mhl::actionName(file.action));
            xml.writeCharacters(Xxh64::hex(file.xxh64));
            xml.writeEndElement();
            xml.writeEndElement();
        }
        for (const Mhl::DirectoryRecord& folder : manifest.directories) {
            xml.writeStartElement(QStringLiteral("directoryhash"));
            xml.writeStartElement(QStringLiteral("path"));
            xml.writeAttribute(QStringLiteral("lastmodificationdate"), dateTime(folder.lastModified));
            xml.writeCharacters(folder.path);
            xml.writeEndElement();
            writeDirectoryHash(xml, folder.hash);
            xml.writeEndElement();
        }
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    return bytes;
}

QByteArray chain(const QList<ChainEntry>& entries)
{
    QByteArray bytes;
    QXmlStreamWriter xml(&bytes);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(2);
    xml.writeStartDocument();
    xml.writeDefaultNamespace(chainNamespace);
    xml.writeStartElement(chainNamespace, QStringLiteral("ascmhldirectory"));
    for (const ChainEntry& entry : entries) {
        xml.writeStartElement(QStringLiteral("hashlist"));
        xml.writeAttribute(QStringLiteral("sequencenr"), QString::number(entry.sequence));
        xml.writeTextElement(QStringLiteral("path"), entry.fileName);
        xml.writeTextElement(QStringLiteral("c4"), entry.c4);
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    return bytes;
}

std::optional<Mhl::Manifest> readManifest(const QByteArray& xml, QString& error)
{
    QXmlStreamReader reader(xml);
    if (!reader.readNextStartElement() || reader.name() != u"hashlist" ||
        reader.namespaceUri() != manifestNamespace) {
        error = QStringLiteral("not an ASC MHL manifest");
        return std::nullopt;
    }
    Mhl::Manifest manifest;
    while (reader.readNextStartElement()) {
        if (reader.name() == u"creatorinfo") {
            while (reader.readNextStartElement()) {
                if (reader.name() == u"creationdate")
                    manifest.created = QDateTime::fromString(reader.readElementText(), Qt::ISODate);
                else if (reader.name() == u"hostname")
                    manifest.hostName = reader.readElementText();
                else if (reader.name() == u"tool") {
                    manifest.toolVersion = reader.attributes().value(QStringLiteral("version")).toString();
                    manifest.toolName = reader.readElementText();
                } else
                    reader.skipCurrentElement();
            }
        } else if (reader.name() == u"processinfo") {
            while (reader.readNextStartElement()) {
                if (reader.name() == u"process") {
                    manifest.process = reader.readElementText() == u"transfer" ? Mhl::Process::transfer
                                                                               : Mhl::Process::inPlace;
                } else if (reader.name() == u"roothash") {
                    Mhl::DirectoryHash root;
                    int found = 0;
                    while (reader.readNextStartElement()) {
                        if (isHashContainer(reader))
                            found += readHashContainer(reader, root) ? 1 : 0;
                        else
                            reader.skipCurrentElement();
                    }
                    if (found == 2)
                        manifest.root = root;
                } else {
                    reader.skipCurrentElement();
                }
            }
        } else if (reader.name() == u"hashes") {
            while (reader.readNextStartElement()) {
                if (reader.name() == u"hash") {
                    Mhl::FileRecord file;
                    if (!readFile(reader, file, error))
                        return std::nullopt;
                    manifest.files.append(file);
                } else if (reader.name() == u"directoryhash") {
                    Mhl::DirectoryRecord folder;
                    while (reader.readNextStartElement()) {
                        if (reader.name() == u"path") {
                            folder.lastModified =
                                readDate(reader.attributes(), QStringLiteral("lastmodificationdate"));
                            folder.path = reader.readElementText();
                        } else if (isHashContainer(reader)) {
                            readHashContainer(reader, folder.hash);
                        } else {
                            reader.skipCurrentElement();
                        }
                    }
                    manifest.directories.append(folder);
                } else {
                    reader.skipCurrentElement();
                }
            }
        } else {
            reader.skipCurrentElement();
        }
    }
    if (reader.hasError()) {
        error = reader.errorString();
        return std::nullopt;
    }
    return manifest;
}

std::optional<QList<ChainEntry>> readChain(const QByteArray& xml, QString& error)
{
    QXmlStreamReader reader(xml);
    if (!reader.readNextStartElement() || reader.name() != u"ascmhldirectory" ||
        reader.namespaceUri() != chainNamespace) {
        error = QStringLiteral("not an ASC MHL chain");
        return std::nullopt;
    }
    QList<ChainEntry> entries;
    while (reader.readNextStartElement()) {
        if (reader.name() != u"hashlist") {
            reader.skipCurrentElement();
            continue;
        }
        ChainEntry entry;
        entry.sequence = reader.attributes().value(QStringLiteral("sequencenr")).toInt();
        while (reader.readNextStartElement()) {
            if (reader.name() == u"path")
                entry.fileName = reader.readElementText().trimmed();
            else if (reader.name() == u"c4")
                entry.c4 = reader.readElementText().simplified().remove(QLatin1Char(' '));
            else
                reader.skipCurrentElement();
        }
        entries.append(entry);
    }
    if (reader.hasError()) {
        error = reader.errorString();
        return std::nullopt;
    }
    return entries;
}

} // namespace MhlXml
