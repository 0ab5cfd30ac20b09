#pragma once

#include <optional>
#include <QCoro/QCoroTask>
#include <QString>
#include <QStringList>

enum class AlertStyle { informational, warning, critical };

// Everything the core asks of the desktop: panels, alerts and the file manager.
// The app answers with real dialogs, tolvane-cli without asking anyone, and the
// tests with scripted answers. Panels and alerts are awaited rather than run in
// a nested event loop, so the user interface keeps drawing while they are open.
class Desktop
{
public:
    virtual ~Desktop() = default;

    // A chooser of one existing folder (no files); `prompt` titles its confirming
    // button. Nothing when the user cancels.
    virtual QCoro::Task<std::optional<QString>> chooseFolder(QString prompt, QString message) = 0;

    // A save panel for one plain-text file, where new folders may be made,
    // proposing `proposedName` in `directory` (the desktop's own choice when
    // empty). Nothing when the user cancels.
    virtual QCoro::Task<std::optional<QString>>
    chooseSaveLocation(QString title, QString message, QString proposedName, QString directory) = 0;

    // A modal alert with at least one button; the index in `buttons` of the one
    // chosen. The first button is the default one; an alert that nobody can
    // answer is dismissed with the last one (the cancelling one, when there are
    // several), so nothing is ever confirmed on the user's behalf.
    virtual QCoro::Task<int> showAlert(AlertStyle style, QString message, QString informativeText,
                                       QStringList buttons) = 0;

    // Shows the files or folders selected in the file manager.
    virtual void revealInFileManager(QStringList paths) = 0;

    // Opens a file in the desktop's default application for it (a movie in its player).
    virtual void openFile(QString path) = 0;
};
