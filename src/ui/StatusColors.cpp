#include "ui/StatusColors.h"

#include "ui/PairingDetailsText.h"

QColor StatusColors::green(bool dark)
{
    return dark ? QColor(0x5c, 0xd0, 0x7a) : QColor(0x1e, 0x84, 0x3c);
}

QColor StatusColors::orange(bool dark)
{
    return dark ? QColor(0xff, 0xb0, 0x4a) : QColor(0xc2, 0x5e, 0x00);
}

QColor StatusColors::red(bool dark)
{
    return dark ? QColor(0xff, 0x7a, 0x70) : QColor(0xc6, 0x28, 0x28);
}

QColor StatusColors::forPairingStatus(int status, bool dark)
{
    switch (static_cast<PairingDetailsText::Status>(status)) {
    case PairingDetailsText::Status::Excluded:
        return red(dark);
    case PairingDetailsText::Status::Safe:
        return green(dark);
    case PairingDetailsText::Status::Unsafe:
        return orange(dark);
    }
    return orange(dark);
}

QColor StatusColors::forRun(bool needsAttention, bool dark)
{
    return needsAttention ? orange(dark) : green(dark);
}

QColor StatusColors::forNote(int status, bool dark, const QColor& neutral)
{
    return static_cast<PairingDetailsText::Status>(status) == PairingDetailsText::Status::Safe
               ? neutral
               : forPairingStatus(status, dark);
}
