#pragma once

#include "backup/MhlManifest.h"

#include <optional>
#include <QByteArray>
#include <QList>
#include <QString>

// ASC MHL manifests and chains as XML: written in the schema's order and read
// back, namespace-aware, into Tolvane's records.
namespace MhlXml {

// An entry of a history's chain file (ascmhl_chain.xml).
struct ChainEntry
{
    int sequence = 0;
    QString fileName;
    QString c4;
};

QByteArray manifest(const Mhl::Manifest& manifest);
QByteArray chain(const QList<ChainEntry>& entries);

// The records of a manifest; nothing, with `error` set, when it is no ASC MHL
// manifest or a record cannot be understood.
std::optional<Mhl::Manifest> readManifest(const QByteArray& xml, QString& error);
std::optional<QList<ChainEntry>> readChain(const QByteArray& xml, QString& error);

// A date and time as XML Schema's dateTime, in UTC with whole seconds.
QString dateTime(const QDateTime& moment);

} // namespace MhlXml
