#pragma once

#include "run/ConversionViewModel.h"
#include "ui/DriverPresenter.h"

#include <QList>
#include <QUrl>

// What the main window shows around its central area: which view stands in
// the middle, the banners, and the footer's folder, caption and buttons.
class MainWindowPresenter : public DriverPresenter
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(CentralView centralView READ centralView NOTIFY changed)
    Q_PROPERTY(bool isScanning READ isScanning NOTIFY changed)
    Q_PROPERTY(bool showsOutputFolderRow READ showsOutputFolderRow NOTIFY changed)
    Q_PROPERTY(bool showsFFmpegBanner READ showsFFmpegBanner NOTIFY changed)
    Q_PROPERTY(QString scanError READ scanError NOTIFY changed)
    Q_PROPERTY(bool footerShowsFolder READ footerShowsFolder NOTIFY changed)
    Q_PROPERTY(QString footerFolder READ footerFolder NOTIFY changed)
    Q_PROPERTY(QString footerCaption READ footerCaption NOTIFY changed)
    Q_PROPERTY(bool footerShowsCancel READ footerShowsCancel NOTIFY changed)
    Q_PROPERTY(bool footerShowsConvert READ footerShowsConvert NOTIFY changed)

public:
    enum class CentralView { dropZone, cardSummary, progress, runSummary, nothing };
    Q_ENUM(CentralView)

    explicit MainWindowPresenter(QObject* parent = nullptr);

    CentralView centralView() const;
    bool isScanning() const;
    // The output folder row stands below the drop zone and the card summary.
    bool showsOutputFolderRow() const;
    bool showsFFmpegBanner() const;
    // Empty when the last scan had no error.
    QString scanError() const;
    // The footer shows the run's folder once a run has chosen one, and the
    // driver's status line otherwise.
    bool footerShowsFolder() const;
    QString footerFolder() const;
    QString footerCaption() const;
    bool footerShowsCancel() const;
    bool footerShowsConvert() const;

    static CentralView centralViewFor(ConversionViewModel::Phase phase, bool hasSummary);
    static bool footerShowsFolderFor(const std::optional<QString>& runFolder)
    {
        return runFolder.has_value();
    }
    // The run's folder on one line, escaped as every name shown is.
    static QString footerFolderFor(const std::optional<QString>& runFolder);

    // Whether a drag carrying `urls` may be dropped: only its first item
    // counts, and it must be a local file or folder.
    Q_INVOKABLE static bool acceptsDrop(const QList<QUrl>& urls);
    // Scans the first dropped item; false, and nothing happens, when the drop
    // is not acceptable.
    Q_INVOKABLE bool drop(const QList<QUrl>& urls);
};
