#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// The sheets' type sizes, relative to the desktop's own font so they follow
// the user's choice, and the desktop's fixed-width family for file names,
// paths, timecodes and the offset's digits.
class SheetFonts : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString fixedFamily READ fixedFamily CONSTANT)
    Q_PROPERTY(qreal captionSize READ captionSize CONSTANT)
    Q_PROPERTY(qreal headlineSize READ headlineSize CONSTANT)
    Q_PROPERTY(qreal titleSize READ titleSize CONSTANT)
    Q_PROPERTY(qreal symbolSize READ symbolSize CONSTANT)

public:
    using QObject::QObject;

    static QString fixedFamily();
    // Captions and secondary lines.
    static qreal captionSize();
    // A sheet's title.
    static qreal headlineSize();
    // The application's name in the about panel.
    static qreal titleSize();
    // The history's empty-state symbol.
    static qreal symbolSize();
};
