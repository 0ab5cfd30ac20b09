#include "store/HeadlessDesktop.h"

#include <cstdio>

HeadlessDesktop::HeadlessDesktop(QIODevice* output) : m_output(output)
{
    if (!m_output) {
        m_standardError.open(stderr, QIODevice::WriteOnly | QIODevice::Unbuffered);
        m_output = &m_standardError;
    }
}

QCoro::Task<std::optional<QString>> HeadlessDesktop::chooseFolder(QString, QString)
{
    co_return std::nullopt;
}

QCoro::Task<std::optional<QString>> HeadlessDesktop::chooseSaveLocation(QString, QString, QString, QString)
{
    co_return std::nullopt;
}

QCoro::Task<int> HeadlessDesktop::showAlert(AlertStyle, QString message, QString informativeText,
                                            QStringList buttons)
{
    writeLines(informativeText.isEmpty() ? QStringList{message} : QStringList{message, informativeText});
    co_return static_cast<int>(buttons.size()) - 1;
}

void HeadlessDesktop::revealInFileManager(QStringList paths)
{
    writeLines(paths);
}

void HeadlessDesktop::openFile(QString path)
{
    writeLines({path});
}

void HeadlessDesktop::writeLines(const QStringList& lines)
{
    for (const QString& line : lines)
        m_output->write(line.toUtf8() + '\n');
}
