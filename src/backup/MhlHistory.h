#pragma once

#include "backup/MhlManifest.h"
#include "backup/MhlXml.h"

#include <optional>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>

// The ASC MHL history of a folder: the ascmhl folder at its root, holding one
// manifest per generation and the chain that lists them with their C4 ids.
class MhlHistory
{
public:
    struct Generation
    {
        MhlXml::ChainEntry entry;
        Mhl::Manifest manifest;
    };

    // The history of the folder `scope`; an empty one when it has none yet.
    // Nothing, with `error` set, when its chain or a manifest cannot be read
    // or a manifest is no longer the one the chain names.
    static std::optional<MhlHistory> load(const QString& scope, QString& error);

    bool isEmpty() const { return m_generations.isEmpty(); }
    const QList<Generation>& generations() const { return m_generations; }

    // Each file's latest hash that may be verified against (original or
    // verified), by path.
    QHash<QString, Mhl::FileRecord> recordedFiles() const;

    // Writes `manifest` as the next generation, named after the scope's
    // folder and `started` (UTC), and adds it to the chain; each file is
    // written under a temporary name and flushed before it takes its name.
    // Gives the manifest's path, or nothing with `error` set.
    std::optional<QString> append(const Mhl::Manifest& manifest, const QDateTime& started, QString& error);

    // "0001_A001_2026-11-25_131500Z.mhl"
    static QString manifestFileName(int number, const QString& folderName, const QDateTime& started);
    static QString chainFileName();

private:
    QString m_scope;
    QList<Generation> m_generations;
};
