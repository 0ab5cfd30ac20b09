#include "ui/Tone.h"

QColor ToneColors::color(Tone::Value tone, bool dark, const QColor& secondaryColor)
{
    // Darker shades on a light window, lighter ones on a dark window, so text
    // keeps its contrast on either.
    switch (tone) {
    case Tone::Value::positive:
        return dark ? QColor(0x5c, 0xd0, 0x7a) : QColor(0x1e, 0x85, 0x3a);
    case Tone::Value::caution:
        return dark ? QColor(0xff, 0xb3, 0x4d) : QColor(0xc2, 0x5e, 0x00);
    case Tone::Value::negative:
        return dark ? QColor(0xff, 0x7a, 0x70) : QColor(0xc4, 0x24, 0x1c);
    case Tone::Value::informative:
        return dark ? QColor(0x6c, 0xb4, 0xff) : QColor(0x1a, 0x62, 0xc4);
    case Tone::Value::notice:
        return dark ? QColor(0xe0, 0xc2, 0x2e) : QColor(0xff, 0xd8, 0x1a);
    case Tone::Value::secondary:
        break;
    }
    return secondaryColor;
}

QColor ToneColors::tinted(const QColor& color, double opacity)
{
    QColor tint = color;
    tint.setAlphaF(static_cast<float>(opacity));
    return tint;
}
