#pragma once

#include <QList>
#include <QString>

struct PlatformFacts;

// The texts of the how-to, troubleshooting and about sheets, worded for the
// platform the app runs on.
namespace HelpTexts {

struct Section
{
    QString heading;
    QString body;

    bool operator==(const Section&) const = default;
};

struct Guide
{
    QString title;
    QString subtitle;
    QList<Section> sections;
};

Guide howToUse(const PlatformFacts& platform);
Guide troubleshooting(const PlatformFacts& platform);

// "Version 1.2 (34)"; without a build number just "Version 1.2", and
// "Version unknown" when the version itself is missing.
QString versionLine(const QString& version, const QString& buildNumber);

QString aboutDescription(const PlatformFacts& platform);
QString aboutNote();

} // namespace HelpTexts
