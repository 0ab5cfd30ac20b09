#pragma once

#include "store/Desktop.h"

#include <QList>

// A desktop that answers from a script and remembers what it was asked. Every
// answer is ready at once, so awaiting a panel or an alert completes in place.
class ScriptedDesktop final : public Desktop
{
public:
    struct FolderRequest
    {
        QString prompt;
        QString message;
    };
    struct SaveRequest
    {
        QString title;
        QString message;
        QString proposedName;
        QString directory;
    };
    struct AlertRequest
    {
        AlertStyle style;
        QString message;
        QString informativeText;
        QStringList buttons;
    };

    // Answers, taken from the front; when a list runs out, panels are cancelled
    // and alerts dismissed with their last button, as when nobody answers.
    QList<std::optional<QString>> folderAnswers;
    QList<std::optional<QString>> saveAnswers;
    QList<int> alertAnswers;

    QList<FolderRequest> folderRequests;
    QList<SaveRequest> saveRequests;
    QList<AlertRequest> alertRequests;
    QList<QStringList> revealed;
    QStringList opened;

    QCoro::Task<std::optional<QString>> chooseFolder(QString prompt, QString message) override
    {
        folderRequests.append({prompt, message});
        co_return folderAnswers.isEmpty() ? std::nullopt : folderAnswers.takeFirst();
    }

    QCoro::Task<std::optional<QString>> chooseSaveLocation(QString title, QString message,
                                                           QString proposedName, QString directory) override
    {
        saveRequests.append({title, message, proposedName, directory});
        co_return saveAnswers.isEmpty() ? std::nullopt : saveAnswers.takeFirst();
    }

    QCoro::Task<int> showAlert(AlertStyle style, QString message, QString informativeText,
                               QStringList buttons) override
    {
        alertRequests.append({style, message, informativeText, buttons});
        co_return alertAnswers.isEmpty() ? static_cast<int>(buttons.size()) - 1 : alertAnswers.takeFirst();
    }

    void revealInFileManager(QStringList paths) override { revealed.append(paths); }
    void openFile(QString path) override { opened.append(path); }
};
