#pragma once

#include "ui/HelpTexts.h"

#include <QAbstractListModel>
#include <QObject>
#include <QtQml/qqmlregistration.h>
#include <QUrl>

struct PlatformFacts;

// The sections of one guide, each a heading above its body.
class InfoSectionModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The help presenter owns its guides.")

public:
    enum Role { HeadingRole = Qt::UserRole + 1, BodyRole };

    explicit InfoSectionModel(QList<HelpTexts::Section> sections, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    QList<HelpTexts::Section> m_sections;
};

// One guide sheet's contents.
class InfoGuide : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The help presenter owns its guides.")
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString subtitle READ subtitle CONSTANT)
    Q_PROPERTY(InfoSectionModel* sections READ sections CONSTANT)

public:
    InfoGuide(const HelpTexts::Guide& guide, QObject* parent = nullptr);

    QString title() const { return m_title; }
    QString subtitle() const { return m_subtitle; }
    InfoSectionModel* sections() { return &m_sections; }

private:
    QString m_title;
    QString m_subtitle;
    InfoSectionModel m_sections;
};

// The help menu's sheets and links: the two guides, the about panel, the
// project's web site and its issue tracker.
class HelpPresenter : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the application for its platform.")
    Q_PROPERTY(InfoGuide* howToUse READ howToUse CONSTANT)
    Q_PROPERTY(InfoGuide* troubleshooting READ troubleshooting CONSTANT)
    Q_PROPERTY(QString applicationName READ applicationName CONSTANT)
    Q_PROPERTY(QString aboutTitle READ aboutTitle CONSTANT)
    Q_PROPERTY(QString versionLine READ versionLine CONSTANT)
    Q_PROPERTY(QString aboutDescription READ aboutDescription CONSTANT)
    Q_PROPERTY(QString aboutNote READ aboutNote CONSTANT)
    Q_PROPERTY(QUrl websiteUrl READ websiteUrl CONSTANT)
    Q_PROPERTY(QUrl contactUrl READ contactUrl CONSTANT)

public:
    HelpPresenter(const PlatformFacts& platform, const QString& version, const QString& buildNumber,
                  QObject* parent = nullptr);

    InfoGuide* howToUse() { return &m_howToUse; }
    InfoGuide* troubleshooting() { return &m_troubleshooting; }
    QString applicationName() const;
    // "About Tolvane", the help menu's item and the panel's title.
    QString aboutTitle() const;
    QString versionLine() const { return m_versionLine; }
    QString aboutDescription() const { return m_aboutDescription; }
    QString aboutNote() const;
    // The project's home page (its README), and where users report a problem.
    QUrl websiteUrl() const;
    QUrl contactUrl() const;

private:
    InfoGuide m_howToUse;
    InfoGuide m_troubleshooting;
    QString m_versionLine;
    QString m_aboutDescription;
};
