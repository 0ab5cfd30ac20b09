#pragma once

#include "card/FileSystemUtilities.h"

#include <optional>
#include <QString>
#include <QStringList>

// What a scan found under the folder the user chose. Set once by the scanner.
struct P2CardStructure
{
    QString rootURL;
    std::optional<QString> videoFolder;
    std::optional<QString> audioFolder;
    std::optional<QString> clipFolder;
    std::optional<QString> iconFolder;
    std::optional<QString> proxyFolder;
    std::optional<QString> voiceFolder;
    QStringList videoFiles;
    QStringList audioFiles;
    QStringList clipXMLFiles;
    // Folders that exist but could not be listed and files that cannot be
    // read, each once; none of them is in the lists above.
    QList<FileSystemUtilities::Unreadable> unreadable;
    // Every other entry of the VIDEO, AUDIO and CLIP folders (and of a folder
    // of one of their names in another letter case beside them) that is in
    // none of the lists above, with why.
    QList<FileSystemUtilities::PassedOver> passedOver;
    // Why the walk for loose MXF files gave up, when it did.
    std::optional<QString> walkStopped;
    // Which look at the card this is. Two structures with the same number come
    // from one card that did not change in between, so whatever was made from
    // the first holds for the second; 0 for a structure no scan made.
    quint64 snapshot = 0;

    // No card folder was found at all; the file lists do not count.
    bool isEmpty() const
    {
        return !videoFolder && !audioFolder && !clipFolder && !iconFolder && !proxyFolder && !voiceFolder;
    }

    bool operator==(const P2CardStructure&) const = default;
};
