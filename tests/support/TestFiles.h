#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A file name holding every character that trips up shells and naive quoting:
// spaces, double quotes, "$", ";", a leading dash and non-ASCII letters.
QString awkwardName(const QString& suffix);

// The whole file, or nothing when it cannot be read.
QByteArray readFile(const QString& path);

// Every file below `root`, hidden ones included, relative to it and sorted.
QStringList everyFileBelow(const QString& root);

// Writes a test fixture, creating its folder; a fixture that cannot be written
// ends the test run, since nothing after it would mean anything.
void writeFile(const QString& path, const QByteArray& bytes);

// A tmpfs mounted on `path` (created if needed) for the lifetime of the
// object, with mount options such as "size=40k,nr_inodes=8": a disk that fills
// up on purpose. Only root can mount one; `mounted()` tells whether it worked.
class SmallDisk
{
public:
    SmallDisk(const QString& path, const QString& options);
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool mounted() const { return m_mounted; }

private:
    QString m_path;
    bool m_mounted = false;
};

// A fresh folder for each test function, inside a temporary folder of the
// test's own that goes with it.
class CaseFolders
{
public:
    // The next test function's folder, made; call it from `init`.
    QString next();
    // `name` inside the current test function's folder, made if missing.
    QString folder(const QString& name) const;

private:
    QTemporaryDir m_root;
    int m_number = 0;
    QString m_case;
};
