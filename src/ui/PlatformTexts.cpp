#include "ui/PlatformTexts.h"

#include "base/AppInfo.h"

PlatformTexts::PlatformTexts(PlatformFacts facts, QObject* parent)
    : QObject(parent), m_facts(std::move(facts))
{
}

QString PlatformTexts::ffmpegMissingDetail() const
{
    return QStringLiteral(
               "Tolvane needs ffmpeg to convert clips. Install it with %1, then reopen this window:")
        .arg(m_facts.packageManagerName);
}

QString PlatformTexts::aboutTitle() const
{
    return QStringLiteral("About ") + QString::fromLatin1(AppInfo::applicationName);
}
