#include "card/P2Scanner.h"

#include "base/DisplayText.h"
#include "base/Platform.h"
#include "card/FileSystemUtilities.h"
#include "card/FolderWatch.h"
#include "media/ProbeCache.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <QDateTime>
#include <QFile>
#include <QMutex>
#include <QStorageInfo>
#include <sys/stat.h>
#include <utility>

namespace P2Scanner {

using FileSystemUtilities::Unreadable;

const QSet<QString> videoExtensions{QStringLiteral("mxf")};
const QSet<QString> audioExtensions{QStringLiteral("mxf")};
const QSet<QString> xmlExtensions{QStringLiteral("xml")};

FileSystemUtilities::WalkBounds looseWalkBounds()
{
    return {.maximumDepth = 4,
            .maximumFiles = 5000,
            .virtualFileSystems = Platform::current().virtualFileSystems};
}

namespace {

using FileSystemUtilities::FolderListing;
using FileSystemUtilities::Walk;

constexpr int folderCount = 6;
constexpr std::array<std::pair<const char*, std::optional<QString> P2CardStructure::*>, folderCount>
    cardFolders{{
        {"VIDEO", &P2CardStructure::videoFolder},
        {"AUDIO", &P2CardStructure::audioFolder},
        {"CLIP", &P2CardStructure::clipFolder},
        {"ICON", &P2CardStructure::iconFolder},
        {"PROXY", &P2CardStructure::proxyFolder},
        {"VOICE", &P2CardStructure::voiceFolder},
    }};

// Everything a scan sees of a card before it asks anything of a file; the
// structure follows from it and the files' readability alone.
struct CardLook
{
    FolderListing root;
    std::optional<QString> contentsFolder;
    FolderListing contents;
    std::array<std::optional<QString>, folderCount> folders;
    Walk video;
    Walk audio;
    Walk clip;
    Walk loose;

    bool operator==(const CardLook&) const = default;

    bool foundAnyFolder() const
    {
        return std::any_of(folders.begin(), folders.end(),
                           [](const auto& folder) { return folder.has_value(); });
    }

