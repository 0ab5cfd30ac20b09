#pragma once

#include <optional>
#include <QByteArrayView>
#include <QString>
#include <QStringList>
#include <QStringView>

// Text as the tools print it and as their command lines take it.
namespace ToolText {

// The bytes as UTF-8 text, or nothing when they are not valid UTF-8 (including
// a character cut off at the end).
std::optional<QString> decodeUtf8(QByteArrayView bytes);

// A plain decimal number: optional sign, digits, optional fraction, at least one
// digit. Exponents, "inf", "nan", "N/A" and surrounding white space are rejected,
// so a tool's placeholder text never turns into a number.
std::optional<double> parseDecimal(QStringView text);

// The shortest fixed-point text that reads back to the same double, with at
// least one fractional digit: 0.5 → "0.5", 2 → "2.0".
QString shortestDecimal(double value);

// A file's path as a tool's argument: absolute, so that no name can be read as
// an option (a leading dash) or as a protocol ("take1:A", "pipe:1"), whatever
// folder the program was started from.
QString toolPath(const QString& path);

// The last `count` lines of a tool's diagnostic output that say something,
// each trimmed and joined with " — ": blank lines and progress statistics
// ("frame=", "size=") are left out. ffmpeg ends with the cause of a failure, so
// a message built from these says the cause at once, not a screen of banner.
QString lastMeaningfulLines(QStringView output, int count = 3);

} // namespace ToolText
