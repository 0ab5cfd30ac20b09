#include "ui/HelpPresenter.h"

#include "base/AppInfo.h"
#include "ui/BuildInfo.h"

InfoSectionModel::InfoSectionModel(QList<HelpTexts::Section> sections, QObject* parent)
    : QAbstractListModel(parent), m_sections(std::move(sections))
{
}

int InfoSectionModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_sections.size());
}

QVariant InfoSectionModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const HelpTexts::Section& section = m_sections.at(index.row());
    switch (role) {
    case HeadingRole:
        return section.heading;
    case BodyRole:
        return section.body;
    default:
        return {};
    }
}

QHash<int, QByteArray> InfoSectionModel::roleNames() const
{
    return {{HeadingRole, "heading"}, {BodyRole, "body"}};
}

InfoGuide::InfoGuide(const HelpTexts::Guide& guide, QObject* parent)
    : QObject(parent), m_title(guide.title), m_subtitle(guide.subtitle), m_sections(guide.sections)
{
}

HelpPresenter::HelpPresenter(const PlatformFacts& platform, const QString& version,
                             const QString& buildNumber, QObject* parent)
    : QObject(parent), m_howToUse(HelpTexts::howToUse(platform)),
      m_troubleshooting(HelpTexts::troubleshooting(platform)),
      m_versionLine(HelpTexts::versionLine(version, buildNumber)),
      m_aboutDescription(HelpTexts::aboutDescription(platform))
{
}

QString HelpPresenter::applicationName() const
{
    return QString::fromLatin1(AppInfo::applicationName);
}

QString HelpPresenter::aboutTitle() const
{
    return QStringLiteral("About ") + applicationName();
}

QString HelpPresenter::aboutNote() const
{
    return HelpTexts::aboutNote();
}

QUrl HelpPresenter::websiteUrl() const
{
    return QUrl(QString::fromLatin1(BuildInfo::websiteUrl));
}

QUrl HelpPresenter::contactUrl() const
{
    return QUrl(QString::fromLatin1(BuildInfo::issueTrackerUrl));
}
