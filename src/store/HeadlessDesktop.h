#pragma once

#include "store/Desktop.h"

#include <QFile>
#include <QIODevice>

// The desktop of a program without a window (tolvane-cli): there is nobody to
// answer, so panels come back cancelled and alerts are written out and
// dismissed with their last button; a reveal writes the paths out.
class HeadlessDesktop final : public Desktop
{
public:
    // Writes to `output`, or to standard error when none is given.
    explicit HeadlessDesktop(QIODevice* output = nullptr);

    QCoro::Task<std::optional<QString>> chooseFolder(QString prompt, QString message) override;
    QCoro::Task<std::optional<QString>> chooseSaveLocation(QString title, QString message,
                                                           QString proposedName, QString directory) override;
    QCoro::Task<int> showAlert(AlertStyle style, QString message, QString informativeText,
                               QStringList buttons) override;
    void revealInFileManager(QStringList paths) override;
    // Prints the path, like a reveal: there is no desktop to open it with.
    void openFile(QString path) override;

private:
    void writeLines(const QStringList& lines);

    QFile m_standardError;
    QIODevice* m_output;
};
