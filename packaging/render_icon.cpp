#include <cstdio>
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

// Renders the app's scalable icon as the PNGs of the hicolor theme, for menus
// and docks that do not read SVG: render_icon SVG FOLDER NAME SIZE...
// writes FOLDER/SIZExSIZE/apps/NAME.png.
int main(int argc, char* argv[])
{
    if (argc < 5) {
        std::fprintf(stderr, "Usage: render_icon SVG FOLDER NAME SIZE...\n");
        return 2;
    }
    // No display is needed to paint into an image.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QSvgRenderer svg(QString::fromLocal8Bit(argv[1]));
    if (!svg.isValid()) {
        std::fprintf(stderr, "render_icon: cannot read %s\n", argv[1]);
        return 1;
    }
    for (int i = 4; i < argc; ++i) {
        const int size = QString::fromLatin1(argv[i]).toInt();
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        svg.render(&painter);
        painter.end();
        const QString folder = QStringLiteral("%1/%2x%2/apps").arg(QString::fromLocal8Bit(argv[2])).arg(size);
        const QString file =
            folder + QLatin1Char('/') + QString::fromLocal8Bit(argv[3]) + QStringLiteral(".png");
        if (!QDir().mkpath(folder) || !image.save(file, "PNG")) {
            std::fprintf(stderr, "render_icon: cannot write %s\n", qPrintable(file));
            return 1;
        }
    }
    return 0;
}
