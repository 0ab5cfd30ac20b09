#pragma once

#include <QFont>
#include <QObject>
#include <QtQml/qqmlregistration.h>

// The desktop's fixed-width font, for file names, paths, timecodes and the
// offset's digits.
class MonospaceFont : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QFont font READ font CONSTANT)

public:
    using QObject::QObject;

    static QFont font();
};
