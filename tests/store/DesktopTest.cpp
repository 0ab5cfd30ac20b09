#include "store/HeadlessDesktop.h"
#include "StoreTestSupport.h"

#include <QBuffer>
#include <QTest>

class DesktopTest : public QObject
{
    Q_OBJECT

private slots:
    void headlessPanelsComeBackCancelled()
    {
        QBuffer output;
        output.open(QIODevice::WriteOnly);
        HeadlessDesktop desktop(&output);
        QCOMPARE(QCoro::waitFor(desktop.chooseFolder(QStringLiteral("Choose"), QStringLiteral("Pick"))),
                 std::nullopt);
        QCOMPARE(QCoro::waitFor(desktop.chooseSaveLocation(QStringLiteral("Export Pairing Report"),
                                                           QStringLiteral("Save"),
                                                           QStringLiteral("PAIRING_REPORT.txt"), QString())),
                 std::nullopt);
        QVERIFY(output.data().isEmpty());
    }

    void headlessAlertsAreWrittenOutAndDismissed()
    {
        QBuffer output;
        output.open(QIODevice::WriteOnly);
        HeadlessDesktop desktop(&output);
        const int chosen = QCoro::waitFor(desktop.showAlert(
            AlertStyle::warning, QStringLiteral("ffmpeg not found"),
            QStringLiteral("Tolvane looks for ffmpeg/ffprobe at /usr/local/bin and /usr/bin. Install it with "
                           "your package manager, then check again:\n\nsudo apt install ffmpeg"),
            {QStringLiteral("OK")}));
        QCOMPARE(chosen, 0);
        QCOMPARE(output.data(),
                 QByteArray("ffmpeg not found\nTolvane looks for ffmpeg/ffprobe at /usr/local/bin and "
                            "/usr/bin. Install it with your package manager, then check again:\n\n"
                            "sudo apt install ffmpeg\n"));

        output.buffer().clear();
        output.seek(0);
        QCOMPARE(
            QCoro::waitFor(desktop.showAlert(AlertStyle::warning, QStringLiteral("Reset Preferences?"),
                                             QString(), {QStringLiteral("Reset"), QStringLiteral("Cancel")})),
            1);
        QCOMPARE(output.data(), QByteArray("Reset Preferences?\n"));
    }

    void headlessRevealWritesThePaths()
    {
        QBuffer output;
        output.open(QIODevice::WriteOnly);
        HeadlessDesktop desktop(&output);
        desktop.revealInFileManager(
            {QString::fromUtf8("/media/Out é/03-14-2025"), QStringLiteral("/media/b")});
        QCOMPARE(output.data(), QString::fromUtf8("/media/Out é/03-14-2025\n/media/b\n").toUtf8());
    }
};

int runDesktopTests(int argc, char** argv)
{
    DesktopTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "DesktopTest.moc"