    // No file was changed so recently that a coarse clock could hide a further change.
    bool isSettled() const
    {
        const qint64 now = QDateTime::currentMSecsSinceEpoch() * 1'000'000;
        for (const Walk* walk : {&video, &audio, &clip, &loose}) {
            for (const FileSystemUtilities::FoundFile& file : walk->files) {
                if (file.state.isRecent(now))
                    return false;
            }
        }
        return true;
    }
};

CardLook lookAt(const QString& rootURL)
{
    CardLook look;
    look.root = FileSystemUtilities::listFolder(rootURL);
    // CONTENTS first, so a folder found there is never replaced by one beside it.
    look.contentsFolder =
        FileSystemUtilities::findSubdirectory(QStringLiteral("CONTENTS"), rootURL, look.root);
    if (look.contentsFolder)
        look.contents = FileSystemUtilities::listFolder(*look.contentsFolder);
    for (std::size_t index = 0; index < cardFolders.size(); ++index) {
        const QString name = QString::fromLatin1(cardFolders[index].first);
        std::optional<QString>& folder = look.folders[index];
        if (look.contentsFolder)
            folder = FileSystemUtilities::findSubdirectory(name, *look.contentsFolder, look.contents);
        if (!folder)
            folder = FileSystemUtilities::findSubdirectory(name, rootURL, look.root);
    }
    if (look.folders[0])
        look.video = FileSystemUtilities::walk(*look.folders[0], videoExtensions);
    if (look.folders[1])
        look.audio = FileSystemUtilities::walk(*look.folders[1], audioExtensions);
    if (look.folders[2])
        look.clip = FileSystemUtilities::walk(*look.folders[2], xmlExtensions);
    // A loose folder of MXF files is taken as video essence without audio or
    // metadata. The folder could be anything, "/" included, so the walk is bounded.
    if (!look.foundAnyFolder()) {
        const FileSystemUtilities::WalkBounds bounds = looseWalkBounds();
        look.loose = FileSystemUtilities::walk(rootURL, {QStringLiteral("mxf")}, &bounds);
    }
    return look;
}

P2CardStructure structureOf(const QString& rootURL, const CardLook& look)
{
    static std::atomic<quint64> lastSnapshot{0};
    P2CardStructure structure;
    structure.rootURL = rootURL;
    structure.snapshot = ++lastSnapshot;
    for (const std::optional<Unreadable>& unlisted : {look.root.unlisted, look.contents.unlisted}) {
        if (unlisted)
            structure.unreadable.append(*unlisted);
    }
    for (std::size_t index = 0; index < cardFolders.size(); ++index)
        structure.*cardFolders[index].second = look.folders[index];
    structure.videoFiles = FileSystemUtilities::readableFiles(structure.isEmpty() ? look.loose : look.video,
                                                              structure.unreadable);
    structure.audioFiles = FileSystemUtilities::readableFiles(look.audio, structure.unreadable);
    structure.clipXMLFiles = FileSystemUtilities::readableFiles(look.clip, structure.unreadable);
    for (const Walk* walk : {&look.video, &look.audio, &look.clip})
        structure.passedOver.append(QList(walk->passedOver.begin(), walk->passedOver.end()));
    // Of "VIDEO" and "video" side by side one is read; the other is said.
    constexpr std::size_t essenceFolders = 3;
    for (std::size_t index = 0; index < essenceFolders; ++index) {
        const std::optional<QString>& chosen = look.folders[index];
        if (!chosen)
            continue;
        const QString parent = chosen->left(chosen->lastIndexOf(QLatin1Char('/')));
        const bool inContents = look.contentsFolder && parent == *look.contentsFolder;
        const FolderListing& listing = inContents ? look.contents : look.root;
        const QString chosenName = chosen->mid(parent.size() + 1);
        for (const FileSystemUtilities::ListedEntry& entry : listing.entries) {
            const QString name = QFile::decodeName(entry.name);
            if (entry.kind != FileSystemUtilities::ListedEntry::Kind::folder &&
                entry.kind != FileSystemUtilities::ListedEntry::Kind::linkToFolder)
                continue;
            if (name != chosenName && QString::compare(name, QString::fromLatin1(cardFolders[index].first),
                                                       Qt::CaseInsensitive) == 0)
                structure.passedOver.append(
                    {parent + QLatin1Char('/') + name, besideReason(name, chosenName)});
        }
    }
    structure.walkStopped = look.loose.stopped;
    return structure;
}

// Where a folder is, as the system identifies it: the same path naming
// another folder (a card swapped, a parent renamed) is another card.
struct FolderIdentity
{
    quint64 device = 0;
    quint64 inode = 0;

