#pragma once

#include <functional>
#include <QByteArray>
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

    // Creates the file by calling `make` with its path, and gives what `make`
    // returns (a descriptor, or -1 with errno set). Once `removeAll` has
    // begun, `make` is not called and the answer is -1 with errno ECANCELED:
    // a file the ending process has already passed over is never created.
    // A `removeAll` that begins while `make` runs waits for it, so the file
    // it makes is removed too.
    int create(const std::function<int(const char* path)>& make);

private:
    QByteArray m_path;
    int m_slot = -1;
};

// Removes every listed file, and has no listed file created from now on.
// Safe inside a signal handler: it calls only unlink, gettid and nanosleep.
void removeAll() noexcept;

} // namespace UnfinishedFiles
