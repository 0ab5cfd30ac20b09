#pragma once

#include <QString>

// The files this process is writing under names that must not outlive it:
// a backup's temporary copies, a movie being made. A signal handler that ends
// the process at once removes them all first, so an interrupted program
// leaves no incomplete file behind. The list is fixed in size and kept in
// memory the handler may read while other threads change it.
namespace UnfinishedFiles {

// Lists one path for as long as it lives. Make it before the file is created
// and let it go once the file is complete under its final name or removed.
class Entry
{
public:
    explicit Entry(const QString& path);
    ~Entry();
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

    // False when the path could not be listed (longer than a path can be, or
    // the list full); the file is then only left to its writer.
    bool isListed() const { return m_slot >= 0; }

private:
    int m_slot = -1;
};

// Removes every listed file. Safe inside a signal handler: it calls only unlink.
void removeAll() noexcept;

} // namespace UnfinishedFiles
