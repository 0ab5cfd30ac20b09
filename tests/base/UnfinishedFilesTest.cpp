#include "base/UnfinishedFiles.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <functional>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// What a child process found; `asExpected` is the only good answer.
enum Finding : int {
    asExpected,
    notListed,
    notCreated,
    createdAfterTheRemoval,
    removalDidNotWait,
    removalWaitedForItself,
    fileLeft,
    fileRemoved,
};

const char* describe(int finding)
{
    switch (finding) {
    case asExpected:
        return "as expected";
    case notListed:
        return "the path was not listed";
    case notCreated:
        return "the file was not created";
    case createdAfterTheRemoval:
        return "a file was created after the removal began";
    case removalDidNotWait:
        return "the removal ended while the file was being created";
    case removalWaitedForItself:
        return "the removal waited for a creation of its own thread";
    case fileLeft:
        return "the file was left behind";
    case fileRemoved:
        return "a file no longer listed was removed";
    }
    return "the child process did not end by itself";
}

// Runs `body` in a process of its own: removing the unfinished files is for
// good, so each case starts from a list nothing else has touched.
int inChildProcess(const std::function<int()>& body)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(body());
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

int createFile(const char* path)
{
    return ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
}

bool exists(const QString& path)
{
    return QFileInfo::exists(path);
}

void waitAMoment()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

} // namespace

// The list of files a process ending at once removes first: no file on it
// outlives the process, not even one a thread is creating at that moment.
class UnfinishedFilesTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString path(const QString& name) const { return m_dir.filePath(QStringLiteral(".") + name); }

private slots:
    void removesTheListedFilesOnly()
    {
        const QString listed = path(QStringLiteral("-a $clip\n“1”.MXF.tolvane-part"));
        const QString done = path(QStringLiteral("DONE.MXF.tolvane-part"));
        const int finding = inChildProcess([&] {
            UnfinishedFiles::Entry entry(listed);
            if (!entry.isListed())
                return notListed;
            {
                UnfinishedFiles::Entry finished(done);
                const int fd = finished.create(createFile);
                if (fd < 0)
                    return notCreated;
                ::close(fd);
            }
            const int fd = entry.create(createFile);
            if (fd < 0)
                return notCreated;
            ::close(fd);
            UnfinishedFiles::removeAll();
            if (exists(listed))
                return fileLeft;
            return exists(done) ? asExpected : fileRemoved;
        });
        QVERIFY2(finding == asExpected, describe(finding));
    }

    // A second interrupt that arrives while a copier thread is in the middle
    // of creating its temporary file: the removal waits for the creation, so
    // the file is removed rather than made after the list was walked.
    void aFileBeingCreatedWhenTheRemovalBeginsIsRemovedToo()
    {
        const QString temporary = path(QStringLiteral("CLIP.MXF.tolvane-part"));
        const int finding = inChildProcess([&] {
            UnfinishedFiles::Entry entry(temporary);
            if (!entry.isListed())
                return notListed;
            std::atomic<int> step{0};
            std::atomic<bool> removed{false};
            int fd = -1;
            // Held inside its creation until the test lets it go on.
            std::thread creator([&] {
                fd = entry.create([&](const char* name) {
                    step.store(1);
                    while (step.load() < 2)
                        waitAMoment();
                    return createFile(name);
                });
            });
            while (step.load() < 1)
                waitAMoment();
            std::thread remover([&] {
                UnfinishedFiles::removeAll();
                removed.store(true);
            });
            // Long enough for a removal that does not wait to be over.
            QElapsedTimer held;
            held.start();
            while (!removed.load() && held.elapsed() < 1000)
                waitAMoment();
            const bool removedEarly = removed.load();
            step.store(2);
            creator.join();
            remover.join();
            if (fd >= 0)
                ::close(fd);
            if (removedEarly)
                return removalDidNotWait;
            if (fd < 0)
                return notCreated;
            return exists(temporary) ? fileLeft : asExpected;
        });
        QVERIFY2(finding == asExpected, describe(finding));
    }

    // A copier that lists or creates its file only after the removal went
    // past it creates nothing, nor does one whose path the list cannot hold.
    void noFileIsCreatedOnceTheRemovalHasBegun()
    {
        const QString listedBefore = path(QStringLiteral("A.MXF.tolvane-part"));
        const QString listedAfter = path(QStringLiteral("B.MXF.tolvane-part"));
        const QString tooLong = path(QString(PATH_MAX, QLatin1Char('C')));
        const int finding = inChildProcess([&] {
            UnfinishedFiles::Entry before(listedBefore);
            UnfinishedFiles::Entry unlisted(tooLong);
            UnfinishedFiles::removeAll();
            UnfinishedFiles::Entry after(listedAfter);
            if (!before.isListed() || !after.isListed() || unlisted.isListed())
                return notListed;
            bool made = false;
            for (UnfinishedFiles::Entry* entry : {&before, &after, &unlisted}) {
                errno = 0;
                const int fd = entry->create([&made](const char* name) {
                    made = true;
                    return createFile(name);
                });
                if (fd >= 0 || errno != ECANCELED || made)
                    return createdAfterTheRemoval;
            }
            return exists(listedBefore) || exists(listedAfter) ? createdAfterTheRemoval : asExpected;
        });
        QVERIFY2(finding == asExpected, describe(finding));
    }

    // An interrupt handled on the very thread that is creating the file, just
    // after the file was made: the removal does not wait for itself, and the
    // file goes.
    void aRemovalOnTheCreatingThreadRemovesItsFileAtOnce()
    {
        const QString temporary = path(QStringLiteral("C.MXF.tolvane-part"));
        const int finding = inChildProcess([&] {
            UnfinishedFiles::Entry entry(temporary);
            if (!entry.isListed())
                return notListed;
            QElapsedTimer removing;
            const int fd = entry.create([&](const char* name) {
                const int made = createFile(name);
                removing.start();
                UnfinishedFiles::removeAll();
                return made;
            });
            if (removing.elapsed() >= 1000)
                return removalWaitedForItself;
            if (fd < 0)
                return notCreated;
            ::close(fd);
            return exists(temporary) ? fileLeft : asExpected;
        });
        QVERIFY2(finding == asExpected, describe(finding));
    }
};

QTEST_GUILESS_MAIN(UnfinishedFilesTest)
#include "UnfinishedFilesTest.moc"
