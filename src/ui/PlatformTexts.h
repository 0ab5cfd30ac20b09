#pragma once

#include "base/Platform.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// The window's texts that name the file manager, the package manager or the
// install command, in the running platform's words. Built from the platform's
// facts so a test can read either platform's texts.
class PlatformTexts : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The platform's texts are App.texts.")
    Q_PROPERTY(QString revealInFileManagerTitle READ revealInFileManagerTitle CONSTANT)
    Q_PROPERTY(QString revealOutputTitle READ revealOutputTitle CONSTANT)
    Q_PROPERTY(QString ffmpegMissingDetail READ ffmpegMissingDetail CONSTANT)
    Q_PROPERTY(QString ffmpegInstallCommand READ ffmpegInstallCommand CONSTANT)
    Q_PROPERTY(QString aboutTitle READ aboutTitle CONSTANT)

public:
    explicit PlatformTexts(PlatformFacts facts, QObject* parent = nullptr);

    QString revealInFileManagerTitle() const { return m_facts.revealInFileManagerTitle; }
    QString revealOutputTitle() const { return m_facts.revealOutputTitle; }
    // The missing-ffmpeg banner's instruction above the install command.
    QString ffmpegMissingDetail() const;
    QString ffmpegInstallCommand() const { return m_facts.ffmpegInstallCommand; }
    // "About " and the application's display name.
    QString aboutTitle() const;

private:
    PlatformFacts m_facts;
};
