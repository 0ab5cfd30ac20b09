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

// The last line of a tool's diagnostic output that reports an error, trimmed;
// empty when there is none. What ffmpeg prints to describe its inputs and
// outputs (indented stream and metadata lines, "Input #0", "Stream mapping:"),
// its banner and its progress statistics never count, and its closing
// "Conversion failed!" only when nothing else was said: ffmpeg states the
// cause of a failure last, before that closing line.
QString lastErrorLine(QStringView output);

} // namespace ToolText
