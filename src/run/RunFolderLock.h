#pragma once

#include <optional>
#include <QString>

// A run's hold on its dated output folder while it writes there, so that no
// other Tolvane takes the half-written movie of a running clip for one an
// interrupted run left behind. The hold is the system's advisory lock on the
// folder itself: nothing is written for it, and it goes with the process
// however that ends.
class RunFolderLock
{
public:
    // Holds `folder` when no other run does; nothing when another holds it or
    // it cannot be opened.
    static std::optional<RunFolderLock> tryHold(const QString& folder);
    // Holds `folder` beside other runs that share it (runs of single clips
    // into one folder); nothing while a run holds it alone or it cannot be opened.
    static std::optional<RunFolderLock> holdShared(const QString& folder);

    // Lets runs of other clips share the folder from now on.
    void share();

    RunFolderLock(RunFolderLock&& other) noexcept;
    RunFolderLock& operator=(RunFolderLock&& other) noexcept;
    RunFolderLock(const RunFolderLock&) = delete;
    RunFolderLock& operator=(const RunFolderLock&) = delete;
    ~RunFolderLock();

    // Removes the temporaries of movies that interrupted runs left in the run
    // folders of `baseFolder` (those named as OutputFolderNamer names them),
    // except in folders that a running Tolvane holds. Nothing else is touched.
    static void removeAbandonedTemporaries(const QString& baseFolder);

private:
    explicit RunFolderLock(int descriptor) : m_descriptor(descriptor) {}

    int m_descriptor = -1;
};