    bool operator==(const FolderIdentity&) const = default;
};

std::optional<FolderIdentity> identityOf(const QString& folder)
{
    struct stat status
    {
    };
    if (::stat(QFile::encodeName(folder).constData(), &status) != 0 || !S_ISDIR(status.st_mode))
        return std::nullopt;
    return FolderIdentity{static_cast<quint64>(status.st_dev), static_cast<quint64>(status.st_ino)};
}

// A watch over every folder the look listed, when the system reports every
// change that could alter what the look saw; nothing otherwise.
std::unique_ptr<FolderWatch> watchOver(const QString& rootURL, const std::optional<FolderIdentity>& root,
                                       const CardLook& look)
{
    // A loose folder can be a whole disk; a card has a handful of folders.
    constexpr std::size_t mostFolders = 64;
    if (!root || !look.foundAnyFolder())
        return nullptr;
    std::vector<QByteArray> folders{QFile::encodeName(rootURL)};
    if (look.contentsFolder)
        folders.push_back(QFile::encodeName(*look.contentsFolder));
    for (const Walk* walk : {&look.video, &look.audio, &look.clip}) {
        folders.insert(folders.end(), walk->folders.begin(), walk->folders.end());
        // A file written through another name, or a link's target, changes
        // without a word to the folders watched here.
        for (const FileSystemUtilities::FoundFile& file : walk->files) {
            if (file.throughLink || file.state.links > 1)
                return nullptr;
        }
    }
    if (folders.size() > mostFolders)
        return nullptr;
    // Every folder must be where the root's file system reports changes.
    const QString type = QString::fromUtf8(QStorageInfo(rootURL).fileSystemType());
    if (!Platform::current().watchableFileSystems.contains(type))
        return nullptr;
    auto watch = std::make_unique<FolderWatch>();
    for (const QByteArray& folder : folders) {
        const std::optional<FolderIdentity> identity = identityOf(QFile::decodeName(folder));
        if (!identity || identity->device != root->device || !watch->add(folder))
            return nullptr;
    }
    return watch;
}

// The cards this process scanned last, each with what its scan saw.
struct Remembered
{
    QString rootURL;
    std::optional<FolderIdentity> root;
    quint64 generation = 0;
    CardLook look;
    P2CardStructure structure;
    // Started after the look and confirmed by a second one: quiet means unchanged.
    std::shared_ptr<FolderWatch> watch;
};

struct Memory
{
    // A few cards are enough for going back and forth between them.
    static constexpr qsizetype capacity = 4;
    QMutex lock;
    QList<Remembered> cards;
    std::atomic<qint64> looks{0};
};

Memory& memory()
{
    static Memory instance;
    return instance;
}

CardLook lookAtCounted(const QString& rootURL)
{
    ++memory().looks;
    return lookAt(rootURL);
}

// A watch begun after `look` was taken: whatever changed before it began
// shows in a second look.
std::shared_ptr<FolderWatch> confirmedWatch(const QString& rootURL, const std::optional<FolderIdentity>& root,
                                            const CardLook& look)
{
    std::unique_ptr<FolderWatch> watch = watchOver(rootURL, root, look);
    if (!watch || lookAtCounted(rootURL) != look)
        return nullptr;
    return watch;
}

} // namespace

P2CardStructure scan(const QString& rootURL)
{
    // Forgetting what files hold forgets what cards held too.
    const quint64 generation = ProbeCache::generation();
    const std::optional<FolderIdentity> root = identityOf(rootURL);
    Memory& shared = memory();
    const auto isThisCard = [&](const Remembered& card) {
        return card.rootURL == rootURL && card.generation == generation && card.root == root;
    };
    {
        const QMutexLocker locker(&shared.lock);
        for (const Remembered& card : std::as_const(shared.cards)) {
            if (isThisCard(card) && card.watch && card.watch->isQuiet())
                return card.structure;
        }
    }
    const CardLook look = lookAtCounted(rootURL);
    // The same look as a remembered scan gives that scan's structure. When its
    // watch reported something all the same (a file touched and put back), the
    // card is remembered afresh below, watched from here on.
    std::optional<P2CardStructure> known;
    {
        const QMutexLocker locker(&shared.lock);
        for (const Remembered& card : std::as_const(shared.cards)) {
            if (isThisCard(card) && card.look == look) {
                if (!card.watch)
                    return card.structure;
                known = card.structure;
            }
        }
    }
    P2CardStructure structure = known ? std::move(*known) : structureOf(rootURL, look);
    if (look.isSettled()) {
        // Taken before the lock: confirming a watch looks at the card again.
        std::shared_ptr<FolderWatch> watch = confirmedWatch(rootURL, root, look);
        const QMutexLocker locker(&shared.lock);
        shared.cards.removeIf([&rootURL](const Remembered& card) { return card.rootURL == rootURL; });
        if (shared.cards.size() >= Memory::capacity)
            shared.cards.removeFirst();
        shared.cards.append({rootURL, root, generation, look, structure, std::move(watch)});
    }
    return structure;
}

qint64 lookCount()
{
    return memory().looks;
}

QString unreadableSentence(const FileSystemUtilities::Unreadable& entry)
{
    return QStringLiteral("“%1” cannot be read: %2.").arg(DisplayText::escaped(entry.path), entry.reason);
}

QString besideReason(const QString& folderName, const QString& chosenName)
{
    return QStringLiteral("folder `%1` beside `%2` was not read")
        .arg(DisplayText::escaped(folderName), DisplayText::escaped(chosenName));
}

QString passedOverSentence(const FileSystemUtilities::PassedOver& entry)
{
    return QStringLiteral("“%1” was not considered: %2.").arg(DisplayText::escaped(entry.path), entry.reason);
}

QString noVideoMessage(const P2CardStructure& structure)
{
    if (structure.walkStopped)
        return *structure.walkStopped;
    if (structure.unreadable.isEmpty())
        return noVideoMessage();
    QStringList sentences{QStringLiteral("No video MXF file of this folder could be read.")};
    for (const FileSystemUtilities::Unreadable& entry : structure.unreadable)
        sentences.append(unreadableSentence(entry));
    return sentences.join(QLatin1Char(' '));
}

QString noVideoMessage()
{
    return QStringLiteral(
        "No video MXF files were found in this folder. Make sure you selected a P2 card (or "
        "its CONTENTS folder) containing a VIDEO folder.");
}

} // namespace P2Scanner
