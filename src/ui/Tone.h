#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

// The meaning a text or mark carries; ToneColors turns it into a colour fit
// for the light or the dark palette.
namespace Tone {
Q_NAMESPACE
QML_ELEMENT

enum class Value { secondary, positive, caution, negative, informative, notice };
Q_ENUM_NS(Value)

} // namespace Tone

class ToneColors : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    // The colour of `tone` on a light or a dark window; `secondary` is the
    // palette's own, passed in as `secondaryColor`.
    Q_INVOKABLE static QColor color(Tone::Value tone, bool dark, const QColor& secondaryColor = {});
    // `color` at `opacity`, for the low tints behind banners and boxes.
    Q_INVOKABLE static QColor tinted(const QColor& color, double opacity);
};
